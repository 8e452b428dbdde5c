// Data: a Value that is absent or an immutable buffer of bytes.
#ifndef KIV_FOUNDATION_DATA_HPP_
#define KIV_FOUNDATION_DATA_HPP_

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kiv/foundation/value.hpp"
#include "kiv/foundation/value_heap.hpp"

namespace kiv {

class Data : public Value {
 public:
  // Absent.
  Data() = default;
  // A copy of the bytes.
  Data(const void* bytes, std::size_t size) : Value(Value::data(bytes, size)) {}
  explicit Data(std::string_view bytes) : Data(bytes.data(), bytes.size()) {}

  // The number of bytes; 0 when absent.
  std::size_t size() const noexcept { return view().size(); }
  // The bytes, or nullptr when absent. They live as long as this Data.
  const std::uint8_t* bytes() const noexcept {
    return reinterpret_cast<const std::uint8_t*>(view().data());
  }
  // The bytes as a view; empty when absent.
  std::string_view view() const noexcept {
    const detail::HeapBytes* b = ValueAccess::data(*this);
    return b ? b->view() : std::string_view();
  }

 private:
  friend class Value;
  struct Unchecked {};
  Data(Unchecked, const Value& v) : Value(v) {}
};

inline Data Value::asData() const { return isData() ? Data(Data::Unchecked{}, *this) : Data(); }

}  // namespace kiv

#endif  // KIV_FOUNDATION_DATA_HPP_

// JSONDocument: JSON text parsed and validated, and read in place through JSONElements, without
// turning it into Values. For readers that want a few values out of a large text: the model
// adapter maps JSON text straight to models this way. parseJSON() is a JSONDocument whose root is
// turned into Values whole.
//
// A document accepts and rejects exactly the texts that parseJSON() does, and element.value()
// builds exactly the Values that parseJSON() would have built for that part of the text.
//
// A document borrows its thread's parser, whose buffers are reused from one document to the next;
// a document made while another one is open on the same thread gets a parser of its own. A
// document and its elements belong to the thread that made it; elements are valid while their
// document lives.
#ifndef KIV_FOUNDATION_JSON_DOCUMENT_HPP_
#define KIV_FOUNDATION_JSON_DOCUMENT_HPP_

#include <cstddef>
#include <string_view>
#include <type_traits>

#include "kiv/foundation/error.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

namespace detail {
struct JSONParserState;
}  // namespace detail

// One value of a parsed document: an object, an array, a string, a number, a boolean or the null;
// or absent (a default element, or a field that was not found).
class JSONElement {
 public:
  JSONElement() noexcept = default;

  // kDictionary for objects, kArray, kString, kNumber (booleans too), kNull; kAbsent.
  Kind kind() const noexcept;
  // Whether the element is present (an element tests true when it is), the null, an object or
  // an array.

  bool isPresent() const noexcept { return kind() != Kind::kAbsent; }
  explicit operator bool() const noexcept { return isPresent(); }
  bool isNull() const noexcept { return kind() == Kind::kNull; }
  bool isDictionary() const noexcept { return kind() == Kind::kDictionary; }
  bool isArray() const noexcept { return kind() == Kind::kArray; }

  // The Value that parseJSON() builds for this element; absent for an absent element.
  Value value(JSONContainers containers = JSONContainers::kImmutable) const;

  // The number of fields of an object (repeated keys counted each time) or elements of an array;
  // 0 for other kinds.
  std::size_t count() const noexcept;

  // The value of the field named `key` of an object, the last one when the key is repeated (the
  // one whose value a dictionary keeps); absent when there is none or this is no object.
  JSONElement fieldValue(std::string_view key) const noexcept;

  // Calls visit(key, value) for each field of an object, in order, repeated keys included; does
  // nothing for other kinds.
  template <class Visit>
  void forEachField(Visit&& visit) const {
    visitFields(&visit, [](void* v, std::string_view key, const JSONElement& value) {
      (*static_cast<std::remove_reference_t<Visit>*>(v))(key, value);
    });
  }
  // Calls visit(element) for each element of an array, in order; does nothing for other kinds.
  template <class Visit>
  void forEachElement(Visit&& visit) const {
    visitElements(&visit, [](void* v, const JSONElement& element) {
      (*static_cast<std::remove_reference_t<Visit>*>(v))(element);
    });
  }

 private:
  friend struct JSONElementAccess;
  using FieldVisitor = void (*)(void* context, std::string_view key, const JSONElement& value);
  using ElementVisitor = void (*)(void* context, const JSONElement& element);
  void visitFields(void* context, FieldVisitor visitor) const;
  void visitElements(void* context, ElementVisitor visitor) const;

  // The parser's own handle on the value (a document and a position in it).
  alignas(void*) unsigned char handle_[2 * sizeof(void*)] = {};
};

class JSONDocument {
 public:
  // Parses the text. When it is not valid (see parseJSON()), the root is absent and `error`, when
  // given, says why.
  explicit JSONDocument(std::string_view text, Error* error = nullptr);
  ~JSONDocument();
  JSONDocument(const JSONDocument&) = delete;
  JSONDocument& operator=(const JSONDocument&) = delete;

  // The top-level array or object; absent when the text did not parse.
  const JSONElement& root() const noexcept { return root_; }

 private:
  detail::JSONParserState* parser_;
  JSONElement root_;
};

}  // namespace kiv

#endif  // KIV_FOUNDATION_JSON_DOCUMENT_HPP_

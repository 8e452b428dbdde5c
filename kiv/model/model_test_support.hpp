// The models that the model tests share, declared the way an application declares them: a user
// and an item that refer to each other, two subclasses of the item, and a model with a property
// of every kind a declaration can give.
#ifndef KIV_MODEL_MODEL_TEST_SUPPORT_HPP_
#define KIV_MODEL_MODEL_TEST_SUPPORT_HPP_

#include <array>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kiv/model/model.hpp"

namespace kiv::testing {

class Item;

class User : public KivModel {
  KIV_MODEL(User, KivModel)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(Ref<Item>, pinned, setPinned)
};

class Item : public KivModel {
  KIV_MODEL(Item, KivModel)
  KIV_PROPERTY(std::int64_t, itemId, setItemId)
  KIV_PROPERTY(String, title, setTitle)
  KIV_PROPERTY(Ref<User>, author, setAuthor)
  KIV_PROPERTY(MutableArray, tags, setTags)
};

// Records the keys that key-value coding sets to nothing.
class Featured : public Item {
  KIV_MODEL(Featured, Item)
  KIV_PROPERTY(double, rank, setRank)

 public:
  void setNilValueForKey(std::string_view key) override {
    nilKeys.emplace_back(key);
    KivModel::setNilValueForKey(key);
  }
  std::vector<std::string> nilKeys;
};

class Sponsored : public Item {
  KIV_MODEL(Sponsored, Item)
  KIV_PROPERTY(String, sponsor, setSponsor)
};

// An object known by its interface only: no class record of that name exists.
class Titled : public Object {};
struct Point {
  int x = 0, y = 0;
};
union Both {
  int i;
  float f;
};
enum class Level : std::uint16_t { kLow, kHigh };
using Triple = std::array<int, 3>;

class Kinds : public KivModel {
  KIV_MODEL(Kinds, KivModel)
  KIV_PROPERTY(bool, flag, setFlag)
  KIV_PROPERTY(char, letter, setLetter)
  KIV_PROPERTY(std::uint16_t, u16, setU16)
  KIV_PROPERTY(std::int32_t, i32, setI32)
  KIV_PROPERTY(std::uint32_t, u32, setU32)
  KIV_PROPERTY(std::int64_t, i64, setI64)
  KIV_PROPERTY(std::uint64_t, u64, setU64)
  KIV_PROPERTY(float, f, setF)
  KIV_PROPERTY(double, d, setD)
  KIV_PROPERTY(long double, ld, setLd)
  KIV_PROPERTY(Level, level, setLevel)
  KIV_PROPERTY(String, text, setText)
  KIV_PROPERTY(Date, date, setDate)
  KIV_PROPERTY(MutableArray, list, setList)
  KIV_PROPERTY(Value, any, setAny)
  KIV_PROPERTY(Ref<User>, owner, setOwner)
  KIV_PROPERTY(Ref<Titled>, titled, setTitled)
  KIV_PROPERTY(const Class*, kind, setKind)
  KIV_PROPERTY(const char*, cname, setCname)
  KIV_PROPERTY(int*, pointer, setPointer)
  KIV_PROPERTY(Point, point, setPoint)
  KIV_PROPERTY(Both, both, setBoth)
  KIV_PROPERTY(Triple, triple, setTriple)
  KIV_PROPERTY(std::function<void()>, block, setBlock)
  KIV_PROPERTY(Selector, action, setAction)
  KIV_PROPERTY_ACCESSORS(bool, on, isOn, setOn)
  KIV_PROPERTY_ACCESSORS(int, score, score, assignScore)
  KIV_READONLY_PROPERTY(std::int64_t, total)

 public:
  void addToTotal(std::int64_t n) { total_ += n; }
};

// The descriptor of the class's own property `name`; throws when it has none.
inline const KivProPertyInfo& infoOf(const ModelClass& cls, std::string_view name) {
  const KivProPertyInfo* info = cls.kiv_classInfo().propDict().objectForKey(name);
  if (!info) throw std::logic_error("no property " + std::string(name));
  return *info;
}

}  // namespace kiv::testing

#endif  // KIV_MODEL_MODEL_TEST_SUPPORT_HPP_

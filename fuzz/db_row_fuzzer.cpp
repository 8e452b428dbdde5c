// A row dictionary through the database model adapter and back.
//
// The input is JSON text; a dictionary is taken as a row of a table (column name to value) and
// read as a model of each class below: a property of every type, dotted key paths, a date
// transformer, a nested model and a subclass level; and the sample feed's status with its user and
// hashtags. Check: a row read as a model and written again, over and over, reaches a fixed point,
// where both models write the same JSON dictionary (unless two levels store a name alike). Until
// then each trip only loses nested models that hold nothing, as one writes as "{}" and "{}"
// reads as no model, and a row gets shorter on each trip.
#include <cstdint>

#include "examples/timeline_models.hpp"
#include "fuzz/fuzz_support.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/mapping/transform_value.hpp"
#include "kiv/model/model.hpp"

namespace kiv::fuzz {
namespace {

class RowChild : public KivModel {
  KIV_MODEL(RowChild, KivModel)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(Ref<RowChild>, next, setNext)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"name", "name"}, {"next", "next"}}; }
};

class RowModel : public KivModel {
  KIV_MODEL(RowModel, KivModel)
  KIV_PROPERTY(bool, b, setB)
  KIV_PROPERTY(std::int8_t, i8, setI8)
  KIV_PROPERTY(std::uint8_t, u8, setU8)
  KIV_PROPERTY(std::int16_t, i16, setI16)
  KIV_PROPERTY(std::uint16_t, u16, setU16)
  KIV_PROPERTY(std::int32_t, i32, setI32)
  KIV_PROPERTY(std::uint32_t, u32, setU32)
  KIV_PROPERTY(std::int64_t, i64, setI64)
  KIV_PROPERTY(std::uint64_t, u64, setU64)
  KIV_PROPERTY(float, f, setF)
  KIV_PROPERTY(double, d, setD)
  KIV_PROPERTY(String, str, setStr)
  KIV_PROPERTY(Number, num, setNum)
  KIV_PROPERTY(Date, date, setDate)
  KIV_PROPERTY(Array, arr, setArr)
  KIV_PROPERTY(MutableArray, marr, setMarr)
  KIV_PROPERTY(Dictionary, dict, setDict)
  KIV_PROPERTY(MutableDictionary, mdict, setMdict)
  KIV_PROPERTY(Ref<RowChild>, child, setChild)
  KIV_PROPERTY(Value, any, setAny)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"b", "b"},       {"i8", "ints.i8"}, {"u8", "ints.u8"}, {"i16", "i16"},   {"u16", "u16"},
            {"i32", "i32"},   {"u32", "u32"},    {"i64", "id"},     {"u64", "u64"},   {"f", "f"},
            {"d", "d"},       {"str", "a.b.str"}, {"num", "num"},   {"date", "date"}, {"arr", "arr"},
            {"marr", "marr"}, {"dict", "dict"},  {"mdict", "mdict"}, {"child", "child"}, {"any", "any"}};
  }
  static Dictionary kiv_valueTransform() { return {{"date", Value(makeRef<KivDateTransformValue>())}}; }
  static Array kiv_dbStoreProperty() {
    return {"b",   "i8",   "u8",   "i16",  "u16",  "i32",  "u32",   "i64",   "u64",   "f",
            "d",   "str",  "num",  "date", "arr",  "marr", "dict",  "mdict", "child", "any"};
  }
};

// Stores under "str" a number where its superclass stores text.
class RowSubModel : public RowModel {
  KIV_MODEL(RowSubModel, RowModel)
  KIV_PROPERTY(std::int32_t, sTR, setSTR)
  KIV_PROPERTY(String, level, setLevel)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() { return {{"sTR", "n"}, {"level", "admin.level"}}; }
  static Array kiv_dbStoreProperty() { return {"sTR", "level"}; }
};

// The row of the model that a row reads as, and the model.
MutableDictionary rowOfModelOf(const Dictionary& row, const ModelClass& cls, Ref<KivModel>& model) {
  model = KivModelAdapter::modelFromDBDictionary(row, cls);
  return KivModelAdapter::DBDictionaryFromModel(model.get());
}

void roundTrip(const Dictionary& input, const ModelClass& cls, bool levelsShareNames) {
  Ref<KivModel> model;
  MutableDictionary row = rowOfModelOf(input, cls, model);
  if (!model) return;
  while (!row.empty()) {
    Ref<KivModel> next;
    const MutableDictionary nextRow = rowOfModelOf(row, cls, next);
    require(next.get() != nullptr, "a model's own row reads back as a model", row.description());
    if (nextRow == row) {
      // A name that two levels store keeps one value in the row, so the other level's is lost.
      require(levelsShareNames || kiv_dictionaryFromModel(next.get()) == kiv_dictionaryFromModel(model.get()),
              "a model read back from its own row writes the same JSON", row.description());
      return;
    }
    require(nextRow.description().size() < row.description().size(),
            "a row changes from trip to trip only by losing nested models that hold nothing", row.description());
    row = nextRow;
    model = next;
  }
}

}  // namespace
}  // namespace kiv::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const kiv::Dictionary row = kiv::parseJSON(kiv::fuzz::inputText(data, size)).asDictionary();
  if (!row) return 0;
  kiv::fuzz::roundTrip(row, kiv::fuzz::RowModel::kivClass(), false);
  kiv::fuzz::roundTrip(row, kiv::fuzz::RowSubModel::kivClass(), true);
  kiv::fuzz::roundTrip(row, timeline::TimelineStatus::kivClass(), false);
  return 0;
}

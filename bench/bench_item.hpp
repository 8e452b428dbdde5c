// The model of the storage benchmarks: a 64-bit key and the core columns of a PersonRow (two
// short texts, a double, an int, a longer text), all stored.
#ifndef KIV_BENCH_BENCH_ITEM_HPP_
#define KIV_BENCH_BENCH_ITEM_HPP_

#include <cstdint>

#include "bench_support.hpp"
#include "kiv/model/model.hpp"

namespace kiv::bench {

class BenchItem : public KivModel {
  KIV_MODEL(BenchItem, KivModel)
  KIV_PROPERTY(std::int64_t, itemId, setItemId)
  KIV_PROPERTY(String, name, setName)
  KIV_PROPERTY(String, email, setEmail)
  KIV_PROPERTY(double, score, setScore)
  KIV_PROPERTY(std::int32_t, age, setAge)
  KIV_PROPERTY(String, note, setNote)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"itemId", "id"}, {"name", "name"}, {"email", "email"},
            {"score", "score"}, {"age", "age"},  {"note", "note"}};
  }
  static Value kiv_key() { return "itemId"; }
  static Array kiv_dbStoreProperty() { return {"itemId", "name", "email", "score", "age", "note"}; }

  // The model of the row.
  static Ref<BenchItem> of(const PersonRow& row) {
    const Ref<BenchItem> item = makeRef<BenchItem>();
    item->setItemId(row.id);
    item->setName(String(row.name));
    item->setEmail(String(row.email));
    item->setScore(row.score);
    item->setAge(row.age);
    item->setNote(String(row.note));
    return item;
  }
};

}  // namespace kiv::bench

#endif  // KIV_BENCH_BENCH_ITEM_HPP_

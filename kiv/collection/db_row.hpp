// OxDbRow: one row read from a collection, a dictionary from column name to Value.
//
// A row answers objectForKey and, through OxDictionaryAccessor, every general typed getter
// (stringForKey, integerForKey, boolForKey, ...). A column that holds SQL NULL reads as absent,
// never as the null, so getters give their defaults for it; dataDict() still shows the null.
//
// A row keeps its own mutable copy of the dictionary it was made from, so it may be changed in
// place (setObject, removeObjectForKey) whether it came from the database or not, and changes
// never reach the dictionary it was made from. Like a mutable dictionary, a row that is being
// changed belongs to one thread at a time.
#ifndef KIV_COLLECTION_DB_ROW_HPP_
#define KIV_COLLECTION_DB_ROW_HPP_

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/foundation/object.hpp"
#include "kiv/foundation/ox_dictionary_accessor.hpp"
#include "kiv/foundation/value.hpp"

namespace kiv {

class OxDbRow : public Object, public OxDictionaryAccessor {
 public:
  // A row over a copy of the dictionary (an absent dictionary gives an empty row).
  explicit OxDbRow(const Dictionary& dictionary);

  // The row's own dictionary, not a copy: later changes to the row show through it. SQL NULL
  // columns hold the null here.
  const Dictionary& dataDict() const noexcept { return dataDict_; }

  // The value under the key, read with objectForKey(key, defaultValue), when it is a date; a
  // number read as seconds since 1970 when it is a number; else the default.
  Value dateForKey(std::string_view key, const Value& defaultValue = Value()) const;

  // Removes the column from the row; nothing for a missing one.
  void removeObjectForKey(std::string_view key) { dataDict_.removeObjectForKey(key); }

  // The description of dataDict().
  std::string description() const override { return dataDict_.description(); }

 protected:
  // The column's value; absent for a missing column and for SQL NULL.
  Value accessorObjectForKey(std::string_view key) const override;
  // Stores a present value (the null included); an absent value is ignored.
  void accessorSetObject(const Value& value, std::string_view key) override;

 private:
  friend class OxSimpleDatabase;
  // A row that takes over a dictionary that nothing else holds (a result set's fresh row): reads
  // skip the copy.
  struct TakeOver {};
  OxDbRow(TakeOver, MutableDictionary dictionary) : dataDict_(std::move(dictionary)) {}

  MutableDictionary dataDict_;
};

// The rows of a query, in the order in which the query returned them.
using OxDbRows = std::vector<Ref<OxDbRow>>;

}  // namespace kiv

#endif  // KIV_COLLECTION_DB_ROW_HPP_

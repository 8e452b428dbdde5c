// KivStorage: removal of expired rows and of obsolete tables.
#include <charconv>
#include <mutex>
#include <string>

#include "kiv/foundation/date.hpp"
#include "kiv/storage/storage.hpp"

namespace kiv {
namespace {

// The number with six decimals, as "%lf" writes it, whatever the C locale.
std::string sixDecimals(double value) {
  char text[64];
  const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed, 6).ptr;
  return std::string(text, end);
}

}  // namespace

bool KivStorage::clearOldDatas(const ModelClass& cls) {
  flushPendingWrites();
  const std::lock_guard<std::mutex> writing(writeMutex_);
  const HeldTable table = heldTable(cls);
  if (!table) return false;
  const ClassMapClass* classMap = mapper();
  const double interval =
      classMap ? classMap->kiv_clearTimeInterval() : KivClassMap::kiv_clearTimeInterval();
  const double cutOff = currentTimeIntervalSince1970() - interval;
  const bool deleted = table->delete_(std::string(kKivUpdateTimeColumn) + " < " + sixDecimals(cutOff));
  if (deleted) noteUnnamedChange(&cls);
  return deleted;
}

void KivStorage::clearOldTables() {
  flushPendingWrites();
  const std::lock_guard<std::mutex> writing(writeMutex_);
  const ClassMapClass* classMap = mapper();
  const Ref<OxSimpleDatabase> db = database();
  if (!classMap || !db) return;
  bool dropped = false;
  for (const Value& name : classMap->oldTabels()) {
    if (!name.isString()) continue;
    const Ref<OxDbCollection> table = db->collection(name.stringView());
    if (table->exists()) dropped = table->drop(name.stringView()) || dropped;
  }
  if (dropped) noteUnnamedChange(nullptr);
}

}  // namespace kiv

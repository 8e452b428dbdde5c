#include "kiv/mapping/internal/row_layout.hpp"

#include <algorithm>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/mapping/internal/class_cache.hpp"
#include "kiv/mapping/internal/stored_properties.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/mapping/internal/nesting_guard.hpp"

namespace kiv {
namespace {

ClassCache<RowLayout>& layoutCache() {
  static auto* cache = new ClassCache<RowLayout>();  // lives for the process
  return *cache;
}

// Whether `path` continues `prefix` by at least one more component ("a" and "a.b").
bool continues(std::string_view path, std::string_view prefix) {
  return path.size() > prefix.size() && path.substr(0, prefix.size()) == prefix && path[prefix.size()] == '.';
}

// Whether the adapter's dictionary writes a value at the key path so that it reads back from the
// same path: one component, or two (a third one's middle dictionary is looked for at the top
// level, so two such paths can replace each other's).
bool roundTrips(std::string_view keyPath) {
  const std::size_t dot = keyPath.find('.');
  return dot == std::string_view::npos || keyPath.find('.', dot + 1) == std::string_view::npos;
}

}  // namespace

const RowLayout& RowLayout::of(const ModelClass& cls) {
  ClassCache<RowLayout>& cache = layoutCache();
  const RowLayout* cached = cache.objectForKey(cls);
  return cached ? *cached : cache.insert(cls, makeRef<RowLayout>(cls));
}

RowLayout::RowLayout(const ModelClass& cls) : cls_(&cls) { layOut(); }

int RowLayout::indexOf(std::string_view column) const noexcept {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].view() == column) return static_cast<int>(i);
  }
  return -1;
}

void RowLayout::layOut() {
  // The columns and where their values come from, level by level as the adapter walks them.
  std::vector<String> keyPaths;
  forEachModelLevel(*cls_, [&](const ModelClass& level) {
    for (const StoredProperties::Column& column : StoredProperties::of(level).columns()) {
      if (column.keyPath.isAbsent()) continue;
      const std::string_view keyPath = column.keyPath.view();
      const int known = indexOf(column.name.view());
      const bool overlaps = std::any_of(keyPaths.begin(), keyPaths.end(), [&](const String& seen) {
        return seen.view() == keyPath || continues(seen.view(), keyPath) || continues(keyPath, seen.view());
      });
      if (known >= 0 || overlaps || !roundTrips(keyPath)) direct_ = false;
      if (known >= 0) continue;
      columns_.push_back(column.name);
      keyPaths.push_back(column.keyPath);
      if (column.record) sources_.push_back({column.record, columns_.size() - 1});
    }
  });
  if (cls_->overridesFinishedModel()) direct_ = false;
  // The mapping records that read a stored column's key path, in the order the adapter fills
  // them. A key path that reaches into a stored value, or reads a dictionary that stored values
  // were written into, would read more than one column.
  forEachModelLevel(*cls_, [&](const ModelClass& level) {
    for (const PropertyMapping::Entry& entry : KivModelAdapter::propertyMappingFor(level)) {
      const std::string_view keyPath = entry.keyPath.view();
      for (std::size_t column = 0; column < keyPaths.size(); ++column) {
        const std::string_view stored = keyPaths[column].view();
        if (stored == keyPath) steps_.push_back({entry.record.get(), column});
        if (continues(stored, keyPath) || continues(keyPath, stored)) direct_ = false;
      }
    }
  });
}

void RowLayout::rowValues(const KivModel& model, std::span<Value> values) const {
  if (!direct_) {
    const MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(&model);
    for (std::size_t i = 0; i < columns_.size(); ++i) values[i] = row.objectForKey(columns_[i].view());
    return;
  }
  for (const ColumnSource& source : sources_) values[source.column] = columnValue(source.record->JSONValue(model));
}

Ref<KivModel> RowLayout::modelFromValues(std::span<const Value> values) const {
  if (!direct_) {
    const MutableDictionary row = MutableDictionary::dictionary(columns_.size());
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      if (values[i].isPresent()) row.setObject(values[i], columns_[i]);
    }
    return KivModelAdapter::modelFromDBDictionary(row, *cls_);
  }
  if (std::all_of(values.begin(), values.end(), [](const Value& value) { return value.isNothing(); })) return nullptr;
  const NestingGuard nesting;
  if (nesting.tooDeep()) return nullptr;
  Ref<KivModel> model = cls_->create();
  if (!model) return nullptr;
  // Each column's value is decoded once, as the adapter's JSON dictionary holds it once.
  std::vector<Value> decoded(values.size());
  for (const FillStep& step : steps_) {
    const Value& value = values[step.column];
    if (value.isNothing()) continue;
    Value& json = decoded[step.column];
    if (json.isAbsent()) json = jsonValue(value);
    step.record->setJSONValue(*model, json);
  }
  return model;
}

}  // namespace kiv

#include "kiv/mapping/internal/row_layout.hpp"

#include <algorithm>

#include "kiv/foundation/dictionary.hpp"
#include "kiv/mapping/class_cache.hpp"
#include "kiv/mapping/internal/stored_properties.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/mapping/nesting_guard.hpp"

namespace kiv {
namespace {

ClassCache<RowLayout>& layoutCache() {
  static auto* cache = new ClassCache<RowLayout>();  // lives for the process
  return *cache;
}

bool isDotted(std::string_view keyPath) { return keyPath.find('.') != std::string_view::npos; }

std::string_view firstComponent(std::string_view keyPath) { return keyPath.substr(0, keyPath.find('.')); }

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
      const int known = indexOf(column.name.view());
      const bool sharedKeyPath = std::any_of(keyPaths.begin(), keyPaths.end(),
                                             [&](const String& seen) { return seen.view() == column.keyPath.view(); });
      if (known >= 0 || sharedKeyPath || isDotted(column.keyPath.view())) direct_ = false;
      if (known >= 0) continue;
      columns_.push_back(column.name);
      keyPaths.push_back(column.keyPath);
      if (column.record) sources_.push_back({column.record, columns_.size() - 1});
    }
  });
  if (cls_->overridesFinishedModel()) direct_ = false;
  // The mapping records that read a stored column's key path, in the order the adapter fills
  // them. A dotted key path that starts at a stored column would read into its value.
  forEachModelLevel(*cls_, [&](const ModelClass& level) {
    for (const PropertyMapping::Entry& entry : KivModelAdapter::propertyMappingFor(level)) {
      const std::string_view keyPath = entry.keyPath.view();
      const auto stored = std::find_if(keyPaths.begin(), keyPaths.end(), [&](const String& path) {
        return path.view() == (isDotted(keyPath) ? firstComponent(keyPath) : keyPath);
      });
      if (stored == keyPaths.end()) continue;
      if (isDotted(keyPath)) direct_ = false;
      steps_.push_back({entry.record.get(), static_cast<std::size_t>(stored - keyPaths.begin())});
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

// The typed calls of the storage and the context: the class comes from the type, results come
// typed, and a type that is not registered is refused as the untyped calls refuse it.
#include <gtest/gtest.h>

#include <future>
#include <optional>
#include <vector>

#include "kiv/storage/context.hpp"
#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

// An array of models and a number that may be missing, kept in a table.
class Shelf : public KivModel {
  KIV_MODEL(Shelf, KivModel)
  KIV_PROPERTY(std::int64_t, shelfId, setShelfId)
  KIV_PROPERTY(std::vector<Ref<Tag>>, tags, setTags)
  KIV_PROPERTY(std::optional<std::int32_t>, capacity, setCapacity)

 public:
  static Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"shelfId", "id"}, {"tags", "tags"}, {"capacity", "capacity"}};
  }
  static Value kiv_key() { return "shelfId"; }
  static Array kiv_dbStoreProperty() { return {"shelfId", "tags", "capacity"}; }
};

std::vector<Ref<FeedItem>> typedItems(std::int64_t first, std::int64_t count) {
  std::vector<Ref<FeedItem>> items;
  for (std::int64_t id = first; id < first + count; ++id) items.push_back(FeedItem::make(id, "item" + std::to_string(id)));
  return items;
}

TEST_F(StorageTest, TypedCallsTakeTheClassFromTheType) {
  auto storage = std::make_unique<KivStorage>();
  storage->registerMapper(&TestMap::kivClass());
  storage->registerDbPath(path);
  storage->configDataBase<FeedItem, Tag>();
  storage->setModels(typedItems(1, 3));
  storage->batchModels(std::vector<Ref<FeedItem>>{FeedItem::make(4, "item4")});

  const Ref<FeedItem> first = storage->modelWith<FeedItem>(1);
  ASSERT_TRUE(first);
  EXPECT_EQ(first->title().str(), "item1");
  EXPECT_EQ(storage->modelsWith<FeedItem>({3, 9, 2}).size(), 2u);
  EXPECT_EQ(storage->allModels<FeedItem>().size(), 4u);
  const std::vector<Ref<FeedItem>> later = storage->modelsQuery<FeedItem>("itemid > 2", 1);
  ASSERT_EQ(later.size(), 1u);
  EXPECT_EQ(later[0]->itemId(), 3);
  EXPECT_TRUE(storage->allModels<Tag>().empty());

  std::promise<Ref<FeedItem>> found;
  storage->modelWith<FeedItem>(2, [&](Ref<FeedItem> item) { found.set_value(item); });
  EXPECT_EQ(found.get_future().get()->itemId(), 2);
}

TEST_F(StorageTest, ArraysOfModelsAndOptionalNumbersAreStoredAndReadBack) {
  {
    const auto storage = openStorage({Value(&Shelf::kivClass())});
    const Ref<Shelf> full = makeRef<Shelf>();
    full->setShelfId(1);
    full->setTags({Tag::make("a", 1), Tag::make("it's", 2)});
    full->setCapacity(0);
    const Ref<Shelf> empty = makeRef<Shelf>();
    empty->setShelfId(2);
    storage->setModels(std::vector<Ref<Shelf>>{full, empty});
  }
  EXPECT_EQ(onDisk("SELECT capacity FROM kiv_shelf_v1 ORDER BY shelfid"), "0\nNULL");
  const auto storage = openStorage({Value(&Shelf::kivClass())});
  const Ref<Shelf> full = storage->modelWith<Shelf>(1);
  ASSERT_TRUE(full);
  ASSERT_EQ(full->tags().size(), 2u);
  EXPECT_EQ(full->tags()[1]->name().str(), "it's");
  EXPECT_EQ(full->tags()[1]->uses(), 2);
  EXPECT_EQ(full->capacity(), 0);
  const Ref<Shelf> empty = storage->modelWith<Shelf>(2);
  ASSERT_TRUE(empty);
  EXPECT_TRUE(empty->tags().empty());
  EXPECT_EQ(empty->capacity(), std::nullopt);
}

TEST_F(StorageTest, TheContextRefusesATypeThatIsNotRegistered) {
  KivContext context;
  context.registerClasses<FeedItem>();  // no class map yet: ignored
  context.registerMapper(&TestMap::kivClass());
  context.registerDbPath(path);
  context.saveModels(typedItems(1, 1));
  EXPECT_FALSE(context.modelWith<FeedItem>(1));
  context.registerClasses<FeedItem>();
  context.saveModels(typedItems(1, 2));
  context.quickSaveModels(std::vector<Ref<Tag>>{Tag::make("refused", 1)});
  EXPECT_EQ(context.modelWith<FeedItem>(2)->itemId(), 2);
  EXPECT_EQ(context.allModels<FeedItem>().size(), 2u);
  EXPECT_EQ(context.modelsQuery<FeedItem>("itemid = 1").size(), 1u);
  EXPECT_TRUE(context.modelsWith<Tag>({"refused"}).empty());
  EXPECT_EQ(onDisk("SELECT count(*) FROM sqlite_master WHERE name = 'kiv_tag_v1'"), "0");
}

}  // namespace
}  // namespace kiv::testing

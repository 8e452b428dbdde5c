#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <thread>

#include "kiv/storage/storage_test_support.hpp"

namespace kiv::testing {
namespace {

const ModelClass& kFeed = FeedItem::kivClass();
const ModelClass& kTag = Tag::kivClass();

TEST_F(StorageTest, ASavedModelIsReadBackFromTheCacheAtOnceAndReachesTheTableInTheBackground) {
  const auto storage = openStorage();
  const Ref<FeedItem> item = FeedItem::make(7, "first");
  item->setCreated(Date::dateWithTimeIntervalSince1970(1449000000.5));
  const double before = currentTimeIntervalSince1970();
  storage->setModel(item);
  EXPECT_EQ(storage->modelWith(7, kFeed), item);
  item->setTitle("changed after the save");

  storage->waitUntilBackgroundWritesFinish();
  EXPECT_EQ(onDisk("SELECT itemid, title, created FROM kiv_feeditem_v1"), "7|first|1449000000.5");
  const double written = std::stod(onDisk("SELECT kiv_update_time FROM kiv_feeditem_v1"));
  EXPECT_GE(written, before);
  EXPECT_LE(written, currentTimeIntervalSince1970());

  const auto fresh = openStorage();
  const Ref<KivModel> fromTable = fresh->modelWith(Value(7), kFeed);
  ASSERT_TRUE(fromTable);
  EXPECT_EQ(static_cast<FeedItem&>(*fromTable).title().str(), "first");
  EXPECT_DOUBLE_EQ(static_cast<FeedItem&>(*fromTable).created().timeIntervalSince1970(), 1449000000.5);
}

TEST_F(StorageTest, ASecondInstanceOfAKeyMergesIntoTheCachedOneWhileTheTableGetsItsOwnRow) {
  const auto storage = openStorage();
  const Ref<FeedItem> first = FeedItem::make(1, "first");
  first->setScore(2.5);
  storage->setModel(first);
  storage->setModel(FeedItem::make(1, "second"));

  EXPECT_EQ(storage->modelWith(1, kFeed), first);
  EXPECT_EQ(first->title().str(), "second");
  EXPECT_EQ(first->score(), 2.5);
  storage->waitUntilBackgroundWritesFinish();
  // The second write updates the row with the columns it has: the score of the first stays.
  EXPECT_EQ(onDisk("SELECT itemid, title, score FROM kiv_feeditem_v1"), "1|second|2.5");
}

TEST_F(StorageTest, BackgroundWritesKeepTheirOrderAndTheDestructorWaitsForThem) {
  {
    const auto storage = openStorage();
    for (int round = 0; round < 50; ++round) storage->setModel(FeedItem::make(round % 5, std::to_string(round)));
  }
  EXPECT_EQ(onDisk("SELECT title FROM kiv_feeditem_v1 ORDER BY itemid"), "45\n46\n47\n48\n49");
}

TEST_F(StorageTest, AKeyOfAnotherKindMissesTheCacheButFindsTheRowByItsCondition) {
  const auto storage = openStorage();
  const Ref<FeedItem> item = FeedItem::make(42, "answer");
  storage->setModels({Value(item)});
  traceStatements(*storage);
  const Ref<KivModel> byText = storage->modelWith("42", kFeed);
  ASSERT_TRUE(byText);
  EXPECT_NE(byText, item);
  EXPECT_EQ(storage->modelWith("42", kFeed), byText);
  EXPECT_EQ(storage->modelWith(42, kFeed), item);
  storage->deleteWith("42", kFeed);
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1"), "0");
}

TEST_F(StorageTest, ReadsByKeysKeepTheOrderAndReadsByConditionAndOfAllRowsRefreshTheCache) {
  const auto storage = openStorage();
  storage->setModels(feedItems(1, 5, "item"));
  EXPECT_TRUE(storage->modelsWith(Array::emptyArray(), kFeed).isAbsent());
  EXPECT_TRUE(storage->modelsWith(Array(), kFeed).isAbsent());
  const Array none = storage->modelsWith({8, 9}, kFeed);
  EXPECT_TRUE(none.isPresent() && none.count() == 0);
  EXPECT_EQ(titles(storage->modelsWith({3, 8, 1}, kFeed)), "item3,item1");

  const Ref<KivModel> cached = storage->modelWith(2, kFeed);
  EXPECT_EQ(titles(storage->modelsQuery("itemid > 2", 0, kFeed)), "item3,item4,item5");
  EXPECT_EQ(titles(storage->modelsQuery("itemid > 2", 2, kFeed)), "item3,item4");
  EXPECT_EQ(storage->modelsQuery("no_such_column = 1", 0, kFeed).count(), 0u);

  const Array all = storage->allModels(kFeed);
  EXPECT_EQ(titles(all), "item1,item2,item3,item4,item5");
  const Ref<KivModel> second = all[1].objectAs<KivModel>();
  EXPECT_NE(second, cached);
  EXPECT_EQ(storage->modelWith(2, kFeed), second);
  EXPECT_EQ(titles(storage->dbModelsWith(kFeed)), "item1,item2,item3,item4,item5");
}

TEST_F(StorageTest, DeletesLeaveTheCacheAlone) {
  const auto storage = openStorage();
  storage->setModels(feedItems(1, 4, "item"));
  storage->deleteWith(1, kFeed);
  storage->deleteWithCondition("itemid = 2", kFeed);
  EXPECT_EQ(onDisk("SELECT itemid FROM kiv_feeditem_v1"), "3\n4");
  EXPECT_TRUE(storage->modelWith(1, kFeed));
  EXPECT_FALSE(storage->dbModel(1, kFeed));

  storage->deleteAllWithClass(kFeed);
  EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1"), "0");
  storage->matchCache(kFeed).trimToCount(0);  // as under memory pressure
  EXPECT_FALSE(storage->modelWith(1, kFeed));
}

TEST_F(StorageTest, TransactionalSavesUpdateTheRowsThatExistAndWriteTheOthersInOrder) {
  const auto storage = openStorage();
  const Array old = feedItems(2, 2, "old");
  for (const Value& item : old) item.objectAs<FeedItem>()->setScore(9);
  storage->setDbModels(old, kFeed);
  const Ref<FeedItem> again = FeedItem::make(5, "again");
  again->setScore(1);
  const MutableArray items = feedItems(1, 5, "new").mutableCopy();
  items.addObject(Value(again));
  storage->setModels(items);
  // Updated rows keep the columns that the new models do not set; of a key saved twice in one
  // call, the later model's columns go over the earlier one's.
  EXPECT_EQ(onDisk("SELECT itemid, title, score FROM kiv_feeditem_v1 ORDER BY itemid"),
            "1|new1|NULL\n2|new2|9.0\n3|new3|9.0\n4|new4|NULL\n5|again|1.0");
}

TEST_F(StorageTest, ArraySavesUseTheFirstModelsTableAndQuickSavesEachModelsOwnReplacingWholeRows) {
  const auto storage = openStorage();
  const Ref<PinnedItem> pinned = FeedItem::make<PinnedItem>(2, "pinned");
  // Elements that are no models are skipped, also in front.
  storage->setModels({Value("not a model"), Value(FeedItem::make(1, "feed")), Value(pinned)});
  EXPECT_EQ(onDisk("SELECT itemid, title FROM kiv_feeditem_v1 ORDER BY itemid"), "1|feed\n2|pinned");
  EXPECT_EQ(storage->modelWith(2, PinnedItem::kivClass()), pinned);

  const Ref<FeedItem> full = FeedItem::make(3, "full");
  full->setScore(1.5);
  storage->batchModels({Value(full), Value(Tag::make("news", 1))});
  storage->batchModels({Value(FeedItem::make(3, "replaced"))});
  EXPECT_EQ(onDisk("SELECT title, score FROM kiv_feeditem_v1 WHERE itemid=3"), "replaced|NULL");
  EXPECT_EQ(onDisk("SELECT name, uses FROM kiv_tag_v1"), "news|1");
  EXPECT_EQ(storage->modelWith(3, kFeed), full);
}

TEST_F(StorageTest, KeysWithQuotesSaveReadBackAndDelete) {
  const std::string key = "it's 'quoted'";
  {
    const auto storage = openStorage();
    storage->setModel(Tag::make(key, 1));
    storage->setModels({Value(Tag::make("o'clock", 2))});
    storage->setModels({Value(Tag::make("'", 3))});
  }
  const auto storage = openStorage();
  EXPECT_EQ(onDisk("SELECT name, uses FROM kiv_tag_v1 ORDER BY uses"), key + "|1\no'clock|2\n'|3");
  for (const std::string& name : {key, std::string("o'clock"), std::string("'")}) {
    const Ref<KivModel> tag = storage->modelWith(Value(name), kTag);
    ASSERT_TRUE(tag) << name;
    EXPECT_EQ(static_cast<Tag&>(*tag).name().str(), name);
  }
  storage->setModel(Tag::make(key, 10));  // an update through the quoted condition
  storage->waitUntilBackgroundWritesFinish();
  storage->deleteWith(Value("o'clock"), kTag);
  EXPECT_EQ(onDisk("SELECT name, uses FROM kiv_tag_v1 ORDER BY uses"), "'|3\n" + key + "|10");
}

TEST_F(StorageTest, TextsWithQuotesAndValuesOfEveryKindGoThroughEverySavePathUnchanged) {
  const auto storage = openStorage({Value(&Note::kivClass())});
  const std::vector<std::string> texts = {"it's", "''", "say \"hi\"", "a; b", "-- not a comment", "100%", "_x_",
                                          "n', 0); DROP TABLE kiv_note_v1; --"};
  const auto note = [&](std::int64_t id) {
    const Ref<Note> made = makeRef<Note>();
    made->setNoteId(id);
    made->setText(String(texts[static_cast<std::size_t>(id) % texts.size()] + std::to_string(id)));
    made->setValues({Value(texts[0]), Value::null(), 1.5});
    made->setOrder({{"q", Value(texts[1])}});
    made->setGroup(Data("\0\1", 2));
    return made;
  };
  const auto notes = [&](std::int64_t first) {
    const MutableArray made = MutableArray::array();
    for (std::int64_t id = first; id < first + 200; ++id) made.addObject(Value(note(id)));
    return made;
  };
  EXPECT_TRUE(storage->database()->executeUpdate("PRAGMA synchronous=OFF"));  // a file write per call is not the point
  for (std::int64_t id = 0; id < 200; ++id) storage->setModel(note(id));
  for (std::int64_t id = 200; id < 400; ++id) storage->setDbModel(note(id), Note::kivClass());
  storage->setModels(notes(400));
  storage->batchModels(notes(600));
  storage->setDbModels(notes(800), Note::kivClass());
  storage->waitUntilBackgroundWritesFinish();
  storage->clearCaches();

  const Array read = storage->allModels(Note::kivClass());
  ASSERT_EQ(read.count(), 1000u);
  for (const Value& element : read) {
    const Ref<Note> stored = element.objectAs<Note>();
    const Ref<Note> expected = note(stored->noteId());
    EXPECT_EQ(stored->text(), expected->text());
    EXPECT_EQ(stored->values(), expected->values());
    EXPECT_EQ(stored->order(), expected->order());
    EXPECT_EQ(stored->group(), expected->group());
  }
}

TEST_F(StorageTest, TheReadWithACompletionRunsOnAnotherThread) {
  const auto storage = openStorage();
  storage->setModel(FeedItem::make(1, "one"));
  std::promise<std::pair<Ref<KivModel>, std::thread::id>> found;
  storage->modelWith(1, kFeed, [&](Ref<KivModel> model) { found.set_value({model, std::this_thread::get_id()}); });
  const auto [model, thread] = found.get_future().get();
  EXPECT_EQ(model, storage->modelWith(1, kFeed));
  EXPECT_NE(thread, std::this_thread::get_id());

  std::promise<Ref<KivModel>> missing;
  storage->modelWith(99, kFeed, [&](Ref<KivModel> none) { missing.set_value(none); });
  EXPECT_FALSE(missing.get_future().get());
}

TEST_F(StorageTest, WithoutADatabaseWritesOnlyCacheAndReadsFindOnlyTheCache) {
  KivStorage storage;
  storage.registerDbPath("");
  const Ref<FeedItem> item = FeedItem::make(1, "cached");
  storage.setModel(item);
  storage.setModels(feedItems(2, 2, ""));
  storage.batchModels(feedItems(4, 1, ""));
  storage.deleteWith(1, kFeed);
  storage.waitUntilBackgroundWritesFinish();
  EXPECT_EQ(storage.modelWith(1, kFeed), item);
  EXPECT_FALSE(storage.modelWith(9, kFeed));
  EXPECT_EQ(storage.allModels(kFeed).count(), 0u);
  EXPECT_FALSE(storage.clearOldDatas(kFeed));
  EXPECT_FALSE(storage.database());
}

TEST_F(StorageTest, EachClassKeepsItsCacheWhenClassesAlternate) {
  const auto storage = openStorage();
  MemoryCache* feeds = &storage->matchCache(kFeed);
  MemoryCache* tags = &storage->matchCache(kTag);
  EXPECT_NE(feeds, tags);
  EXPECT_EQ(tags->name(), "Tag");
  EXPECT_EQ(tags->countLimit(), 200u);
  EXPECT_EQ(storage->useCache(), tags);
  EXPECT_EQ(&storage->matchCache(kFeed), feeds);
  EXPECT_EQ(&storage->matchCache(kTag), tags);
  // A new database forgets the caches and their models, except the shortcut to the last one
  // handed out.
  storage->setModels(feedItems(1, 1, "old"));
  storage->setModels({Value(Tag::make("old", 1))});
  storage->registerDbPath(dir.file("other.db"));
  EXPECT_EQ(&storage->matchCache(kTag), tags);
  EXPECT_EQ(tags->count(), 1u);
  EXPECT_NE(&storage->matchCache(kFeed), feeds);
  EXPECT_EQ(feeds->count(), 0u);
}

TEST_F(StorageTest, ReadOnlyAndCorruptFilesGiveEmptyResultsAndLoggedErrors) {
  openStorage()->setModels(feedItems(1, 2, "item"));
  std::filesystem::permissions(path, std::filesystem::perms::owner_read | std::filesystem::perms::group_read);
  {
    log.clear();
    const auto storage = openStorage();
    if (::access(path.c_str(), W_OK) == 0) {  // a user who may write anyway: refuse writes in SQLite
      EXPECT_TRUE(storage->database()->executeUpdate("PRAGMA query_only=1"));
    }
    EXPECT_EQ(titles(storage->allModels(kFeed)), "item1,item2");
    storage->setModels(feedItems(3, 1, "refused"));
    storage->batchModels(feedItems(4, 1, "refused"));
    EXPECT_TRUE(log.contains("readonly"));
    EXPECT_EQ(onDisk("SELECT count(*) FROM kiv_feeditem_v1"), "2");
  }

  const std::string corrupt = dir.file("corrupt.db");
  std::ofstream(corrupt) << std::string(8192, 'x');
  log.clear();
  const auto storage = testing::openStorage(corrupt);
  storage->setModels(feedItems(1, 1, "lost"));
  EXPECT_FALSE(storage->dbModel(1, kFeed));
  EXPECT_EQ(storage->allModels(kFeed).count(), 0u);
  EXPECT_TRUE(log.contains("file is not a database"));
}

}  // namespace
}  // namespace kiv::testing

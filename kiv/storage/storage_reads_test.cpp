// Reads build models straight from result rows; the models must be the ones that the database
// adapter makes of the same rows through its dictionaries.
#include <gtest/gtest.h>

#include <string>

#include "examples/timeline_models.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/mapping/internal/row_layout.hpp"
#include "kiv/storage/storage_test_support.hpp"
#include "kiv/testing/mapping_models.hpp"

namespace kiv::testing {
namespace {

using timeline::TimelineStatus;
using timeline::TimelineUser;

class StorageReadsTest : public StorageTest {
 protected:
  // Saves the models, then reads their table both ways and compares every model.
  void expectBothPathsAgree(const ModelClass& cls, const Array& models) {
    const auto storage = openStorage({Value(&cls)});
    storage->setModels(models);
    storage->clearCaches();
    const Array direct = storage->allModels(cls);
    const OxDbRows rows = storage->matchTable(cls)->find();
    ASSERT_EQ(direct.count(), rows.size());
    ASSERT_GT(rows.size(), 0u);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const Ref<KivModel> read = direct[i].objectAs<KivModel>();
      const Ref<KivModel> adapted = KivModelAdapter::modelFromDBDictionary(rows[i]->dataDict(), cls);
      ASSERT_TRUE(read && adapted) << i;
      EXPECT_EQ(&read->modelClass(), &adapted->modelClass());
      EXPECT_EQ(read->kivFlag(), adapted->kivFlag()) << i;
      EXPECT_EQ(kiv_dictionaryFromModel(read.get()), kiv_dictionaryFromModel(adapted.get())) << i;
      EXPECT_EQ(KivModelAdapter::DBDictionaryFromModel(read.get()), KivModelAdapter::DBDictionaryFromModel(adapted.get()))
          << i;
    }
  }

  // The statuses of a feed, and their users, as models.
  void expectFeedReadsBothWays(const std::string& text) {
    const MutableArray statuses = MutableArray::array();
    const MutableArray users = MutableArray::array();
    for (const Value& status : parseJSON(text).asDictionary()["statuses"].asArray()) {
      const Ref<TimelineStatus> model = kiv_modelFromDictionary<TimelineStatus>(status.asDictionary());
      statuses.addObject(Value(model));
      if (model->user()) users.addObject(Value(model->user()));
    }
    expectBothPathsAgree(TimelineStatus::kivClass(), statuses);
    expectBothPathsAgree(TimelineUser::kivClass(), users);
  }
};

TEST_F(StorageReadsTest, ModelsReadFromRowsAreTheAdaptersOnTheSampleFeed) {
  EXPECT_TRUE(RowLayout::of(TimelineStatus::kivClass()).direct());
  EXPECT_TRUE(RowLayout::of(TimelineUser::kivClass()).direct());
  expectFeedReadsBothWays(*readFile(sampleDataFile("timeline.json")));
}

TEST_F(StorageReadsTest, ModelsReadFromRowsAreTheAdaptersOnTwitterJson) {
  const auto file = sharedDataFile("twitter.json");
  if (!file) GTEST_SKIP() << "../shared/data/twitter.json is not there";
  expectFeedReadsBothWays(*readFile(*file));
}

// A class whose hooks need the dictionaries: it reads through them, with the same result.
TEST_F(StorageReadsTest, AClassThatNeedsTheDictionariesIsReadThroughThem) {
  EXPECT_FALSE(RowLayout::of(Record::kivClass()).direct());
  const Ref<Record> record = kiv_modelFromDictionary<Record>(
      json(R"({"id": 7, "name": "Ann", "tags": ["a", "b"], "extra": {"k": 1}, "born": 1449000000,
               "profile": {"name": "child"}, "names": {"nick": "an"}})"));
  expectBothPathsAgree(Record::kivClass(), {Value(record)});
}

}  // namespace
}  // namespace kiv::testing

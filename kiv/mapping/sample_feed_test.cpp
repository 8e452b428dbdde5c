// The timeline models of the examples, mapped from the sample feed that ships with Kiv and from
// twitter.json when it is beside the repository.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "examples/timeline_models.hpp"
#include "kiv/foundation/json.hpp"
#include "kiv/testing/test_support.hpp"

namespace kiv {
namespace {

using timeline::TimelineHashtag;
using timeline::TimelineStatus;

std::vector<Ref<TimelineStatus>> statusesOf(const std::string& text) {
  std::vector<Ref<TimelineStatus>> statuses;
  for (const Value& status : parseJSON(text).asDictionary()["statuses"].asArray()) {
    statuses.push_back(kiv_modelFromDictionary<TimelineStatus>(status.asDictionary()));
  }
  return statuses;
}

// Written back and mapped again, a status gives the same dictionary; so does its row.
void expectRoundTrips(const TimelineStatus& status) {
  const MutableDictionary json = kiv_dictionaryFromModel(&status);
  const Ref<TimelineStatus> again = kiv_modelFromDictionary<TimelineStatus>(json);
  ASSERT_TRUE(again);
  EXPECT_EQ(kiv_dictionaryFromModel(again), json);

  const MutableDictionary row = KivModelAdapter::DBDictionaryFromModel(&status);
  const Ref<KivModel> stored = KivModelAdapter::modelFromDBDictionary(row, TimelineStatus::kivClass());
  ASSERT_TRUE(stored);
  EXPECT_EQ(KivModelAdapter::DBDictionaryFromModel(stored.get()), row);
}

TEST(SampleFeedTest, MapsTheSampleStatusesWithUsersHashtagsAndDates) {
  const auto text = testing::readFile(testing::sampleDataFile("timeline.json"));
  ASSERT_TRUE(text);
  const std::vector<Ref<TimelineStatus>> statuses = statusesOf(*text);
  ASSERT_EQ(statuses.size(), 5u);

  const TimelineStatus& first = *statuses[0];
  EXPECT_EQ(first.statusId(), 1861234567890123401);
  EXPECT_EQ(first.createdAt(), Value::date(1763712000));
  EXPECT_EQ(first.user()->profileLocation(), Value("Uppsala"));
  ASSERT_EQ(first.hashtags().count(), 2u);
  EXPECT_EQ(first.hashtags()[1].objectAs<TimelineHashtag>()->text(), Value("ios"));
  EXPECT_EQ(first.hashtags()[1].objectAs<TimelineHashtag>()->indices(), (Array{63, 67}));

  EXPECT_EQ(statuses[1]->createdAt(), Value::date(1763715600.5));
  EXPECT_EQ(statuses[1]->user()->followersCount(), 215);  // "215" in the feed
  EXPECT_TRUE(statuses[1]->user()->profileLocation().isAbsent());
  EXPECT_EQ(statuses[1]->hashtags().count(), 0u);
  EXPECT_EQ(statuses[3]->hashtags().count(), 1u);  // "not a hashtag" is left out
  EXPECT_FALSE(statuses[3]->favorited());           // null reads as false
  EXPECT_EQ(timeline::describeSetProperties(*statuses[3]).rfind("set: ", 0), 0u);

  for (const Ref<TimelineStatus>& status : statuses) expectRoundTrips(*status);
}

TEST(SampleFeedTest, MapsTwitterStatusesWithTextDates) {
  const auto path = testing::sharedDataFile("twitter.json");
  if (!path) GTEST_SKIP() << "../shared/data/twitter.json is not there";
  const std::vector<Ref<TimelineStatus>> statuses = statusesOf(*testing::readFile(*path));
  ASSERT_EQ(statuses.size(), 100u);

  EXPECT_EQ(statuses[0]->createdAt(), Value::date(1409444955));  // "Sun Aug 31 00:29:15 +0000 2014"
  EXPECT_EQ(statuses[0]->user()->followersCount(), 262);
  std::size_t hashtags = 0;
  for (const Ref<TimelineStatus>& status : statuses) {
    ASSERT_TRUE(status->user()->createdAt().isDate());
    hashtags += status->hashtags().count();
    expectRoundTrips(*status);
  }
  EXPECT_EQ(hashtags, 8u);
}

}  // namespace
}  // namespace kiv

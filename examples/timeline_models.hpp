// The models of a timeline feed (examples/data/timeline.json, and the statuses of twitter.json):
// a status with its nested user, an array of hashtags and a creation date.
//
//   const kiv::Ref<timeline::TimelineStatus> status =
//       kiv::kiv_modelFromDictionary<timeline::TimelineStatus>(dictionary);
//
// Dates come as seconds since 1970 in the sample feed and as text such as
// "Sun Aug 31 00:29:15 +0000 2014" in twitter.json; TimelineDateTransformValue reads both and
// writes seconds. Both models name their 64-bit id as the key and list the properties that a
// store keeps; TimelineClassMap gives them application types for KivContext.
#ifndef KIV_EXAMPLES_TIMELINE_MODELS_HPP_
#define KIV_EXAMPLES_TIMELINE_MODELS_HPP_

#include <cstdint>
#include <string>

#include "kiv/foundation/date_formatter.hpp"
#include "kiv/mapping/model_adapter.hpp"
#include "kiv/mapping/transform_value.hpp"
#include "kiv/model/class_map.hpp"
#include "kiv/model/model.hpp"

namespace timeline {

// Reads dates as seconds since 1970 (numbers, or text that starts with digits) or as the text
// form of twitter's API; writes them as seconds.
class TimelineDateTransformValue : public kiv::KivDateTransformValue {
 public:
  kiv::Value decodeValue(const kiv::Value& value) const override {
    if (value.isString()) {
      static const kiv::DateFormatter apiFormat("EEE MMM dd HH:mm:ss Z yyyy");
      if (kiv::Date date = apiFormat.dateFromString(value.stringView())) return date;
    }
    return KivDateTransformValue::decodeValue(value);
  }
};

class TimelineHashtag : public kiv::KivModel {
  KIV_MODEL(TimelineHashtag, kiv::KivModel)
  KIV_PROPERTY(kiv::String, text, setText)
  KIV_PROPERTY(kiv::Array, indices, setIndices)

 public:
  static kiv::Dictionary kiv_jsonKeyPathsByProperty() { return {{"text", "text"}, {"indices", "indices"}}; }
};

class TimelineUser : public kiv::KivModel {
  KIV_MODEL(TimelineUser, kiv::KivModel)
  KIV_PROPERTY(std::int64_t, userId, setUserId)
  KIV_PROPERTY(kiv::String, screenName, setScreenName)
  KIV_PROPERTY(kiv::String, name, setName)
  KIV_PROPERTY(kiv::String, location, setLocation)
  KIV_PROPERTY(kiv::String, profileLocation, setProfileLocation)
  KIV_PROPERTY(kiv::String, userDescription, setUserDescription)
  KIV_PROPERTY(std::int32_t, followersCount, setFollowersCount)
  KIV_PROPERTY(std::int32_t, friendsCount, setFriendsCount)
  KIV_PROPERTY(std::int32_t, statusesCount, setStatusesCount)
  KIV_PROPERTY(bool, verified, setVerified)
  KIV_PROPERTY(kiv::Date, createdAt, setCreatedAt)

 public:
  static kiv::Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"userId", "id"},
            {"screenName", "screen_name"},
            {"name", "name"},
            {"location", "location"},
            {"profileLocation", "profile.location"},  // the sample feed nests it
            {"userDescription", "description"},
            {"followersCount", "followers_count"},
            {"friendsCount", "friends_count"},
            {"statusesCount", "statuses_count"},
            {"verified", "verified"},
            {"createdAt", "created_at"}};
  }
  static kiv::Dictionary kiv_valueTransform() {
    return {{"createdAt", kiv::Value(kiv::makeRef<TimelineDateTransformValue>())}};
  }
  static kiv::Value kiv_key() { return "userId"; }
  static kiv::Array kiv_dbStoreProperty() {
    return {"userId", "screenName", "name", "location", "followersCount", "verified", "createdAt"};
  }
};

class TimelineStatus : public kiv::KivModel {
  KIV_MODEL(TimelineStatus, kiv::KivModel)
  KIV_PROPERTY(std::int64_t, statusId, setStatusId)
  KIV_PROPERTY(kiv::String, idStr, setIdStr)
  KIV_PROPERTY(kiv::String, text, setText)
  KIV_PROPERTY(kiv::String, lang, setLang)
  KIV_PROPERTY(kiv::Date, createdAt, setCreatedAt)
  KIV_PROPERTY(std::int32_t, favoriteCount, setFavoriteCount)
  KIV_PROPERTY(std::int32_t, retweetCount, setRetweetCount)
  KIV_PROPERTY(bool, favorited, setFavorited)
  KIV_PROPERTY(std::int64_t, inReplyToStatusId, setInReplyToStatusId)
  KIV_PROPERTY(kiv::Ref<TimelineUser>, user, setUser)
  KIV_PROPERTY(kiv::Array, hashtags, setHashtags)

 public:
  static kiv::Dictionary kiv_jsonKeyPathsByProperty() {
    return {{"statusId", "id"},
            {"idStr", "id_str"},
            {"text", "text"},
            {"lang", "lang"},
            {"createdAt", "created_at"},
            {"favoriteCount", "favorite_count"},
            {"retweetCount", "retweet_count"},
            {"favorited", "favorited"},
            {"inReplyToStatusId", "in_reply_to_status_id"},
            {"user", "user"},
            {"hashtags", "entities.hashtags"}};
  }
  static kiv::Dictionary kiv_valueTransform() {
    return {{"createdAt", kiv::Value(kiv::makeRef<TimelineDateTransformValue>())},
            {"hashtags", kiv::Value(kiv::makeRef<kiv::KivClassArrayTransformValue>(TimelineHashtag::kivClass()))}};
  }
  static kiv::Value kiv_key() { return "statusId"; }
  static kiv::Array kiv_dbStoreProperty() {
    return {"statusId", "text", "lang", "createdAt", "favoriteCount", "retweetCount",
            "favorited", "inReplyToStatusId", "user", "hashtags"};
  }
};

// The storage configuration of the demo: two application types; rows expire after a week.
class TimelineClassMap : public kiv::KivClassMap {
  KIV_CLASS_MAP(TimelineClassMap, kiv::KivClassMap)

 public:
  static constexpr std::int64_t kStatusType = 1;
  static constexpr std::int64_t kUserType = 2;

  static double kiv_clearTimeInterval() { return 7 * 86400.0; }
  static const kiv::ModelClass* classMap(std::int64_t type) {
    if (type == kStatusType) return &TimelineStatus::kivClass();
    if (type == kUserType) return &TimelineUser::kivClass();
    return nullptr;
  }
};

// "set: name, other; not set: third": which properties of the model's class chain are set.
inline std::string describeSetProperties(const kiv::KivModel& model) {
  std::string set;
  std::string unset;
  kiv::forEachModelLevel(model.modelClass(), [&](const kiv::ModelClass& level) {
    for (const auto& [name, info] : level.kiv_classInfo().propDict()) {
      std::string& list = model.kivFlag().needMergeAt(info->mergeIdx()) ? set : unset;
      if (!list.empty()) list += ", ";
      list += name;
    }
  });
  return "set: " + (set.empty() ? "none" : set) + "; not set: " + (unset.empty() ? "none" : unset);
}

}  // namespace timeline

#endif  // KIV_EXAMPLES_TIMELINE_MODELS_HPP_

// Converts records between stored form and user interface form.

#include <cstdlib>

#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"
#include "support/seconds.h"
#include "support/user.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_UTIL;

// The uid of an integer, narrowed in the same way as in all records.
int ownerUid(const Json::Value& jOwner) {
  return static_cast<int>(jOwner.asInt64());
}

std::string userName(int uid) {
  const User pUser = findUser(static_cast<uid_t>(uid));
  if (!pUser) {
    LOG_ERROR("cannot get user name, uid=%d, using empty name", uid);
    return std::string();
  }
  return pUser->szName ? pUser->szName : "";
}

int addOwnerName(Json::Value& jRec) {
  FAIL_IF_AS(!isInt64Like(jRec["owner"]), "!jRec[\"owner\"].isInt64()");
  const int uid = ownerUid(jRec["owner"]);
  Json::Value jOwner(Json::objectValue);
  jOwner[myto_string(uid)] = userName(uid);
  jRec["owner"] = jOwner;
  LOG_DEBUG("change owner format from[%d] to [%s]", uid, toString(jOwner).c_str());
  return 0;
}

int removeOwnerName(Json::Value& jRec) {
  FAIL_IF(jRec["owner"].type() != Json::objectValue);
  const Json::Value::Members jmList = jRec["owner"].getMemberNames();
  FAIL_IF_AS(jmList.empty(), "0 >= jmList.size()");
  LOG_DEBUG("change owner format from[%s] to [%s]", toString(jRec["owner"]).c_str(), jmList.front().c_str());
  jRec["owner"] = static_cast<int>(std::strtol(jmList.front().c_str(), nullptr, 10));
  return 0;
}

// "emtpy", here and below, is deliberate: people know these texts.
int changeOwner(Json::Value& jRec, bool blAddName) {
  if (jRec.empty()) {
    LOG_DEBUG("jRec is emtpy, need not change owner format");
    return 0;
  }
  FAIL_IF(jRec.type() != Json::objectValue);
  if (!jRec.isMember("owner")) {
    return 0;
  }
  return blAddName ? addOwnerName(jRec) : removeOwnerName(jRec);
}

// 1 when the member was converted, 0 when there was nothing to convert.
int objectChangeTimeStampByKey(Json::Value& jRec, const std::string& strKey) {
  if (jRec.empty()) {
    LOG_DEBUG("jRec is emtpy, need not change timestamp format");
    return 0;
  }
  FAIL_IF(jRec.type() != Json::objectValue);
  if (!jRec.isMember(strKey)) {
    return 0;
  }
  FAIL_IF_AS(!isInt64Like(jRec[strKey]), "!jRec[strKey].isInt64()");
  std::string strTime;
  FAIL_IF_AS(0 > ORVA_JSON_DB::convert2ReadableTime(toSeconds(jRec[strKey].asInt64()), strTime,
                                                    ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS),
             "0 > convert2ReadableTime(jRec[strKey].asInt64(), strTime, ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS)");
  FAIL_IF(strTime.empty());
  jRec[strKey] = strTime;
  return 1;
}

int changeTimes(Json::Value& jRec) {
  if (jRec.empty()) {
    LOG_DEBUG("jRec is emtpy, need not change timestamp format");
    return 0;
  }
  FAIL_IF(jRec.type() != Json::objectValue);
  for (const char* szKey : {"last_start_time", "last_stop_time", "start_time", "stop_time", "event_fire_time"}) {
    if (0 > objectChangeTimeStampByKey(jRec, szKey)) {
      LOG_FAILED_WITH("0 > objectChangeTimeStampByKey(jRec, blToString, \"%s\")", szKey);
      return -1;
    }
  }
  return 0;
}

// The two conversions of a record, with the check texts for an element of an array and for a single record.
int convertOwner(Json::Value& jRec, bool blAddName, bool blElement) {
  FAIL_IF_AS(0 > objectChangeFormatOwner(jRec, blAddName),
             blElement ? "0 > objectChangeFormatOwner(jInOut[(size_t)i], blAddName)"
                       : "0 > objectChangeFormatOwner(jInOut, blAddName)");
  return 0;
}

int convertTimes(Json::Value& jRec, bool blElement) {
  FAIL_IF_AS(0 > objectChangeTimeStamp(jRec, true), blElement ? "0 > objectChangeTimeStamp(jInOut[(size_t)i], true)"
                                                              : "0 > objectChangeTimeStamp(jInOut, true)");
  return 0;
}

// The common part of the three actions: calls convert(jRec, blElement) on a record, or on each element of an array up
// to the first failure.
template <typename Convert>
int convertRecords(Json::Value& jInOut, const char* szNothing, Convert convert) {
  if (jInOut.isArray()) {
    for (Json::Value& jRec : jInOut) {
      if (0 > convert(jRec, true)) {
        return -1;
      }
    }
    return 0;
  }
  if (jInOut.isObject()) {
    return convert(jInOut, false);
  }
  if (jInOut.isNull()) {
    LOG_DEBUG("%s", szNothing);
    return 0;
  }
  LOG_FAILED("err jInOut type");
  return -1;
}

template <typename Convert>
int actOn(Json::Value& jInOut, const char* szNothing, Convert convert) {
  return GUARDED([&] {
    if (jInOut.empty()) {
      return 0;
    }
    const int iResult = convertRecords(jInOut, szNothing, convert);
    if (0 > iResult) {
      LOG_ERROR("jInOut=%s", toString(jInOut).c_str());
    }
    return iResult;
  });
}

// Converts one record, and logs the record on failure.
template <typename Convert>
int convertRecord(Json::Value& jRec, Convert convert) {
  return GUARDED([&] {
    const int iResult = convert();
    if (0 > iResult) {
      LOG_ERROR("err jRec=%s", toString(jRec).c_str());
    }
    return iResult;
  });
}

}  // namespace

int taskPreAction(Json::Value& jInOut) {
  return actOn(jInOut, "no input parameter",
               [](Json::Value& jRec, bool blElement) { return convertOwner(jRec, false, blElement); });
}

int taskPostAction(Json::Value& jInOut) {
  return actOn(jInOut, "no output", [](Json::Value& jRec, bool blElement) {
    return 0 > convertOwner(jRec, true, blElement) ? -1 : convertTimes(jRec, blElement);
  });
}

int resultPostAction(Json::Value& jInOut) {
  return actOn(jInOut, "no output", [](Json::Value& jRec, bool blElement) { return convertTimes(jRec, blElement); });
}

int objectChangeTimeStamp(Json::Value& jRec, [[maybe_unused]] bool blToString) {
  return convertRecord(jRec, [&] { return changeTimes(jRec); });
}

int objectChangeFormatOwner(Json::Value& jRec, bool blAddName) {
  return convertRecord(jRec, [&] { return changeOwner(jRec, blAddName); });
}

std::string myto_string(const int& iValue) {
  return guarded(LOG_SOURCE, __LINE__, std::string(), [&] { return std::to_string(iValue); });
}

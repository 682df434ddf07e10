/// \file stored_time.h
/// Times in records. The library stores them as signed numbers of 32 bits, so from 2038-01-19 on they continue below 0.
/// No run started before 1970, so a time below 0 is read as the continuation; this holds until the year 2106.

#pragma once

#include <cstdint>
#include <ctime>
#include <fmt/format.h>
#include <string>

#include "json_members.h"

namespace Host {

inline constexpr Json::Int64 STORED_TIMES = Json::Int64{1} << 32;

/// The time that a stored number stands for; a true time stays what it is.
inline Json::Int64 trueTime(Json::Int64 iStored) {
  return iStored < 0 ? iStored + STORED_TIMES : iStored;
}

/// The number that the library stores for a time. It also names the folder of a run.
inline Json::Int64 storedTime(Json::Int64 iTime) {
  return static_cast<std::int32_t>(iTime);
}

/// The true time in a record; 0 when it has none.
inline Json::Int64 timeOf(const Json::Value& jRec, const char* szKey) {
  return trueTime(intOf(jRec, szKey));
}

/// Gives a record of a task or a run, for other programs, the true times.
inline void makeTimesTrue(Json::Value& jRec) {
  for (const char* szTime : {"start_time", "stop_time", "event_fire_time", "last_start_time", "last_stop_time"}) {
    if (jRec.isMember(szTime)) {
      jRec[szTime] = timeOf(jRec, szTime);
    }
  }
}

/// How long a run took, or has taken until now.
inline Json::Int64 secondsOf(const Json::Value& jRun) {
  const Json::Int64 iUntil = jRun.isMember("stop_time") ? timeOf(jRun, "stop_time") : Json::Int64{std::time(nullptr)};
  return iUntil - timeOf(jRun, "start_time");
}

/// The true time of a column in SQL.
inline std::string sqlTime(const char* szColumn) {
  return fmt::format("({0} + ({0} < 0) * {1})", szColumn, STORED_TIMES);
}

/// The latest stored time among rows, in SQL. An index on the column finds it.
inline std::string sqlLatest(const std::string& strColumn, const std::string& strTable, const std::string& strWhere) {
  return fmt::format("coalesce((select max({0}) from {1} where {2} and {0} < 0), (select max({0}) from {1} where {2}))",
                     strColumn, strTable, strWhere);
}

}  // namespace Host

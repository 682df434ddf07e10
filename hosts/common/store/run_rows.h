/// \file run_rows.h
/// Many runs at once: their numbers and start times, without the rest of their records.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

class Session;

struct RunRow {
  Json::Int64 iRun = 0;
  Json::Int64 iStartTime = 0;
};

/// Lists runs by a WHERE text, the newest first. \param cLimit  how many at most.
/// \throw Failure when the store fails; here and below.
std::vector<RunRow> listRunRows(Session& session, const std::string& strWhere, unsigned cLimit);

/// The number of the last of the newest runs that match. \param cRuns  how many, at least one.
/// \return 0 when fewer match.
Json::Int64 lastOfNewest(Session& session, const std::string& strWhere, unsigned cRuns);

/// Deletes the records of runs, all or none.
void deleteRuns(Session& session, const std::vector<Json::Int64>& vecRuns);

}  // namespace Host

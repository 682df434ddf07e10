#include "next_try.h"

#include <fmt/format.h>

#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

bool isWaiting(const ExecutionNotes& notes, Json::Int64 iRun) {
  const auto it = notes.mapTries.find(iRun);
  return it != notes.mapTries.end() && it->second.state == TryNotes::State::WAITING;
}

}  // namespace

NextTries nextTries() {
  NextTries tries;
  for (const LiveExecution& execution : liveExecutions()) {
    for (const auto& [iRun, next] : execution.notes.mapTries) {
      if (isWaiting(execution.notes, iRun)) {
        tries[iRun] = next;
      }
    }
  }
  return tries;
}

std::optional<TryNotes> nextTryAfter(const NextTries& tries, const Json::Value& jRun) {
  const auto it = tries.find(intOf(jRun, "result_id"));
  return it == tries.end() ? std::nullopt : std::optional(it->second);
}

std::vector<Json::Value> runsTriedAgain(Session& session, const NextTries& tries, const std::string& strTask) {
  std::vector<Json::Value> vecRuns;
  for (const auto& [iRun, next] : tries) {
    for (const Json::Value& jRun :
         listRuns(session, fmt::format("result_id = {} and task_name = {}", iRun, sqlText(strTask)))) {
      vecRuns.push_back(jRun);
    }
  }
  return vecRuns;
}

bool stopNextTry(Json::Int64 iRun) {
  for (const LiveExecution& execution : liveExecutions()) {
    if (isWaiting(execution.notes, iRun)) {
      if (!execution.stopTry(iRun)) {
        throw Failure(fmt::format("the next try after run {} has just begun", iRun));
      }
      return true;
    }
  }
  return false;
}

}  // namespace Host

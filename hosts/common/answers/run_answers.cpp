#include "run_answers.h"

#include <fmt/format.h>
#include <optional>

#include "common/coordination/execution_file.h"
#include "common/executions/detached_start.h"
#include "common/executions/progress.h"
#include "common/output/retention.h"
#include "common/output/run_files.h"
#include "common/runs/outcome.h"
#include "common/runs/script_end.h"
#include "common/text/amounts.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"
#include "reason_text.h"
#include "task_answers.h"

namespace Host {

namespace {

Json::Value durationOf(const Json::Value& jRun) {
  return jRun.isMember("stop_time") ? Json::Value(secondsOf(jRun)) : Json::Value();
}

/// How the script ended.
Json::Value endForPrograms(const Json::Value& jRun) {
  const std::optional<ScriptEnd> end = scriptEndOf(jRun);
  if (!end) {
    return {};
  }
  switch (end->kind) {
    case ScriptEnd::Kind::EXITED:
      return objectOf({{"exit", end->iNumber}});
    case ScriptEnd::Kind::KILLED: {
      const std::string strName = signalName(end->iNumber);
      return objectOf({{"signal", end->iNumber}, {"name", strName.empty() ? Json::Value() : Json::Value(strName)}});
    }
    case ScriptEnd::Kind::NOT_STARTED:
      break;
  }
  return objectOf({{"not_started", true}});
}

/// Durations are in seconds.
Json::Value cpuSecondsOf(const Json::Value& jRun) {
  constexpr double MICROSECONDS = 1e6;
  return jRun["cpu_usec"].isInt64() ? Json::Value(static_cast<double>(intOf(jRun, "cpu_usec")) / MICROSECONDS)
                                    : Json::Value();
}

Json::Value itemForPrograms(const PrunedItem& item) {
  return objectOf({{"result_id", item.iRun != 0 ? Json::Value(item.iRun) : Json::Value()},
                   {"task_name", item.task()},
                   {"start_time", trueTime(item.iStartTime)},
                   {"bytes", static_cast<Json::UInt64>(item.cb)}});
}

}  // namespace

Json::Value runForPrograms(const Json::Value& jRun) {
  const Outcome outcome = outcomeOf(jRun);
  const Json::Value& jOwner = memberOf(jRun, "owner");
  Json::Value jOut = jRun;
  makeTimesTrue(jOut);
  jOut["owner"] = jOwner;
  jOut["owner_name"] = jOwner.isNull() ? Json::Value() : Json::Value(ownerText(jRun));
  jOut["duration"] = durationOf(jRun);
  jOut["outcome"] = outcomeWord(outcome.kind);
  jOut["outcome_text"] = outcome.strText;
  jOut["end"] = endForPrograms(jRun);
  jOut["cpu_seconds"] = cpuSecondsOf(jRun);
  jOut["attempt"] = intOf(jRun, "attempt", 1);
  jOut["retry_of"] = memberOf(jRun, "retry_of");
  for (const char* szFact : {OUTPUT_CUT, DIRECTORY_ERROR, OUT_OF_MEMORY}) {
    jOut[szFact] = memberOf(memberOf(jRun, "extra"), szFact);
  }
  for (const char* szCost : {"memory_peak", "io_read", "io_written"}) {
    jOut[szCost] = memberOf(jRun, szCost);
  }
  jOut.removeMember("shell_status");
  jOut.removeMember("cpu_usec");
  return jOut;
}

std::string nextTryText(const std::optional<TryNotes>& next) {
  return next ? fmt::format("try {} of {} follows at {}", next->iTry, next->cTries, timeText(next->iAt))
              : std::string();
}

Json::Value nextTryForPrograms(const std::optional<TryNotes>& next) {
  return next ? objectOf({{"at", next->iAt}, {"try", next->iTry}, {"tries", next->cTries}}) : Json::Value();
}

Json::Value runsForPrograms(const std::vector<Json::Value>& vecRuns) {
  return arrayOf(vecRuns, &runForPrograms);
}

Json::Value stoppedForPrograms(const std::vector<Json::Value>& vecRuns) {
  return vecRuns.size() == 1 ? runForPrograms(vecRuns.front()) : runsForPrograms(vecRuns);
}

Json::Value runFileForPrograms(const Json::Value& jRun, const char* szFile, unsigned cLines) {
  const FileFollower::End end = endOfRunFile(jRun, szFile, cLines);
  return objectOf({{"result_id", intOf(jRun, "result_id")},
                   {"task_name", textOf(jRun, "task_name")},
                   {"file", szFile},
                   {"size", static_cast<Json::Int64>(end.cbFile)},
                   {"offset", static_cast<Json::Int64>(end.iStart)},
                   {"truncated", end.blCut},
                   {"text", end.strText}});
}

Json::Value runDifferenceForPrograms(const Json::Value& jLeft, const Json::Value& jRight, const char* szFile,
                                     const std::string& strDifference) {
  return objectOf({{"left", intOf(jLeft, "result_id")},
                   {"right", intOf(jRight, "result_id")},
                   {"file", szFile},
                   {"same", strDifference.empty()},
                   {"difference", strDifference}});
}

Json::Value pruneForPrograms(const PruneResult& result, bool blDryRun) {
  return objectOf({{"dry_run", blDryRun},
                   {"runs", arrayOf(result.queRuns, &itemForPrograms)},
                   {"outputs", arrayOf(result.queOutputs, &itemForPrograms)},
                   {"bytes", static_cast<Json::UInt64>(result.bytes())},
                   {"problems", arrayOf(result.vecProblems)}});
}

Json::Value startForPrograms(const ExecutionRequest& request, const DetachedStart& start) {
  const bool blUnit = !start.strUnit.empty();
  return objectOf({{request.kind(), request.strName},
                   {blUnit ? "unit" : "pid", blUnit ? Json::Value(start.strUnit) : Json::Value(start.pid)}});
}

Json::Value executionForPrograms(const ExecutionRequest& request, const Progress& progress,
                                 const std::vector<LeftOut>& vecLeftOut) {
  const auto leftOut = [](const LeftOut& task) {
    return objectOf({{"task_name", task.strTask}, {"reasons", reasonsForPrograms(task.strTask, task.vecReasons)}});
  };
  return objectOf({{request.kind(), request.strName},
                   {"runs", arrayOf(progress.runs(), [](const auto& run) { return runForPrograms(run.second); })},
                   {"not_started", arrayOf(progress.notStarted())},
                   {"left_out", arrayOf(vecLeftOut, leftOut)}});
}

}  // namespace Host

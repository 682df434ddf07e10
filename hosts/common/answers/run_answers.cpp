#include "run_answers.h"

#include "common/executions/execution_request.h"
#include "common/executions/progress.h"
#include "common/output/retention.h"
#include "common/output/run_files.h"
#include "common/runs/outcome.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

Json::Value durationOf(const Json::Value& jRun) {
  return jRun.isMember("stop_time") ? Json::Value(intOf(jRun, "stop_time") - intOf(jRun, "start_time")) : Json::Value();
}

Json::Value textsForPrograms(const std::vector<std::string>& vecTexts) {
  Json::Value jTexts(Json::arrayValue);
  for (const std::string& strText : vecTexts) {
    jTexts.append(strText);
  }
  return jTexts;
}

Json::Value itemsForPrograms(const std::vector<PrunedItem>& vecItems) {
  Json::Value jItems(Json::arrayValue);
  for (const PrunedItem& item : vecItems) {
    Json::Value jItem(Json::objectValue);
    jItem["result_id"] = memberOf(item.jRun, "result_id");
    jItem["task_name"] = item.task();
    jItem["start_time"] = item.iStartTime;
    jItem["bytes"] = static_cast<Json::UInt64>(item.cb);
    jItems.append(jItem);
  }
  return jItems;
}

}  // namespace

Json::Value runForPrograms(const Json::Value& jRun, const OwnerNames& owners) {
  const Outcome outcome = outcomeOf(jRun);
  const auto itOwner = owners.find(textOf(jRun, "task_name"));
  Json::Value jOut = jRun;
  jOut["owner_name"] = itOwner != owners.end() ? Json::Value(itOwner->second) : Json::Value();
  jOut["duration"] = durationOf(jRun);
  jOut["outcome"] = outcomeWord(outcome.kind);
  jOut["outcome_text"] = outcome.strText;
  return jOut;
}

Json::Value runsForPrograms(const std::vector<Json::Value>& vecRuns, const OwnerNames& owners) {
  Json::Value jOut(Json::arrayValue);
  for (const Json::Value& jRun : vecRuns) {
    jOut.append(runForPrograms(jRun, owners));
  }
  return jOut;
}

Json::Value runFileForPrograms(const Json::Value& jRun, const char* szFile, unsigned cLines) {
  const FileFollower::End end = endOfRunFile(jRun, szFile, cLines);
  Json::Value jOut(Json::objectValue);
  jOut["result_id"] = intOf(jRun, "result_id");
  jOut["task_name"] = textOf(jRun, "task_name");
  jOut["file"] = szFile;
  jOut["size"] = static_cast<Json::Int64>(end.cbFile);
  jOut["offset"] = static_cast<Json::Int64>(end.iStart);
  jOut["truncated"] = end.blCut;
  jOut["text"] = end.strText;
  return jOut;
}

Json::Value pruneForPrograms(const PruneResult& result, bool blDryRun) {
  Json::Value jOut(Json::objectValue);
  jOut["dry_run"] = blDryRun;
  jOut["runs"] = itemsForPrograms(result.vecRuns);
  jOut["outputs"] = itemsForPrograms(result.vecOutputs);
  jOut["bytes"] = static_cast<Json::UInt64>(result.bytes());
  jOut["problems"] = textsForPrograms(result.vecProblems);
  return jOut;
}

Json::Value executionForPrograms(const ExecutionRequest& request, const Progress& progress, const OwnerNames& owners) {
  Json::Value jOut(Json::objectValue);
  jOut[request.kind()] = request.strName;
  jOut["runs"] = Json::Value(Json::arrayValue);
  for (const auto& [iResult, jRun] : progress.runs()) {
    jOut["runs"].append(runForPrograms(jRun, owners));
  }
  jOut["not_started"] = textsForPrograms(progress.notStarted());
  return jOut;
}

}  // namespace Host

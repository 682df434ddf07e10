#include "engine/runner.h"

#include <cstdint>
#include <map>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "eorvascheduler.h"

#include "config/own_section.h"
#include "engine/admission.h"
#include "engine/close_run.h"
#include "engine/notification.h"
#include "engine/readiness.h"
#include "engine/run_calls.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

// One execution: the running children, the complete tasks, and the tasks that may start next.
class Execution {
public:
  Execution(Json::Value& jEvent, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb, bool blRunDependants)
      : m_jEvent(jEvent), m_pApi(pApi), m_pApiResult(pApiResult), m_pDb(pDb), m_blRunDependants(blRunDependants) {}

  int run(const Json::Value& jTaskList) {
    FAIL_IF(jTaskList.type() != Json::arrayValue);
    m_jTaskArray = jTaskList;
    if (0 > readConfig()) {
      return -1;
    }
    LOG_DEBUG("jTaskArray size=%d", static_cast<int>(m_jTaskArray.size()));
    for (;;) {
      if (0 > launch()) {
        return -1;
      }
      if (m_running.empty()) {
        return 0;
      }
      if (0 > poll()) {
        return -1;
      }
      sleep(1);
      if (m_jTaskArray.empty() && !m_running.empty()) {
        tellRunWait();
      }
    }
  }

private:
  // In ascending order of process ids.
  using Running = std::map<std::int32_t, Json::Value>;

  int readConfig() {
    Json::Value jFilter = ownSection();
    Json::Value jConfig;
    const int iFound = configGet(jFilter, jConfig);
    FAIL_IF_AS(0 > iFound, "0 > configGet(jFilter, jConfig)");
    // Without a configuration, tasks run without an output folder.
    m_jConfig = 0 == iFound ? Json::Value(Json::objectValue) : jConfig;
    return 0;
  }

  int launch() {
    for (const Json::Value& jTask : m_jTaskArray) {
      Json::Value jCurr = jTask;
      FAIL_IF(jCurr.type() != Json::objectValue);
      launchOne(jCurr);
    }
    m_jTaskArray = Json::Value(Json::arrayValue);
    return 0;
  }

  // If a task cannot be started, the others still start.
  void launchOne(Json::Value& jCurr) {
    Json::Value jResult;
    const int pid = runTask(jCurr, m_jEvent, m_pApi, m_pApiResult, m_pDb, m_jConfig, jResult);
    if (0 > pid) {
      LOG_ERROR("0 > (pid=runTask(jCurr, jEvent, pApi, pApiResult, pDb, jConfig, jResult))");
      return;
    }
    jCurr["result"] = jResult;
    if (0 != pid) {
      LOG_DEBUG("insert task[%s], pid=%u", taskName(jCurr).c_str(), static_cast<unsigned int>(pid));
      m_running.emplace(pid, jCurr);
    }
  }

  // One pass over the children that are running when it begins.
  int poll() {
    for (Running::iterator it = m_running.begin(); it != m_running.end();) {
      if (!isReaped(it->first)) {
        ++it;
        continue;
      }
      LOG_DEBUG("wait child pid=%u return", static_cast<unsigned int>(it->first));
      if (0 > finish(it->second)) {
        return -1;
      }
      it = m_running.erase(it);
    }
    return 0;
  }

  // The wait status is ignored, because the exit-code file tells how the script ended.
  static bool isReaped(std::int32_t pid) {
    if (0 >= pid) {
      LOG_ERROR("it->first <= 0");
      return false;
    }
    int iStatus = 0;
    const pid_t ret = waitpid(pid, &iStatus, WNOHANG);
    if (0 > ret) {
      LOG_ERROR("0 > ret");
    }
    return 0 < ret;
  }

  int finish(Json::Value& jTask) {
    rememberComplete(jTask);
    Json::Value jCurr = jTask;
    FAIL_IF(!jCurr.isMember("result"));
    Json::Value jResult = jCurr["result"];
    if (0 > updateTaskResultByExitStatus(jCurr, m_pApi, m_pApiResult, m_pDb, jResult)) {
      LOG_ERROR("0 > updateTaskResultByExitStatus(jCurr, pApi, pApiResult, pDb, jResult)");
      return 0;
    }
    if (0 > notifyCompletion(jCurr, jResult, m_jConfig)) {
      LOG_ERROR("notify failed, task=%s", taskName(jCurr).c_str());
    }
    removeFile(jCurr, "strScriptName_tmp");
    removeFile(jCurr, "strOutputPath_tmp");
    if (m_blRunDependants && 0 > getNextReadyTask(m_qComplete, jTask, m_pApi, m_pApiResult, m_pDb, m_jTaskArray)) {
      LOG_ERROR("0 > getNextReadyTask(qComplete, it->second, pApi, pApiResult, pDb, jTaskArray)");
    }
    return 0;
  }

  // Only the names of complete tasks are ever read, and the list is copied for each child that ends, so store only
  // names.
  void rememberComplete(const Json::Value& jTask) {
    Json::Value jComplete(Json::objectValue);
    jComplete["task_name"] = memberOf(jTask, "task_name");
    m_qComplete.push_back(jComplete);
  }

  // The task was read again from the store, which may have dropped the paths of the temporary files.
  static void removeFile(const Json::Value& jTask, const char* szMember) {
    if (hasMember(jTask, szMember)) {
      const std::string strPath = textOf(jTask[szMember]);
      LOG_DEBUG("unlink %s", strPath.c_str());
      unlink(strPath.c_str());
    }
  }

  static std::string taskName(const Json::Value& jTask) { return textOf(memberOf(jTask, "task_name")); }

  Json::Value& m_jEvent;
  OrvaJsonDbApi* m_pApi;
  OrvaJsonDbApi* m_pApiResult;
  sqlite3* m_pDb;
  const bool m_blRunDependants;
  Json::Value m_jConfig;
  Json::Value m_jTaskArray;
  Running m_running;
  std::vector<Json::Value> m_qComplete;
};

}  // namespace

int runTaskArray(Json::Value& jTaskList, Json::Value& jEvent, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult,
                 sqlite3* pDb, bool blRunDependants) {
  return GUARDED([&] { return Execution(jEvent, pApi, pApiResult, pDb, blRunDependants).run(jTaskList); });
}

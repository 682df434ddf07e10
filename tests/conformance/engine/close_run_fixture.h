// A run whose child has just been reaped.

#pragma once

#include "engine/close_run.h"
#include "fakes/eorva_test.h"

namespace OrvaTest {

class CloseRun : public HandlesTest {
protected:
  static constexpr int PID = 100;

  CloseRun() { prepare(); }

  // Prepares the task and the run record in the store, the runner's copies, and the child's exit information.
  void prepare() {
    m_jTask = json(
        "{'task_name': 'a', 'owner': 4001, 'event': 'bootup', 'status': {'running': [99, 100]},"
        " 'last_start_time': 1767225590, 'last_stop_time': 0, 'last_exit_info': {}}");
    m_jResult = json("{'result_id': 7, 'task_name': 'a', 'start_time': 1767225590, 'pid': 100, 'exit_info': {}}");
    fakes().put("task", m_jTask);
    fakes().put("task_result", m_jResult);
    m_jTask["strExitCode_tmp"] = exitCodePath();
    m_jTask["strScriptName_tmp"] = "/tmp/script";
    m_jTask["result"] = m_jResult;
    leaveExitInfo("{\"exit_type\": \"normal\", \"exit_code\": 3}");
  }

  static std::string exitCodePath() { return "/tmp/eorvascheduler_exit_code." + std::to_string(PID); }

  static void leaveExitInfo(const std::string& strText) { writeFile(exitCodePath(), strText); }

  int close() { return updateTaskResultByExitStatus(m_jTask, m_pApi, m_pApiResult, m_pDb, m_jResult); }

  static Json::Value storedTask() { return fakes().record("task", "a"); }
  static Json::Value storedRun() { return fakes().record("task_result", 7); }

  static void setStatus(const std::string& strStatus) {
    Json::Value jTask = storedTask();
    jTask["status"] = json(strStatus);
    fakes().put("task", jTask);
  }

  // Expects a check's line, and the line with the task.
  void expectGivenUp(const std::string& strCheck) {
    expectFailure(strCheck, LIB);
    expectLine("error! jTask=", LIB).beginning();
  }

  ExpectedLine& expectNoExitInfo() { return expectLine("load exit code failed, path=" + exitCodePath(), LIB); }

  Json::Value m_jTask;
  Json::Value m_jResult;
};

}  // namespace OrvaTest

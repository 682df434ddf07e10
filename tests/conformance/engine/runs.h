/// \file runs.h
/// Helpers for tests of runs.

#pragma once

#include <cstdio>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include "engine/launcher.h"
#include "fakes/eorva_test.h"

namespace OrvaTest {

/// A root of the event "bootup" that belongs to root.
inline Json::Value scriptTask(const std::string& strName, const std::string& strScript = "#!/bin/sh\nexit 0\n") {
  Json::Value jTask = json(
      "{'event': 'bootup', 'enable': true, 'depend_on_task': '', 'operation_type': 'script', 'owner': 0,"
      " 'run_the_same_time': true}");
  jTask["task_name"] = strName;
  jTask["operation"] = strScript;
  return jTask;
}

inline Json::Value dependant(const std::string& strName, const std::string& strDepend) {
  Json::Value jTask = scriptTask(strName);
  jTask["depend_on_task"] = strDepend;
  return jTask;
}

inline Json::Value exitInfo(const std::string& strType, int iCode) {
  Json::Value jExit;
  jExit["exit_type"] = strType;
  jExit["exit_code"] = iCode;
  return jExit;
}

inline Json::Value listOf(const std::vector<Json::Value>& values) {
  Json::Value jList(Json::arrayValue);
  for (const Json::Value& jValue : values) {
    jList.append(jValue);
  }
  return jList;
}

/// Captures standard output, including that of children. If the test fails, it shows the captured text.
class CapturedStdout {
public:
  CapturedStdout() : m_iFile(::memfd_create("stdout", MFD_CLOEXEC)) {
    std::fflush(stdout);
    m_iSaved = ::fcntl(1, F_DUPFD_CLOEXEC, 3);
    ::dup2(m_iFile, 1);
  }
  ~CapturedStdout() {
    std::fflush(stdout);
    ::dup2(m_iSaved, 1);
    ::close(m_iSaved);
    if (::testing::Test::HasFailure()) {
      std::fputs(text().c_str(), stdout);
    }
    ::close(m_iFile);
  }
  CapturedStdout(const CapturedStdout&) = delete;
  CapturedStdout& operator=(const CapturedStdout&) = delete;

  off_t size() const { return ::lseek(m_iFile, 0, SEEK_END); }
  std::string text() const {
    std::string strText(static_cast<size_t>(size()), '\0');
    const ssize_t cb = ::pread(m_iFile, strText.data(), strText.size(), 0);
    strText.resize(cb < 0 ? 0 : static_cast<size_t>(cb));
    return strText;
  }

private:
  int m_iFile;
  int m_iSaved = -1;
};

class RunsTest : public HandlesTest {
protected:
  static constexpr const char* CONFIG_PATH = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";

  /// Stores the task.
  static Json::Value store(const Json::Value& jTask) {
    fakes().put("task", jTask);
    return jTask;
  }

  /// Keeps scripts and output on the share "logs".
  static void keepOutput() {
    writeFile(CONFIG_PATH, R"({"eorvascheduler": {"type": "eorvascheduler", "output_path": "logs"}})");
  }
  static std::string runFolder(const std::string& strTask) {
    return fakes().shares["logs"] + "/" + strTask + "/" + std::to_string(fakes().now()) + "/";
  }

  static Json::Value task(const std::string& strName) { return fakes().record("task", strName); }
  static Json::Value run(int iResultId) { return fakes().record("task_result", iResultId); }
  /// The tasks of the run records, in the order in which they were created.
  static std::vector<std::string> started() {
    std::vector<std::string> names;
    for (const Json::Value& jRun : fakes().records("task_result")) {
      names.push_back(jRun["task_name"].asString());
    }
    return names;
  }

  int fire(const std::string& strEvent = "bootup") {
    Json::Value jIn;
    jIn["event"] = strEvent;
    return withoutReturn([&] { return runByEvent(m_pApi, m_pApiResult, jIn, m_pDb); });
  }
  int runOne(Json::Value jTask) {
    return withoutReturn([&] { return runTaskOne(jTask, m_pApi, m_pApiResult, m_pDb); });
  }

  /// Launches a task without the runner.
  static pid_t launch(Json::Value& jTask, Json::Value jConfig = Json::Value(Json::objectValue)) {
    Json::Value jResult;
    jResult["start_time"] = static_cast<Json::Int64>(fakes().now());
    return withoutReturn([&] { return forkRunCmd(jTask, jConfig, jResult); });
  }
  /// Launches a task and waits for its child, which must exit with 0.
  static pid_t launchAndWait(Json::Value& jTask, const Json::Value& jConfig = Json::Value(Json::objectValue)) {
    const pid_t pid = launch(jTask, jConfig);
    int iStatus = -1;
    EXPECT_GT(pid, 0);
    EXPECT_EQ(::waitpid(pid, &iStatus, 0), pid);
    EXPECT_EQ(iStatus, 0);
    return pid;
  }
  /// Reads and removes the child's exit-code file; null when there is none, or it was not filled.
  static Json::Value takeExitInfo(const Json::Value& jTask) {
    const std::string strPath = jTask["strExitCode_tmp"].asString();
    const std::string strText = fileExists(strPath) ? readFile(strPath) : std::string();
    ::unlink(strPath.c_str());
    return strText.empty() ? Json::Value() : json(strText);
  }
  static Json::Value configWithOutput() { return json("{'type': 'eorvascheduler', 'output_path': 'logs'}"); }
  static std::string scriptOfThisProcess() { return "/tmp/eorvascheduler.script." + std::to_string(::getpid()); }
};

}  // namespace OrvaTest

#include "database.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <json/reader.h>
#include <sqlite3.h>
#include <stdlib.h>

namespace {

std::string readFile(const char* szPath) {
  std::ifstream in(szPath, std::ios::binary);
  require(in.is_open(), szPath);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

Json::Value readJson(const char* szPath) {
  std::ifstream in(szPath);
  Json::Value jValue;
  require(Json::parseFromStream(Json::CharReaderBuilder(), in, &jValue, nullptr), szPath);
  return jValue;
}

std::string newFolder() {
  const bool blMemory = std::filesystem::is_directory("/dev/shm");
  std::string strFolder = blMemory ? "/dev/shm" : std::filesystem::temp_directory_path().string();
  strFolder += "/orva_bench.XXXXXX";
  require(mkdtemp(strFolder.data()) != nullptr, "mkdtemp");
  return strFolder;
}

void execute(sqlite3* pDb, const char* szSql) {
  require(sqlite3_exec(pDb, szSql, nullptr, nullptr, nullptr) == SQLITE_OK, szSql);
}

}  // namespace

void require(bool blSucceeded, const char* szWhat) {
  if (!blSucceeded) {
    std::fprintf(stderr, "failed: %s\n", szWhat);
    std::exit(1);
  }
}

BenchDatabase::BenchDatabase(int cTasks, int cRuns) : m_strFolder(newFolder()) {
  require(sqlite3_open((m_strFolder + "/bench.db").c_str(), &m_pDb) == SQLITE_OK, "sqlite3_open");
  execute(m_pDb, "PRAGMA foreign_keys = ON");
  const Json::Value jDefinitions = readJson(EORVA_SHARE "/eorvascheduler-table-def.json");
  const std::string strSql = readFile(EORVA_SHARE "/eorvascheduler-table-create.sql");
  m_pTasks = std::make_unique<OrvaJsonDbApi>(m_pDb, "task", jDefinitions, strSql);
  m_pResults = std::make_unique<OrvaJsonDbApi>(m_pDb, "task_result", jDefinitions, strSql);
  execute(m_pDb, "BEGIN");
  Json::Value jOut;
  std::string strBefore;
  for (int iTask = 0; iTask < cTasks; ++iTask) {
    const std::string strName = "task" + std::to_string(iTask);
    require(m_pTasks->recCreate(wholeTask(strName, strBefore), jOut) == 0, "create a task");
    strBefore = strName;
  }
  for (int iRun = 0; iRun < cRuns; ++iRun) {
    Json::Value jRun = openRun("task0");
    jRun["stop_time"] = 1795168622;
    jRun["exit_info"]["exit_type"] = "normal";
    jRun["exit_info"]["exit_code"] = 0;
    require(m_pResults->recCreate(jRun, jOut) == 0, "create a run");
  }
  execute(m_pDb, "COMMIT");
}

BenchDatabase::~BenchDatabase() {
  sqlite3_close(m_pDb);
  std::error_code ignored;
  std::filesystem::remove_all(m_strFolder, ignored);
}

Json::Value wholeTask(const std::string& strName, const std::string& strWaitsFor) {
  Json::Value jTask;
  jTask["task_name"] = strName;
  jTask["event"] = "bootup";
  jTask["depend_on_task"] = strWaitsFor.empty() ? "" : "[" + strWaitsFor + "]";
  jTask["enable"] = true;
  jTask["owner"] = 1000;
  jTask["run_the_same_time"] = false;
  jTask["notify_enable"] = true;
  jTask["notify_if_error"] = false;
  jTask["notify_mail"] = "admin@example.org,backup@example.org";
  jTask["time_limit"] = 0;
  jTask["description"] = "Copies the shared folders to the second volume";
  jTask["operation_type"] = "script";
  jTask["operation"] = "#!/bin/sh\nset -e\n" + std::string(500, '#') + "\nexit 0\n";
  jTask["status"]["running"] = Json::Value(Json::arrayValue);
  jTask["last_start_time"] = 1795168621;
  jTask["last_stop_time"] = 1795168622;
  jTask["last_exit_info"]["exit_type"] = "normal";
  jTask["last_exit_info"]["exit_code"] = 0;
  return jTask;
}

Json::Value openRun(const std::string& strTask) {
  Json::Value jRun;
  jRun["task_name"] = strTask;
  jRun["event_fire_time"] = 1795168620;
  jRun["start_time"] = 1795168621;
  jRun["exit_info"] = Json::Value(Json::objectValue);
  jRun["trigger_event"] = "bootup";
  jRun["run_time_env"] = Json::Value(Json::objectValue);
  jRun["extra"] = Json::Value(Json::objectValue);
  jRun["pid"] = 4711;
  return jRun;
}

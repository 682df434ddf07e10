// Many processes on one database: no operation fails, and every process reads exactly what it wrote.

#include <fstream>
#include <map>
#include <random>

#include "record_store_fixture.h"
#include "together.h"

namespace {

constexpr int PROCESSES = 16;
constexpr int OPERATIONS = 1000;
constexpr std::size_t MOST_TASKS = 8;

using Records = std::map<std::string, Json::Value>;

/// One process: random operations on its own tasks and runs. Each result is compared with the expected one. Four of ten
/// operations write, and wait for the disk.
class Client {
public:
  Client(const std::string& strPath, int iProcess)
      : m_iProcess(iProcess), m_pDb(openDatabase(strPath)), m_random(static_cast<unsigned>(iProcess) + 1) {}

  /// Runs the operations. Returns the number of wrong results.
  int run() {
    int cWrong = 0;
    for (m_iOperation = 0; m_iOperation < OPERATIONS; ++m_iOperation) {
      cWrong += oneOperation() ? 0 : 1;
    }
    for (const std::string& strLine : takeLogLines()) {
      fprintf(stderr, "process %d: %s\n", m_iProcess, strLine.c_str());
      ++cWrong;
    }
    return std::min(cWrong, 100);
  }

  /// The expected rows of this process.
  Json::Value expected() const {
    Json::Value jExpected;
    jExpected["tasks"] = listOf(m_tasks);
    jExpected["runs"] = listOf(m_runs);
    return jExpected;
  }

private:
  static Json::Value listOf(const Records& records) {
    Json::Value jList(Json::arrayValue);
    for (const auto& record : records) {
      jList.append(record.second);
    }
    return jList;
  }

  bool oneOperation() {
    if (m_tasks.empty()) {
      return createTask();
    }
    switch (m_random() % 10) {
      case 0:
        return m_tasks.size() < MOST_TASKS ? createTask() : deleteTask();
      case 1:
        return m_random() % 3 == 0 ? deleteTask() : createRun();
      case 2:
        return updateWholeTask();
      case 3:
        return m_random() % 2 == 0 ? updateStartTime() : updateRun();
      case 4:
      case 5:
        return listTasks();
      case 6:
        return listRuns();
      default:
        return readTask();
    }
  }

  Json::Value& anyTask() {
    auto task = m_tasks.begin();
    std::advance(task, m_random() % m_tasks.size());
    return task->second;
  }

  static Json::Value nameOf(const Json::Value& jTask) {
    Json::Value jFilter;
    jFilter["task_name"] = jTask["task_name"];
    return jFilter;
  }

  bool createTask() {
    Json::Value jTask;
    jTask["task_name"] = std::to_string(m_iProcess) + "-" + std::to_string(m_iOperation);
    jTask["owner"] = m_iProcess;
    jTask["operation"] = std::string(m_random() % 2000, 'x');
    jTask["status"]["running"].append(m_iOperation);
    Json::Value jCreated;
    if (m_taskApi.recCreate(jTask, jCreated) != 0 || jCreated["status"] != jTask["status"]) {
      return false;
    }
    m_tasks[jTask["task_name"].asString()] = jCreated;
    return true;
  }

  bool createRun() {
    Json::Value jRun = nameOf(anyTask());
    jRun["pid"] = m_iOperation;
    Json::Value jCreated;
    if (m_runApi.recCreate(jRun, jCreated) != 0 || m_runs.count(jCreated["result_id"].asString()) != 0) {
      return false;
    }
    m_runs[jCreated["result_id"].asString()] = jCreated;
    return true;
  }

  bool readTask() {
    const Json::Value& jTask = anyTask();
    Json::Value jRead;
    return m_taskApi.recGetOne(nameOf(jTask), jRead) == 0 && jRead == jTask;
  }

  bool listTasks() {
    Json::Value jFilter;
    jFilter["owner"] = m_iProcess;
    Json::Value jRead;
    return m_taskApi.recList(jFilter, jRead) == 0 && jRead == listOf(m_tasks);
  }

  bool listRuns() {
    const Json::Value jFilter = nameOf(anyTask());
    Json::Value jRead;
    std::size_t cRuns = 0;
    for (const auto& run : m_runs) {
      cRuns += run.second["task_name"] == jFilter["task_name"] ? 1 : 0;
    }
    return m_runApi.recList(jFilter, jRead) == 0 && jRead.size() == cRuns;
  }

  bool updateWholeTask() {
    Json::Value& jTask = anyTask();
    jTask["status"]["running"] = Json::Value(Json::arrayValue);
    jTask["last_stop_time"] = m_iOperation;
    jTask["description"] = std::string(m_random() % 1000, 'd');
    return m_taskApi.recUpdateByFilter(nameOf(jTask), jTask) == 1;
  }

  bool updateStartTime() {
    Json::Value& jTask = anyTask();
    Json::Value jUpdate;
    jUpdate["last_start_time"] = m_iOperation;
    jTask["last_start_time"] = m_iOperation;
    return m_taskApi.recUpdateByFilter(nameOf(jTask), jUpdate) == 1;
  }

  bool updateRun() {
    if (m_runs.empty()) {
      return createRun();
    }
    Json::Value& jRun = m_runs.begin()->second;
    Json::Value jFilter;
    jFilter["result_id"] = jRun["result_id"];
    Json::Value jUpdate;
    jUpdate["stop_time"] = m_iOperation;
    jRun["stop_time"] = m_iOperation;
    return m_runApi.recUpdateByFilter(jFilter, jUpdate) == 1;
  }

  // The task's runs are deleted with it.
  bool deleteTask() {
    const Json::Value jKey = nameOf(anyTask());
    m_tasks.erase(jKey["task_name"].asString());
    std::erase_if(m_runs, [&](const auto& run) { return run.second["task_name"] == jKey["task_name"]; });
    return m_taskApi.recDelete(jKey, true) == 1;
  }

  int m_iProcess;
  int m_iOperation = 0;
  Database m_pDb;
  OrvaJsonDbApi m_taskApi{m_pDb.get(), "task", installedDefinitions(), installedSql()};
  OrvaJsonDbApi m_runApi{m_pDb.get(), "task_result", installedDefinitions(), installedSql()};
  std::minstd_rand m_random;
  Records m_tasks;
  Records m_runs;
};

Json::Value sorted(const Json::Value& jRecords, const char* szKey) {
  Records records;
  for (const Json::Value& jRecord : jRecords) {
    records[jRecord[szKey].asString()] = jRecord;
  }
  Json::Value jSorted(Json::arrayValue);
  for (const auto& record : records) {
    jSorted.append(record.second);
  }
  return jSorted;
}

}  // namespace

TEST(Load, SixteenProcessesOfAThousandMixedOperationsLoseAndRefuseNothing) {
  const TempFolder folder;
  const std::string strPath = folder.path("test.db");
  const std::vector<int> wrong = runTogether(PROCESSES, [&](int iProcess) {
    Client client(strPath, iProcess);
    const int cWrong = client.run();
    std::ofstream(folder.path("expected" + std::to_string(iProcess))) << text(client.expected());
    return cWrong;
  });
  EXPECT_EQ(std::vector<int>(PROCESSES, 0), wrong);

  const Database pDb = openDatabase(strPath);
  OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
  OrvaJsonDbApi runs(pDb.get(), "task_result", installedDefinitions(), installedSql());
  Json::Value jAllTasks(Json::arrayValue);
  Json::Value jAllRuns(Json::arrayValue);
  for (int iProcess = 0; iProcess < PROCESSES; ++iProcess) {
    const Json::Value jExpected = parse(readFile(folder.path("expected" + std::to_string(iProcess))));
    EXPECT_FALSE(jExpected["tasks"].empty());
    EXPECT_FALSE(jExpected["runs"].empty());
    for (const Json::Value& jTask : jExpected["tasks"]) {
      jAllTasks.append(jTask);
    }
    for (const Json::Value& jRun : jExpected["runs"]) {
      jAllRuns.append(jRun);
    }
  }
  Json::Value jRead;
  ASSERT_EQ(0, tasks.recList(parse("{}"), jRead));
  EXPECT_TRUE(sorted(jAllTasks, "task_name") == jRead);
  ASSERT_EQ(0, runs.recList(parse("{}"), jRead));
  EXPECT_TRUE(sorted(jAllRuns, "result_id") == sorted(jRead, "result_id"));
  EXPECT_EQ("ok", queryText(pDb.get(), "PRAGMA integrity_check"));
  EXPECT_EQ("(no row)", queryText(pDb.get(), "PRAGMA foreign_key_check"));
}

// Several processes on one database, like events and administrators on a server.

#include <algorithm>

#include "record_store_fixture.h"
#include "together.h"

namespace {

constexpr int PROCESSES = 8;

// The number of log lines is the child's result, and the lines are shown.
int failures() {
  const std::vector<std::string> lines = takeLogLines();
  for (const std::string& strLine : lines) {
    fprintf(stderr, "%s\n", strLine.c_str());
  }
  return static_cast<int>(std::min<std::size_t>(lines.size(), 100));
}

class Processes : public testing::Test {
protected:
  TempFolder m_folder;
  std::string m_strPath = m_folder.path("test.db");
};

}  // namespace

TEST_F(Processes, TablesAreCreatedOnceByProcessesThatComeAtTheSameMoment) {
  for (int iRound = 0; iRound < 15; ++iRound) {
    const std::string strPath = m_folder.path("round" + std::to_string(iRound) + ".db");
    const std::vector<int> refused = runTogether(PROCESSES, [&](int iProcess) {
      Database pDb = openDatabase(strPath);
      try {
        OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
        OrvaJsonDbApi results(pDb.get(), "task_result", installedDefinitions(), installedSql());
        Json::Value jTask;
        jTask["task_name"] = std::to_string(iProcess);
        jTask["owner"] = 0;
        Json::Value jOut;
        return tasks.recCreate(jTask, jOut) == 0 && results.recCreate(jTask, jOut) == 0 ? failures() : 101;
      } catch (const std::exception&) {
        failures();
        return 102;
      }
    });
    EXPECT_EQ(std::vector<int>(PROCESSES, 0), refused);
    Database pDb = openDatabase(strPath);
    EXPECT_EQ("8", queryText(pDb.get(), "SELECT count(*) FROM task_result"));
    EXPECT_EQ("wal", queryText(pDb.get(), "PRAGMA journal_mode"));
    EXPECT_EQ("ok", queryText(pDb.get(), "PRAGMA integrity_check"));
  }
}

TEST_F(Processes, ConnectionsThatComeAndGoRefuseNothing) {
  constexpr int VISITS = 25;
  const std::vector<int> refused = runTogether(PROCESSES, [&](int iProcess) {
    int cRefused = 0;
    for (int iVisit = 0; iVisit < VISITS; ++iVisit) {
      Database pDb = openDatabase(m_strPath);
      OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
      Json::Value jTask;
      jTask["task_name"] = std::to_string(iProcess) + "/" + std::to_string(iVisit);
      jTask["owner"] = iVisit;
      Json::Value jOut;
      cRefused += tasks.recCreate(jTask, jOut) == 0 ? 0 : 1;
      cRefused += tasks.recList(parse("{}"), jOut) == 0 ? 0 : 1;
    }
    return cRefused + failures();
  });
  EXPECT_EQ(std::vector<int>(PROCESSES, 0), refused);
  Database pDb = openDatabase(m_strPath);
  EXPECT_EQ("200", queryText(pDb.get(), "SELECT count(*) FROM task"));
}

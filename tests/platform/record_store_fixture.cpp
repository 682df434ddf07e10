#include "record_store_fixture.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <json/reader.h>
#include <json/writer.h>
#include <numeric>
#include <sstream>
#include <sys/syscall.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>
#include <utility>

namespace {

std::vector<std::string> logLines;

void keepLogLine(int iPriority, const char* szFormat, va_list arguments) {
  char szText[4096];
  std::vsnprintf(szText, sizeof(szText), szFormat, arguments);
  logLines.push_back(std::to_string(iPriority) + " " + szText);
}

struct Clock {
  bool blTurned = false;
  long long iNow = 0;
  std::vector<long long> pauses;
  std::size_t iActionPause = 0;
  void (*pAction)(void*) = nullptr;
  void* pContext = nullptr;
};

Clock turned;

constexpr long long NANOSECONDS = 1'000'000'000;

}  // namespace

// The platform calls these through the dynamic linker, which finds the program's own first; they must be visible.
#pragma GCC visibility push(default)
extern "C" {

void syslog(int iPriority, const char* szFormat, ...) {
  va_list arguments;
  va_start(arguments, szFormat);
  keepLogLine(iPriority, szFormat, arguments);
  va_end(arguments);
}

void __syslog_chk(int iPriority, int /*iFlag*/, const char* szFormat, ...) {
  va_list arguments;
  va_start(arguments, szFormat);
  keepLogLine(iPriority, szFormat, arguments);
  va_end(arguments);
}

int clock_gettime(clockid_t clock, timespec* pTime) noexcept {
  if (!turned.blTurned) {
    return static_cast<int>(syscall(SYS_clock_gettime, clock, pTime));
  }
  *pTime = {static_cast<time_t>(turned.iNow / NANOSECONDS), static_cast<long>(turned.iNow % NANOSECONDS)};
  return 0;
}

int nanosleep(const timespec* pPause, timespec* pLeft) {
  if (!turned.blTurned) {
    return static_cast<int>(syscall(SYS_nanosleep, pPause, pLeft));
  }
  turned.pauses.push_back(pPause->tv_sec * NANOSECONDS + pPause->tv_nsec);
  turned.iNow += turned.pauses.back();
  if (turned.pauses.size() == turned.iActionPause) {
    turned.pAction(turned.pContext);
  }
  return 0;
}

}  // extern "C"
#pragma GCC visibility pop

Json::Value parse(const std::string& strText) {
  Json::CharReaderBuilder builder;
  std::istringstream in(strText);
  Json::Value jValue;
  std::string strErrors;
  EXPECT_TRUE(Json::parseFromStream(builder, in, &jValue, &strErrors)) << strErrors;
  return jValue;
}

std::string text(const Json::Value& jValue) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  return Json::writeString(builder, jValue);
}

std::string readFile(const std::string& strPath) {
  std::ifstream in(strPath, std::ios::binary);
  EXPECT_TRUE(in.is_open()) << strPath;
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

const Json::Value& installedDefinitions() {
  static const Json::Value jDefinitions = parse(readFile(EORVA_SHARE "/eorvascheduler-table-def.json"));
  return jDefinitions;
}

const std::string& installedSql() {
  static const std::string strSql = readFile(EORVA_SHARE "/eorvascheduler-table-create.sql");
  return strSql;
}

int installedSchema() {
  return installedDefinitions()["task"]["schema"].asInt();
}

std::string setSchema(int iSchema) {
  return "; PRAGMA user_version = " + std::to_string(iSchema) + ";";
}

TempFolder::TempFolder() {
  std::string strTemplate = std::filesystem::temp_directory_path() / "orva_store_test.XXXXXX";
  const char* szPath = mkdtemp(strTemplate.data());
  EXPECT_NE(nullptr, szPath);
  m_strPath = strTemplate;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_strPath, ignored);
}

Database openDatabase(const std::string& strPath, int iFlags) {
  sqlite3* pDb = nullptr;
  EXPECT_EQ(SQLITE_OK, sqlite3_open_v2(strPath.c_str(), &pDb, iFlags, nullptr)) << sqlite3_errmsg(pDb);
  Database database(pDb);
  runSql(pDb, "PRAGMA foreign_keys = ON");
  return database;
}

void runSql(sqlite3* pDb, const std::string& strSql) {
  EXPECT_EQ(SQLITE_OK, sqlite3_exec(pDb, strSql.c_str(), nullptr, nullptr, nullptr))
      << strSql << ": " << sqlite3_errmsg(pDb);
}

std::string queryText(sqlite3* pDb, const std::string& strSql) {
  std::string strResult = "(no row)";
  const auto take = [](void* pResult, int, char** values, char**) {
    *static_cast<std::string*>(pResult) = values[0] == nullptr ? "(null)" : values[0];
    return 1;
  };
  sqlite3_exec(pDb, strSql.c_str(), take, &strResult, nullptr);
  return strResult;
}

std::vector<std::string> takeLogLines() {
  return std::exchange(logLines, {});
}

TurnedClock::TurnedClock() {
  turned = Clock{};
  turned.blTurned = true;
}

TurnedClock::~TurnedClock() {
  turned = Clock{};
}

const std::vector<long long>& TurnedClock::pauses() const {
  return turned.pauses;
}

long long TurnedClock::slept() const {
  return std::accumulate(turned.pauses.begin(), turned.pauses.end(), 0LL);
}

void TurnedClock::atPause(std::size_t iPause, void (*pAction)(void*), void* pContext) {
  turned.iActionPause = iPause;
  turned.pAction = pAction;
  turned.pContext = pContext;
}

RecordStore::RecordStore()
    : m_pDb(openDatabase(m_folder.path("test.db"))),
      m_tasks(m_pDb.get(), "task", installedDefinitions(), installedSql()),
      m_results(m_pDb.get(), "task_result", installedDefinitions(), installedSql()) {
  takeLogLines();
}

void RecordStore::TearDown() {
  EXPECT_THAT(takeLogLines(), testing::IsEmpty());
}

void RecordStore::expectLog(const std::vector<std::string>& lines) {
  EXPECT_THAT(takeLogLines(), testing::ElementsAreArray(lines));
}

void RecordStore::expectFailure(const std::string& strText) {
  EXPECT_THAT(takeLogLines(), testing::ElementsAre("3 orvaplatform: record store, table " + strText));
}

Json::Value RecordStore::task(const std::string& strName, const std::string& strMembers) {
  Json::Value jTask = parse(strMembers);
  jTask["task_name"] = strName;
  if (!jTask.isMember("owner")) {
    jTask["owner"] = 1000;
  }
  return jTask;
}

void RecordStore::add(const Json::Value& jTask) {
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recCreate(jTask, jOut)) << text(jTask);
}

#include "conformance/property/world.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/wait.h>
#include <unistd.h>

#include "eorvascheduler.h"

#include "conformance/property/hostile_json.h"
#include "fakes/fakes.h"
#include "support/files.h"

namespace OrvaTest {

namespace {

const std::string CONFIG_FILE = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";
const std::string SHARE_FOLDER = "/usr/orva/share/eorvascheduler/";

// A walk over a cycle that does not contain its start never ends, so the store fails after this number of queries.
constexpr int QUERIES_AT_MOST = 100;
// Resetting the fakes creates folders, which costs more than a scene.
constexpr int SCENES_PER_RESET = 16;

int lowestFreeDescriptor() {
  const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(fd);
  return fd;
}

Json::Value validConfig() {
  Json::Value jConfig;
  jConfig["eorvascheduler"] = validSection();
  return jConfig;
}

Json::Value validTableDef() {
  Json::Value jTableDef;
  jTableDef["task"]["key"] = "task_name";
  jTableDef["task_result"]["key"] = "result_id";
  return jTableDef;
}

Json::Value validCatalogue() {
  Json::Value jCatalogue;
  jCatalogue["events"].append("bootup");
  jCatalogue["events"].append("shutdown");
  return jCatalogue;
}

// Exit information of a child, or anything else.
Json::Value exitInformation(Choices& choices) {
  Json::Value jExit;
  jExit["exit_type"] = "normal";
  jExit["exit_code"] = static_cast<int>(choices.below(3));
  return spoiled(choices, jExit);
}

void putSpoiledFile(Choices& choices, const std::string& strPath, const Json::Value& jValid) {
  std::filesystem::remove_all(strPath);
  switch (choices.below(16)) {
    case 0:
      break;
    case 1:
      std::filesystem::create_directories(strPath);
      break;
    default:
      writeFile(strPath, hostileFileText(choices, jValid));
      break;
  }
}

}  // namespace

Json::Value validTask(const std::string& strName, const std::string& strDependOnTask) {
  Json::Value jTask;
  jTask["task_name"] = strName;
  jTask["event"] = "bootup";
  jTask["enable"] = true;
  jTask["depend_on_task"] = strDependOnTask;
  jTask["operation_type"] = "script";
  jTask["operation"] = "#!/bin/sh\nexit 0\n";
  jTask["owner"] = 0;
  jTask["run_the_same_time"] = false;
  jTask["notify_enable"] = true;
  jTask["notify_if_error"] = false;
  jTask["notify_mail"] = "a@example.com,b@example.com";
  jTask["status"]["running"] = Json::arrayValue;
  jTask["last_start_time"] = 1700000000;
  jTask["last_stop_time"] = 1700000001;
  jTask["last_exit_info"]["exit_type"] = "normal";
  jTask["last_exit_info"]["exit_code"] = 0;
  return jTask;
}

Json::Value validRun(int iResultId, const std::string& strTaskName) {
  Json::Value jRun;
  jRun["result_id"] = iResultId;
  jRun["task_name"] = strTaskName;
  jRun["start_time"] = 1700000000;
  jRun["stop_time"] = 1700000001;
  jRun["pid"] = 4999999;
  jRun["exit_info"]["exit_type"] = "normal";
  jRun["exit_info"]["exit_code"] = 0;
  jRun["event_fire_time"] = 1700000000;
  jRun["trigger_event"] = "bootup";
  jRun["run_time_env"] = Json::objectValue;
  jRun["extra"] = Json::objectValue;
  return jRun;
}

Json::Value validSection() {
  Json::Value jSection;
  jSection["type"] = "eorvascheduler";
  jSection["output_path"] = "logs/runs";
  jSection["enable_output"] = true;
  return jSection;
}

World::World() {
  fakes().reset();
  sqlite3* pDb = nullptr;
  sqlite3_open(":memory:", &pDb);
  m_pDb.reset(pDb);
  m_pTask = std::make_unique<OrvaJsonDbApi>(pDb, "task", validTableDef(), "");
  m_pTaskResult = std::make_unique<OrvaJsonDbApi>(pDb, "task_result", validTableDef(), "");
}

World::~World() = default;

void World::setScene(Choices& choices) {
  if (m_cScenes++ % SCENES_PER_RESET == 0) {
    fakes().reset();
    writeFile(SHARE_FOLDER + "eorvascheduler-table-create.sql", "SELECT 1;");
  }
  putRecords(choices);
  putFiles(choices);
}

void World::prepareCall(Choices& choices) {
  fakes().clearFaults();
  planAnswers(choices);
  blDebugOutput = choices.oneIn(4);
  fakes().journal().clear();
  m_fdNext = lowestFreeDescriptor();
}

void World::putRecords(Choices& choices) {
  static const std::vector<Json::Value> tasks{validTask("alpha", ""), validTask("beta", "[alpha]"),
                                              validTask("gamma", "[alpha]"), validTask("delta", "[beta][gamma]")};
  for (const char* szTable : {"task", "task_result"}) {
    fakes().table(szTable) = RecordTable(szTable);
  }
  for (const Json::Value& jTask : tasks) {
    Json::Value jRecord = choices.oneIn(6) ? spoiled(choices, jTask) : jTask;
    if (!jRecord.isObject()) {
      continue;
    }
    jRecord["task_name"] = jTask["task_name"];
    fakes().put("task", jRecord);
  }
  for (int i = 1; i <= 2; ++i) {
    Json::Value jRun = validRun(i, "alpha");
    Json::Value jRecord = choices.oneIn(6) ? spoiled(choices, jRun) : jRun;
    if (!jRecord.isObject()) {
      continue;
    }
    jRecord["result_id"] = i;
    fakes().put("task_result", jRecord);
  }
}

void World::putFiles(Choices& choices) {
  const bool blFirst = m_cScenes == 1;
  if (choices.oneIn(4)) {
    putSpoiledFile(choices, CONFIG_FILE, validConfig());
  } else if (choices.oneIn(4) || blFirst) {
    std::filesystem::remove_all(CONFIG_FILE);
    writeFile(CONFIG_FILE, compactJson(validConfig()));
  }
  if (choices.oneIn(16)) {
    putSpoiledFile(choices, SHARE_FOLDER + "eorvascheduler-table-def.json", validTableDef());
  } else if (choices.oneIn(16) || blFirst) {
    std::filesystem::remove_all(SHARE_FOLDER + "eorvascheduler-table-def.json");
    writeFile(SHARE_FOLDER + "eorvascheduler-table-def.json", compactJson(validTableDef()));
  }
  if (choices.oneIn(16)) {
    putSpoiledFile(choices, SHARE_FOLDER + "eorvascheduler-event.json", validCatalogue());
  }
}

void World::planAnswers(Choices& choices) {
  fakes().fail("recList", QUERIES_AT_MOST);
  if (choices.oneIn(8)) {
    fakes().failNthCall(1 + static_cast<int>(choices.below(24)));
  }
  if (choices.oneIn(8)) {
    Json::Value jList(Json::arrayValue);
    jList.append(validTask("beta", "[alpha]"));
    fakes().answer("recList", 0, spoiled(choices, jList)).nth(1 + static_cast<int>(choices.below(4)));
  }
  if (choices.oneIn(8)) {
    fakes().answer("recGetOne", 0, spoiled(choices, validTask("alpha", "")));
  }
  if (choices.oneIn(16)) {
    fakes().texts["enu"] = hostileValue(choices);
  }
  fakes().pretendChildren();
  fakes().onSleep([&choices](int) {
    for (const pid_t pid : fakes().pretendedChildren()) {
      if (fakes().isPretended(pid)) {
        fakes().endChild(pid, exitInformation(choices));
      }
    }
  });
}

bool World::endTransaction() {
  if (sqlite3_get_autocommit(m_pDb.get()) != 0) {
    return false;
  }
  sqlite3_exec(m_pDb.get(), "ROLLBACK;", nullptr, nullptr, nullptr);
  return true;
}

std::vector<std::string> World::leftovers() const {
  std::vector<std::string> left;
  if (lowestFreeDescriptor() != m_fdNext) {
    left.push_back("a descriptor is left open");
  }
  siginfo_t info{};
  if (::waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) == 0 || errno != ECHILD) {
    left.push_back("a child is left");
  }
  if (fakes().cHeld != 0) {
    left.push_back(std::to_string(fakes().cHeld) + " users, lists or hashes are not freed");
    fakes().cHeld = 0;
  }
  return left;
}

size_t World::loggedLines() const {
  const auto entries = fakes().journal().entries();
  return static_cast<size_t>(std::count_if(entries.begin(), entries.end(), [](const Journal::Entry& entry) {
    return entry.kind == Journal::Kind::SYSLOG || entry.kind == Journal::Kind::STDOUT;
  }));
}

std::vector<std::string> World::linesOfRescue() const {
  std::vector<std::string> lines;
  if (fakes().faults() > 0) {
    return lines;  // the store's constructor fails by an exception
  }
  for (const Journal::Entry& entry : fakes().journal().entries()) {
    if (entry.kind == Journal::Kind::SYSLOG && entry.strText.find("operation given up") != std::string::npos) {
      lines.push_back(entry.strText);
    }
  }
  return lines;
}

std::string World::configText() {
  return std::filesystem::is_regular_file(CONFIG_FILE) ? readFile(CONFIG_FILE) : std::string();
}

void World::removeConfig() {
  std::filesystem::remove_all(CONFIG_FILE);
}

}  // namespace OrvaTest

// The steps of a run without a scheduler: what the processes, files and records of runs cost at least.
//
//   raw_run COUNT FOLDER [SECONDS]    prints the processor time of COUNT runs, in milliseconds a run: all at once, or
//                                     one after another with this time between them, for caches get cold meanwhile

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <grp.h>
#include <iterator>
#include <sqlite3.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr uid_t OWNER = 65534;
constexpr char SCRIPT[] = "#!/bin/sh\nexit 0\n";

void require(bool blDone, const char* szWhat) {
  if (!blDone) {
    std::perror(szWhat);
    std::exit(1);
  }
}

void execute(sqlite3* pDb, const std::string& strSql) {
  require(sqlite3_exec(pDb, strSql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, strSql.c_str());
}

sqlite3* openDatabase(const std::string& strFolder) {
  sqlite3* pDb = nullptr;
  require(sqlite3_open((strFolder + "/raw.db").c_str(), &pDb) == SQLITE_OK, "open the database");
  std::ifstream file(EORVA_SHARE "/eorvascheduler-table-create.sql");
  execute(pDb, {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()});
  execute(pDb, "PRAGMA synchronous = FULL");
  execute(pDb, "PRAGMA foreign_keys = ON");
  return pDb;
}

void writeNewFile(const std::string& strPath, const std::string& strText, mode_t mode) {
  const int fd = open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
  require(fd >= 0, strPath.c_str());
  require(write(fd, strText.data(), strText.size()) == static_cast<ssize_t>(strText.size()), "write");
  require(fchmod(fd, mode) == 0, "fchmod");
  close(fd);
}

[[noreturn]] void runInChild(const std::string& strFolder) {
  require(mkdir(strFolder.c_str(), 0755) == 0 && chown(strFolder.c_str(), OWNER, OWNER) == 0, strFolder.c_str());
  writeNewFile(strFolder + "/script.log", SCRIPT, 0755);
  require(setgroups(0, nullptr) == 0 && setgid(OWNER) == 0 && setuid(OWNER) == 0, "become the owner");
  const std::string strOutput = strFolder + "/output.log";
  require(system(("'" + strFolder + "/script.log' > '" + strOutput + "' 2>&1 ").c_str()) == 0, "the script");
  require(system(("cat " + strOutput).c_str()) == 0, "cat");
  writeNewFile(strFolder + "/exit", R"({"exit_code":0,"exit_type":"normal"})", 0600);
  _exit(0);
}

double spentMilliseconds() {
  double spent = 0;
  for (const __rusage_who who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
    rusage usage{};
    getrusage(who, &usage);
    spent += static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
             static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
  }
  return spent;
}

std::string named(const std::string& strBefore, int iRun, const std::string& strAfter) {
  return strBefore + std::to_string(iRun) + strAfter;
}

void begin(sqlite3* pDb, const std::string& strFolder, int iRun, std::vector<pid_t>& vecPids) {
  std::fflush(nullptr);
  const pid_t pid = fork();
  require(pid >= 0, "fork");
  if (pid == 0) {
    runInChild(named(strFolder + "/run-", iRun, ""));
  }
  vecPids.push_back(pid);
  execute(pDb, named("INSERT INTO task (task_name, owner, operation) VALUES ('task-", iRun, "', 65534, 'exit 0')"));
  execute(pDb, named("INSERT INTO task_result (task_name, start_time, exit_info) VALUES ('task-", iRun, "', 1, '{}')"));
}

void end(sqlite3* pDb, const std::string& strFolder, int iRun, pid_t pid) {
  int iStatus = 0;
  require(waitpid(pid, &iStatus, 0) == pid && iStatus == 0, "the run");
  unlink(named(strFolder + "/run-", iRun, "/exit").c_str());
  execute(pDb, named("UPDATE task_result SET stop_time = 2 WHERE task_name = 'task-", iRun, "'"));
  execute(pDb, named("UPDATE task SET last_stop_time = 2 WHERE task_name = 'task-", iRun, "'"));
}

}  // namespace

int main(int argc, char** argv) {
  require(argc == 3 || argc == 4, "usage: raw_run COUNT FOLDER [SECONDS]");
  const int cRuns = std::atoi(argv[1]);
  const std::string strFolder = argv[2];
  sqlite3* pDb = openDatabase(strFolder);
  const unsigned cSeconds = argc == 4 ? static_cast<unsigned>(std::atoi(argv[3])) : 0;
  const double before = spentMilliseconds();
  std::vector<pid_t> vecPids;
  for (int iRun = 0; iRun < cRuns; ++iRun) {
    begin(pDb, strFolder, iRun, vecPids);
    if (cSeconds > 0) {
      end(pDb, strFolder, iRun, vecPids.back());
      sleep(cSeconds);
    }
  }
  for (int iRun = 0; iRun < cRuns && cSeconds == 0; ++iRun) {
    end(pDb, strFolder, iRun, vecPids[static_cast<std::size_t>(iRun)]);
  }
  std::printf("%.3f\n", (spentMilliseconds() - before) / cRuns);
  sqlite3_close(pDb);
  return 0;
}

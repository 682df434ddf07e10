#include "engine/script_run.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "engine/exit_status.h"
#include "engine/identity.h"
#include "store/json_file.h"
#include "support/boundary.h"
#include "support/event_log.h"
#include "support/file.h"
#include "support/json_read.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

[[noreturn]] void endChild() {
  std::fflush(nullptr);
  _exit(0);
}

// Opens a file for writing that nobody else can have put there as a trap: no link, no pipe, no other name of a
// file that is worth something.
bool openForWriting(const std::string& strPath, int& iFd) {
  iFd = open(strPath.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0666);
  struct stat info{};
  return iFd >= 0 && 0 == fstat(iFd, &info) && S_ISREG(info.st_mode) && 1 == info.st_nlink;
}

// A script is run only when the whole of it is in its file, and the file is the runner's own.
bool writeScript(const ScriptRun& run) {
  int iFd = -1;
  const bool blOpen = openForWriting(run.strScriptPath, iFd);
  FileDescriptor file(iFd);
  struct stat info{};
  if (!blOpen || 0 != fstat(iFd, &info) || geteuid() != info.st_uid || 0 != ftruncate(iFd, 0)) {
    return false;
  }
  LOG_DEBUG("run script=%s", run.strScript.c_str());
  return writeAll(iFd, run.strScript) && file.close();
}

int placeScript(const ScriptRun& run) {
  if (!writeScript(run)) {
    LOG_SYSTEM("Failed to open scriptFile [%s]", run.strScriptPath.c_str());
    logEvent(LEVEL_ERROR, EVENT_NOT_STARTED, run.strTaskName);
    return -1;
  }
  if (0 != chmod(run.strScriptPath.c_str(), 0755)) {
    LOG_SYSTEM("Failed to change mode with file [%s]", run.strScriptPath.c_str());
    logEvent(LEVEL_ERROR, EVENT_NOT_STARTED, run.strTaskName);
    return -1;
  }
  return 0;
}

void becomeOwner(const ScriptRun& run) {
  if (0 > changeUserCtx(run.uidOwner)) {
    LOG_SYSTEM("Failed to change user [%u] != [%u]", getuid(), run.uidOwner);
    logEvent(LEVEL_ERROR, EVENT_NO_IDENTITY, run.strTaskName);
    endChild();
  }
}

int nameTemporaryOutput(ScriptRun& run) {
  if (!run.blTemporaryOutput) {
    return 0;
  }
  if (run.strOutput.empty()) {
    LOG_SYSTEM("Output path is empty");
    logEvent(LEVEL_ERROR, EVENT_NOT_STARTED, run.strTaskName);
    return -1;
  }
  run.strOutput = temporaryOutputOf(run, getpid());
  return 0;
}

// The shell follows links. One that stands in the output's place is refused in its stead, with the status by which
// a shell says that it could not open the output of a command.
bool isOutputSafe(const ScriptRun& run) {
  if (run.strOutput.empty()) {
    return true;
  }
  struct stat info{};
  if (0 != lstat(run.strOutput.c_str(), &info)) {
    return true;
  }
  return S_ISREG(info.st_mode) && 1 == info.st_nlink;
}

std::string commandOf(const ScriptRun& run) {
  if (run.strOutput.empty()) {
    return "'" + run.strScriptPath + "'";
  }
  return "'" + run.strScriptPath + "' > '" + run.strOutput + "' 2>&1 ";
}

int runScript(const ScriptRun& run) {
  constexpr int STATUS_CANNOT_REDIRECT = 2 << 8;
  const std::string strCmd = commandOf(run);
  if (!isOutputSafe(run)) {
    LOG_ERROR("output is no plain file, path=%s", run.strOutput.c_str());
    return STATUS_CANNOT_REDIRECT;
  }
  LOG_DEBUG("running strCmd=%s", strCmd.c_str());
  const int iStatus = system(strCmd.c_str());
  if (-1 == iStatus) {
    LOG_ERROR("run command failed, command=%s", strCmd.c_str());
  }
  LOG_DEBUG("system return iStatus=%d", iStatus);
  if (!run.strOutput.empty()) {
    LOG_DEBUG("output=");
    [[maybe_unused]] const int iShown = system(("cat " + run.strOutput).c_str());
  }
  return iStatus;
}

// Decoded twice, deliberately: what the shell exits with is read as a wait status in its turn, so that a script
// killed by signal 9, for which the shell exits with 137, is recorded as killed by 9. A plain exit with 3 is
// recorded as signal 3 by the same rule.
Json::Value decode(int iStatus) {
  Json::Value jExit(Json::objectValue);
  if (0 > getExitStatus(iStatus, jExit)) {
    LOG_ERROR("get exit status failed, iStatus=%d", iStatus);
  }
  if (!jExit.isMember("exit_code")) {
    LOG_ERROR("get exit code failed, iStatus=%d, jExit=%s", iStatus, toString(jExit).c_str());
  }
  if (0 > getExitStatus(memberOf(jExit, "exit_code").asInt(), jExit)) {
    LOG_ERROR("get exit status failed, iStatus=%d, jExit=%s", iStatus, toString(jExit).c_str());
  }
  return jExit;
}

int runToTheEnd(ScriptRun& run) {
  LOG_DEBUG("fork and run task=%s", run.strTaskName.c_str());
  if (0 > placeScript(run)) {
    return -1;
  }
  becomeOwner(run);
  if (0 > nameTemporaryOutput(run)) {
    return -1;
  }
  const Json::Value jExit = decode(runScript(run));
  if (!toFile(jExit, exitCodePath(getpid()), true)) {
    LOG_ERROR("write exit status failed");
  }
  LOG_DEBUG("jExit=%s", toString(jExit).c_str());
  endChild();
}

}  // namespace

namespace Orva {

std::string temporaryOutputOf(const ScriptRun& run, pid_t pid) {
  return run.strOutput + "." + myto_string(pid);
}

int runInChild(ScriptRun run) noexcept {
  try {
    return runToTheEnd(run);
  } catch (const std::exception& thrown) {
    // Not back into the runner: what has thrown here would be thrown there again.
    LOG_ERROR("run given up, task=%s: %s", run.strTaskName.c_str(), thrown.what());
  }
  endChild();
}

}  // namespace Orva

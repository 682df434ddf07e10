#include "engine/script_run.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "engine/exit_code_file.h"
#include "engine/exit_status.h"
#include "engine/identity.h"
#include "engine/optional_calls.h"
#include "engine/script_file.h"
#include "store/json_file.h"
#include "support/event_log.h"
#include "support/file.h"
#include "support/json_read.h"
#include "support/log.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

[[noreturn]] void endChild() {
  std::fflush(nullptr);
  _exit(0);
}

// Only once, because something may still be thrown afterwards.
void tellEnd(ScriptRun& run, int iStatus) {
  if (!run.blEndTold) {
    run.blEndTold = true;
    tellRunEnded(iStatus);
  }
}

// The host is told first, because it can make the event end this process.
void logNotStarted(ScriptRun& run, unsigned int uEvent) {
  tellEnd(run, STATUS_NOT_STARTED);
  logEvent(LEVEL_ERROR, uEvent, run.strTaskName);
}

int placeScript(ScriptRun& run) {
  const ScriptFolder folder = run.blTemporaryScript ? ScriptFolder::SHARED : ScriptFolder::RUN;
  const ScriptFileResult result = writeScriptFile(run.strScriptPath, folder, run.strScript);
  if (ScriptFileResult::READY == result) {
    return 0;
  }
  LOG_SYSTEM(ScriptFileResult::NOT_WRITTEN == result ? "Failed to open scriptFile [%s]"
                                                     : "Failed to change mode with file [%s]",
             run.strScriptPath.c_str());
  logNotStarted(run, EVENT_NOT_STARTED);
  return -1;
}

// No file with this process's id should exist: it is left over, or a trap for the output. Only the file's owner could
// remove it later.
void clearTemporaryOutput(const ScriptRun& run) {
  if (run.blTemporaryOutput) {
    unlink(temporaryOutputOf(run, getpid()).c_str());
  }
}

// Only root can take the place from others.
void claimExitCode(const ScriptRun& run) {
  if (!claimExitCodeFile(run.uidOwner)) {
    LOG_ERROR("exit code file not created, path=%s", exitCodePath(getpid()).c_str());
  }
}

void becomeOwner(ScriptRun& run) {
  if (0 > changeUserCtx(run.uidOwner)) {
    LOG_SYSTEM("Failed to change user [%u] != [%u]", getuid(), run.uidOwner);
    // Such a run has no exit information.
    unlink(exitCodePath(getpid()).c_str());
    logNotStarted(run, EVENT_NO_IDENTITY);
    endChild();
  }
}

int nameTemporaryOutput(ScriptRun& run) {
  if (!run.blTemporaryOutput) {
    return 0;
  }
  if (run.strOutput.empty()) {
    LOG_SYSTEM("Output path is empty");
    logNotStarted(run, EVENT_NOT_STARTED);
    return -1;
  }
  run.strOutput = temporaryOutputOf(run, getpid());
  return 0;
}

// The shell follows links and writes to existing files. So the output file is created before, by the task's owner. In a
// temporary folder, only this owner can then remove or replace it. If it cannot be created for another reason, the
// shell reports the error.
bool claimOutput(const ScriptRun& run) {
  // A quote in the path breaks the command, so the shell would not open this path.
  if (run.strOutput.empty() || std::string::npos != run.strOutput.find('\'')) {
    return true;
  }
  const FileDescriptor created(open(run.strOutput.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
  if (created.isOpen() || EEXIST != errno) {
    return true;
  }
  struct stat info{};
  return 0 == lstat(run.strOutput.c_str(), &info) && S_ISREG(info.st_mode) && 1 == info.st_nlink &&
         geteuid() == info.st_uid;
}

std::string commandOf(const ScriptRun& run) {
  if (run.strOutput.empty()) {
    return "'" + run.strScriptPath + "'";
  }
  return "'" + run.strScriptPath + "' > '" + run.strOutput + "' 2>&1 ";
}

int runScript(ScriptRun& run) {
  // The status of a shell that cannot open the output of a command.
  constexpr int STATUS_CANNOT_REDIRECT = 2 << 8;
  const std::string strCmd = commandOf(run);
  if (!claimOutput(run)) {
    LOG_ERROR("output is no plain file of the owner, path=%s", run.strOutput.c_str());
    tellEnd(run, STATUS_NOT_STARTED);
    return STATUS_CANNOT_REDIRECT;
  }
  LOG_DEBUG("running strCmd=%s", strCmd.c_str());
  const int iStatus = runShell(strCmd);
  // Before the output is shown, which may take long.
  tellEnd(run, iStatus);
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

// Deliberately decoded twice: the shell's exit status is read as a wait status again. So a script that was killed by
// signal 9, where the shell exits with 137, is recorded as killed by 9. By the same rule, exit status 3 is recorded as
// signal 3.
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
  clearTemporaryOutput(run);
  claimExitCode(run);
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

int runInChild(ScriptRun& run) noexcept {
  try {
    return runToTheEnd(run);
  } catch (const std::exception& thrown) {
    LOG_ERROR("run given up, task=%s: %s", run.strTaskName.c_str(), thrown.what());
  } catch (...) {
    LOG_ERROR("run given up, task=%s", run.strTaskName.c_str());
  }
  tellEnd(run, STATUS_NOT_STARTED);
  // Do not return into the runner: this process is a copy of it.
  endChild();
}

}  // namespace Orva

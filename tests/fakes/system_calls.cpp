// Replacements for the C library in the library under test. Only its objects are linked with these renamed names, see
// renamed_symbols.txt; the rest of the process is not affected. Without a rule, each call works normally.

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "fakes/coverage.h"
#include "fakes/fakes.h"

using OrvaTest::fakes;
using OrvaTest::Hex;
using OrvaTest::Octal;

namespace {

mode_t modeArgument(int iFlags, va_list args) {
  return (iFlags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(args, mode_t) : 0;
}

}  // namespace

extern "C" {

pid_t eorvaFake_fork() {
  if (const auto answer = fakes().systemCall("fork")) {
    return answer->result(-1);
  }
  return fakes().pretendsChildren() ? fakes().pretendFork() : ::fork();
}

// A coverage build calls fork under this name.
pid_t eorvaFake___gcov_fork() {
  return eorvaFake_fork();
}

pid_t eorvaFake_waitpid(pid_t pid, int* pStatus, int iOptions) {
  if (const auto answer = fakes().systemCall("waitpid", pid, iOptions)) {
    return answer->result(-1);
  }
  if (fakes().isPretended(pid)) {
    const pid_t pidEnded = fakes().reapPretended(pid);
    if (pStatus && pidEnded > 0) {
      *pStatus = 0;
    }
    return pidEnded;
  }
  return ::waitpid(pid, pStatus, iOptions);
}

int eorvaFake_system(const char* szCommand) {
  const auto answer = fakes().systemCall("system", szCommand);
  return answer ? answer->result(-1) : std::system(szCommand);
}

void eorvaFake__exit(int iStatus) {
  fakes().enter("_exit", OrvaTest::callText("_exit", iStatus), false, false);
  OrvaTest::saveCoverage();
  ::_exit(iStatus);
}

uid_t eorvaFake_getuid() {
  const auto answer = fakes().enter("getuid", "getuid()", false, false);
  return answer ? static_cast<uid_t>(answer->iResult) : ::getuid();
}

uid_t eorvaFake_geteuid() {
  const auto answer = fakes().enter("geteuid", "geteuid()", false, false);
  return answer ? static_cast<uid_t>(answer->iResult) : ::geteuid();
}

gid_t eorvaFake_getgid() {
  const auto answer = fakes().enter("getgid", "getgid()", false, false);
  return answer ? static_cast<gid_t>(answer->iResult) : ::getgid();
}

gid_t eorvaFake_getegid() {
  const auto answer = fakes().enter("getegid", "getegid()", false, false);
  return answer ? static_cast<gid_t>(answer->iResult) : ::getegid();
}

int eorvaFake_setuid(uid_t uid) {
  const auto answer = fakes().systemCall("setuid", uid);
  if (answer) {
    return answer->result(-1);
  }
  OrvaTest::saveCoverage();
  return ::setuid(uid);
}

int eorvaFake_seteuid(uid_t uid) {
  const auto answer = fakes().systemCall("seteuid", uid);
  return answer ? answer->result(-1) : ::seteuid(uid);
}

int eorvaFake_setgid(gid_t gid) {
  const auto answer = fakes().systemCall("setgid", gid);
  return answer ? answer->result(-1) : ::setgid(gid);
}

int eorvaFake_setegid(gid_t gid) {
  const auto answer = fakes().systemCall("setegid", gid);
  return answer ? answer->result(-1) : ::setegid(gid);
}

int eorvaFake_initgroups(const char* szUser, gid_t gid) {
  const auto answer = fakes().systemCall("initgroups", szUser, gid);
  return answer ? answer->result(-1) : ::initgroups(szUser, gid);
}

int eorvaFake_access(const char* szPath, int iMode) {
  const auto answer = fakes().systemCall("access", szPath, iMode);
  return answer ? answer->result(-1) : ::access(szPath, iMode);
}

int eorvaFake_faccessat(int iFd, const char* szPath, int iMode, int iFlags) {
  const auto answer = fakes().systemCall("faccessat", iFd, szPath, iMode, Hex{static_cast<unsigned long>(iFlags)});
  return answer ? answer->result(-1) : ::faccessat(iFd, szPath, iMode, iFlags);
}

int eorvaFake_stat(const char* szPath, struct stat* pInfo) {
  const auto answer = fakes().systemCall("stat", szPath);
  return answer ? answer->result(-1) : ::stat(szPath, pInfo);
}

int eorvaFake_lstat(const char* szPath, struct stat* pInfo) {
  const auto answer = fakes().systemCall("lstat", szPath);
  return answer ? answer->result(-1) : ::lstat(szPath, pInfo);
}

int eorvaFake_fstat(int iFd, struct stat* pInfo) {
  const auto answer = fakes().systemCall("fstat", iFd);
  return answer ? answer->result(-1) : ::fstat(iFd, pInfo);
}

int eorvaFake_fstatat(int iFd, const char* szPath, struct stat* pInfo, int iFlags) {
  const auto answer = fakes().systemCall("fstatat", iFd, szPath, Hex{static_cast<unsigned long>(iFlags)});
  return answer ? answer->result(-1) : ::fstatat(iFd, szPath, pInfo, iFlags);
}

int eorvaFake_chmod(const char* szPath, mode_t mode) {
  const auto answer = fakes().systemCall("chmod", szPath, Octal{mode});
  return answer ? answer->result(-1) : ::chmod(szPath, mode);
}

int eorvaFake_fchmod(int iFd, mode_t mode) {
  const auto answer = fakes().systemCall("fchmod", iFd, Octal{mode});
  return answer ? answer->result(-1) : ::fchmod(iFd, mode);
}

int eorvaFake_fchown(int iFd, uid_t uid, gid_t gid) {
  const auto answer = fakes().systemCall("fchown", iFd, uid, static_cast<int>(gid));
  return answer ? answer->result(-1) : ::fchown(iFd, uid, gid);
}

int eorvaFake_unlink(const char* szPath) {
  const auto answer = fakes().systemCall("unlink", szPath);
  return answer ? answer->result(-1) : ::unlink(szPath);
}

int eorvaFake_unlinkat(int iFd, const char* szPath, int iFlags) {
  const auto answer = fakes().systemCall("unlinkat", iFd, szPath, Hex{static_cast<unsigned long>(iFlags)});
  return answer ? answer->result(-1) : ::unlinkat(iFd, szPath, iFlags);
}

int eorvaFake_rename(const char* szFrom, const char* szTo) {
  const auto answer = fakes().systemCall("rename", szFrom, szTo);
  return answer ? answer->result(-1) : ::rename(szFrom, szTo);
}

int eorvaFake_renameat2(int iFrom, const char* szFrom, int iTo, const char* szTo, unsigned int uFlags) {
  const auto answer = fakes().systemCall("renameat2", szFrom, szTo, Hex{uFlags});
  return answer ? answer->result(-1) : ::renameat2(iFrom, szFrom, iTo, szTo, uFlags);
}

int eorvaFake_rmdir(const char* szPath) {
  const auto answer = fakes().systemCall("rmdir", szPath);
  return answer ? answer->result(-1) : ::rmdir(szPath);
}

int eorvaFake_mkostemp(char* szTemplate, int iFlags) {
  const auto answer = fakes().systemCall("mkostemp", szTemplate, Hex{static_cast<unsigned long>(iFlags)});
  return answer ? answer->result(-1) : ::mkostemp(szTemplate, iFlags);
}

int eorvaFake_open(const char* szPath, int iFlags, ...) {
  va_list args;
  va_start(args, iFlags);
  const mode_t mode = modeArgument(iFlags, args);
  va_end(args);
  const auto answer = fakes().systemCall("open", szPath, Hex{static_cast<unsigned long>(iFlags)}, Octal{mode});
  return answer ? answer->result(-1) : ::open(szPath, iFlags, mode);
}

int eorvaFake_openat(int iFd, const char* szPath, int iFlags, ...) {
  va_list args;
  va_start(args, iFlags);
  const mode_t mode = modeArgument(iFlags, args);
  va_end(args);
  const auto answer = fakes().systemCall("openat", iFd, szPath, Hex{static_cast<unsigned long>(iFlags)}, Octal{mode});
  return answer ? answer->result(-1) : ::openat(iFd, szPath, iFlags, mode);
}

ssize_t eorvaFake_readlink(const char* szPath, char* szTarget, size_t cb) {
  const auto answer = fakes().systemCall("readlink", szPath);
  return answer ? answer->result(-1) : ::readlink(szPath, szTarget, cb);
}

// Never fails.
mode_t eorvaFake_umask(mode_t mask) {
  fakes().enter("umask", OrvaTest::callText("umask", Octal{mask}), false, false);
  return ::umask(mask);
}

ssize_t eorvaFake_read(int iFd, void* pData, size_t cb) {
  const auto answer = fakes().systemCall("read", iFd, cb);
  return answer ? answer->result(-1) : ::read(iFd, pData, cb);
}

ssize_t eorvaFake_write(int iFd, const void* pData, size_t cb) {
  const auto answer = fakes().systemCall("write", iFd, cb);
  return answer ? answer->result(-1) : ::write(iFd, pData, cb);
}

// As on a real system, the descriptor is closed even after a failure.
int eorvaFake_close(int iFd) {
  const auto answer = fakes().systemCall("close", iFd);
  const int iErrno = errno;
  const int iResult = ::close(iFd);
  if (!answer) {
    return iResult;
  }
  errno = iErrno;
  return answer->result(-1);
}

int eorvaFake_ftruncate(int iFd, off_t cb) {
  const auto answer = fakes().systemCall("ftruncate", iFd, cb);
  return answer ? answer->result(-1) : ::ftruncate(iFd, cb);
}

int eorvaFake_fsync(int iFd) {
  const auto answer = fakes().systemCall("fsync", iFd);
  return answer ? answer->result(-1) : ::fsync(iFd);
}

FILE* eorvaFake_fopen(const char* szPath, const char* szMode) {
  return fakes().systemCall("fopen", szPath, szMode) ? nullptr : std::fopen(szPath, szMode);
}

int eorvaFake_setenv(const char* szName, const char* szValue, int iOverwrite) {
  const auto answer = fakes().systemCall("setenv", szName, szValue, iOverwrite);
  return answer ? answer->result(-1) : ::setenv(szName, szValue, iOverwrite);
}

int eorvaFake_unsetenv(const char* szName) {
  const auto answer = fakes().systemCall("unsetenv", szName);
  return answer ? answer->result(-1) : ::unsetenv(szName);
}

time_t eorvaFake_time(time_t* pTime) {
  if (pTime) {
    *pTime = fakes().now();
  }
  return fakes().now();
}

unsigned int eorvaFake_sleep(unsigned int uSeconds) {
  fakes().enter("sleep", OrvaTest::callText("sleep", uSeconds), false, false);
  fakes().passTime(uSeconds);
  return 0;
}

}  // extern "C"

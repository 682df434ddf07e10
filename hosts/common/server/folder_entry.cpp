#include "folder_entry.h"

#include <cerrno>
#include <csignal>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "common/support/process.h"

namespace Host {

namespace {

constexpr int UNKNOWN = 255;

/// A disk that does not answer must not hold up the command.
constexpr int LIMIT_MILLISECONDS = 3000;

std::vector<gid_t> groupsOf(const char* szUser, gid_t gid) {
  int cGroups = 64;
  std::vector<gid_t> vecGroups(static_cast<std::size_t>(cGroups));
  while (getgrouplist(szUser, gid, vecGroups.data(), &cGroups) < 0) {
    vecGroups.resize(static_cast<std::size_t>(cGroups));
  }
  vecGroups.resize(static_cast<std::size_t>(cGroups));
  return vecGroups;
}

[[noreturn]] void enterAndExit(uid_t uid, gid_t gid, const std::vector<gid_t>& vecGroups,
                               const std::string& strFolder) {
  // A process that hangs must not keep pipes and locks open.
  close_range(0, ~0U, 0);
  if (setgroups(vecGroups.size(), vecGroups.data()) != 0 || setresgid(gid, gid, gid) != 0 ||
      setresuid(uid, uid, uid) != 0) {
    _exit(UNKNOWN);
  }
  _exit(chdir(strFolder.c_str()) == 0 ? 0 : errno);
}

}  // namespace

int folderEntryError(uid_t uid, const std::string& strFolder) {
  const passwd* const pUser = getpwuid(uid);
  if (pUser == nullptr || geteuid() != 0) {
    return 0;
  }
  const gid_t gid = pUser->pw_gid;
  const std::vector<gid_t> vecGroups = groupsOf(pUser->pw_name, gid);
  const pid_t pid = fork();
  if (pid == 0) {
    enterAndExit(uid, gid, vecGroups, strFolder);
  }
  if (pid < 0) {
    return 0;
  }
  const Process child(pid);
  pollfd entry{child.fd(), POLLIN, 0};
  if (child.fd() >= 0 && poll(&entry, 1, LIMIT_MILLISECONDS) == 0) {
    child.signal(SIGKILL);
    return ETIMEDOUT;
  }
  int iStatus = 0;
  const bool blExited = waitpid(pid, &iStatus, 0) == pid && WIFEXITED(iStatus) && WEXITSTATUS(iStatus) != UNKNOWN;
  return blExited ? WEXITSTATUS(iStatus) : 0;
}

}  // namespace Host

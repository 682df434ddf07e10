#include "editor.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/input.h"
#include "common/support/failure.h"
#include "common/support/unique_fd.h"

namespace {

/// A value can have options, as in "code --wait", so a shell reads it; the file is a separate argument.
constexpr char START_EDITOR[] =
    "for editor in \"${VISUAL:-}\" \"${EDITOR:-}\" sensible-editor editor nano vi; do\n"
    "  if [ -n \"$editor\" ] && command -v ${editor%% *} >/dev/null 2>&1; then eval \"exec $editor \\\"\\$1\\\"\"; fi\n"
    "done\n"
    "echo 'eorva: no editor found; set EDITOR' >&2\n"
    "exit 127\n";

void writeAll(int fd, const std::string& strText, const std::string& strPath) {
  for (std::size_t cbDone = 0; cbDone < strText.size();) {
    const ssize_t cb = write(fd, strText.data() + cbDone, strText.size() - cbDone);
    if (cb < 0) {
      throw Host::Failure(fmt::format("cannot write {}: {}", strPath, std::strerror(errno)));
    }
    cbDone += static_cast<std::size_t>(cb);
  }
}

/// Interrupt keys belong to the editor.
class IgnoreKeys {
public:
  IgnoreKeys() : m_fnInterrupt(std::signal(SIGINT, SIG_IGN)), m_fnQuit(std::signal(SIGQUIT, SIG_IGN)) {}
  ~IgnoreKeys() {
    std::signal(SIGINT, m_fnInterrupt);
    std::signal(SIGQUIT, m_fnQuit);
  }
  IgnoreKeys(const IgnoreKeys&) = delete;
  IgnoreKeys& operator=(const IgnoreKeys&) = delete;

private:
  void (*m_fnInterrupt)(int);
  void (*m_fnQuit)(int);
};

/// Starts a shell with the default signals. \return its wait status.
int runShell(const std::string& strPath) {
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGQUIT);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  std::string strShell = "sh";
  std::string strOption = "-c";
  std::string strScript = START_EDITOR;
  std::string strFile = strPath;
  std::array<char*, 6> argv = {strShell.data(), strOption.data(), strScript.data(),
                               strShell.data(), strFile.data(),   nullptr};
  pid_t pid = 0;
  const int iError = posix_spawn(&pid, "/bin/sh", nullptr, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  if (iError != 0) {
    throw Host::Failure(fmt::format("cannot start an editor: {}", std::strerror(iError)));
  }
  int iStatus = 0;
  while (waitpid(pid, &iStatus, 0) < 0 && errno == EINTR) {
  }
  return iStatus;
}

}  // namespace

Edit::Edit(const std::string& strName, const std::string& strText) {
  // Not in /tmp, which a reboot empties: an edit that could not be stored must survive.
  std::string strFolder = "/var/tmp/eorva-edit.XXXXXX";
  if (mkdtemp(strFolder.data()) == nullptr) {
    throw Host::Failure(fmt::format("cannot create {}: {}", strFolder, std::strerror(errno)));
  }
  m_strFolder = strFolder;
  m_strPath = fmt::format("{}/{}.sh", strFolder, strName);
  const Host::UniqueFd fd(open(m_strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!fd.isOpen()) {
    throw Host::Failure(fmt::format("cannot create {}: {}", m_strPath, std::strerror(errno)));
  }
  writeAll(fd.get(), strText, m_strPath);
}

std::string Edit::run() const {
  const IgnoreKeys guard;
  const int iStatus = runShell(m_strPath);
  if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) {
    throw Host::Failure(WIFEXITED(iStatus) ? fmt::format("the editor failed with exit status {}", WEXITSTATUS(iStatus))
                                           : fmt::format("the editor was killed by signal {}", WTERMSIG(iStatus)));
  }
  return readInput(m_strPath);
}

void Edit::drop() const {
  unlink(m_strPath.c_str());
  // Fails when the editor left more files.
  rmdir(m_strFolder.c_str());
}

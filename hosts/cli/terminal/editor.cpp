#include "editor.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include "cli/input.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/program.h"

namespace {

/// Run by a shell, since a value may contain options, as in "code --wait".
constexpr char START_EDITOR[] =
    "for editor in \"${VISUAL:-}\" \"${EDITOR:-}\" sensible-editor editor nano vi; do\n"
    "  if [ -n \"$editor\" ] && command -v ${editor%% *} >/dev/null 2>&1; then eval \"exec $editor \\\"\\$1\\\"\"; fi\n"
    "done\n"
    "echo 'eorva: no editor found; set EDITOR' >&2\n"
    "exit 127\n";

/// Ignores Ctrl-C and Ctrl-\ while the editor runs; they are meant for the editor.
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

}  // namespace

Edit::Edit(const std::string& strName, const std::string& strText) {
  // Not in /tmp, so that an edit that could not be saved survives a reboot.
  std::string strFolder = "/var/tmp/eorva-edit.XXXXXX";
  if (mkdtemp(strFolder.data()) == nullptr) {
    throw Host::Failure(fmt::format("cannot create {}: {}", strFolder, std::strerror(errno)));
  }
  m_strFolder = strFolder;
  m_strPath = fmt::format("{}/{}.sh", strFolder, strName);
  Host::replaceFile(m_strPath, strText, 0600);
}

std::string Edit::run() const {
  const IgnoreKeys guard;
  Host::Program shell({"/bin/sh", "-c", START_EDITOR, "sh", m_strPath});
  shell.setDefault(SIGINT);
  shell.setDefault(SIGQUIT);
  const int iStatus = shell.run();
  if (!WIFEXITED(iStatus) || WEXITSTATUS(iStatus) != 0) {
    throw Host::Failure(WIFEXITED(iStatus) ? fmt::format("the editor failed with exit status {}", WEXITSTATUS(iStatus))
                                           : fmt::format("the editor was killed by signal {}", WTERMSIG(iStatus)));
  }
  return readInput(m_strPath);
}

void Edit::drop() const {
  unlink(m_strPath.c_str());
  // Fails when the editor has left other files; they stay.
  rmdir(m_strFolder.c_str());
}

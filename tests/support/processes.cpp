#include "support/processes.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace OrvaTest {

namespace {

// A file without a name, which needs no folder and leaves no file.
class Capture {
public:
  Capture() : m_iFd(::memfd_create("capture", MFD_CLOEXEC)) {
    if (m_iFd < 0) {
      throw std::runtime_error("memfd_create");
    }
  }
  ~Capture() { ::close(m_iFd); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

  int fd() const { return m_iFd; }

  std::string text() const {
    std::string strText;
    char buffer[65536];
    off_t offset = 0;
    for (ssize_t cb = 0; (cb = ::pread(m_iFd, buffer, sizeof(buffer), offset)) > 0; offset += cb) {
      strText.append(buffer, static_cast<size_t>(cb));
    }
    return strText;
  }

private:
  int m_iFd;
};

[[noreturn]] void become(const std::vector<std::string>& command, const std::map<std::string, std::string>& environment,
                         const Capture& out, const Capture& errors) {
  const int iNull = ::open("/dev/null", O_RDONLY);
  ::dup2(iNull, 0);
  ::dup2(out.fd(), 1);
  ::dup2(errors.fd(), 2);
  for (const auto& [strName, strValue] : environment) {
    ::setenv(strName.c_str(), strValue.c_str(), 1);
  }
  std::vector<char*> arguments;
  for (const std::string& strArgument : command) {
    arguments.push_back(const_cast<char*>(strArgument.c_str()));
  }
  arguments.push_back(nullptr);
  ::execvp(arguments[0], arguments.data());
  ::_exit(127);
}

}  // namespace

CommandResult runCommand(const std::vector<std::string>& command,
                         const std::map<std::string, std::string>& environment) {
  const Capture out;
  const Capture errors;
  const pid_t pid = ::fork();
  if (pid < 0) {
    throw std::runtime_error("fork");
  }
  if (pid == 0) {
    become(command, environment, out, errors);
  }
  int iStatus = 0;
  while (::waitpid(pid, &iStatus, 0) < 0 && errno == EINTR) {
  }
  return {WIFSIGNALED(iStatus) ? 128 + WTERMSIG(iStatus) : WEXITSTATUS(iStatus), out.text(), errors.text()};
}

std::map<int, std::string> openDescriptors() {
  std::map<int, std::string> descriptors;
  const std::unique_ptr<DIR, int (*)(DIR*)> pFolder(::opendir("/proc/self/fd"), &::closedir);
  if (!pFolder) {
    throw std::runtime_error("cannot list /proc/self/fd");
  }
  while (const dirent* pEntry = ::readdir(pFolder.get())) {
    const int iFd = std::atoi(pEntry->d_name);
    if (pEntry->d_name[0] != '.' && iFd != ::dirfd(pFolder.get())) {
      std::error_code ignored;
      descriptors[iFd] = fs::read_symlink(std::string("/proc/self/fd/") + pEntry->d_name, ignored);
    }
  }
  return descriptors;
}

std::vector<pid_t> children() {
  std::vector<pid_t> pids;
  for (const auto& task : fs::directory_iterator("/proc/self/task")) {
    std::ifstream in(task.path() / "children");
    for (pid_t pid = 0; in >> pid;) {
      pids.push_back(pid);
    }
  }
  return pids;
}

void endChildren() {
  for (const pid_t pid : children()) {
    ::kill(pid, SIGKILL);
    ::waitpid(pid, nullptr, 0);
  }
}

}  // namespace OrvaTest

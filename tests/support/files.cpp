#include "support/files.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace OrvaTest {

namespace {

struct stat examine(const std::string& strPath) {
  struct stat info{};
  if (::lstat(strPath.c_str(), &info) != 0) {
    throw std::system_error(errno, std::generic_category(), strPath);
  }
  return info;
}

}  // namespace

void writeFile(const std::string& strPath, const std::string& strContent, mode_t mode) {
  fs::create_directories(fs::path(strPath).parent_path());
  std::ofstream out(strPath, std::ios::binary | std::ios::trunc);
  out << strContent;
  out.close();
  if (!out || ::chmod(strPath.c_str(), mode) != 0) {
    throw std::runtime_error("cannot write " + strPath);
  }
}

std::string readFile(const std::string& strPath) {
  std::ifstream in(strPath, std::ios::binary);
  if (!in) {
    throw std::runtime_error("cannot read " + strPath);
  }
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

bool fileExists(const std::string& strPath) {
  struct stat info{};
  return ::lstat(strPath.c_str(), &info) == 0;
}

mode_t fileMode(const std::string& strPath) {
  return examine(strPath).st_mode & 07777U;
}

std::pair<uid_t, gid_t> fileOwner(const std::string& strPath) {
  const struct stat info = examine(strPath);
  return {info.st_uid, info.st_gid};
}

// Breaking the lease sends a signal, which would end this process.
Lease::Lease(const std::string& strPath) : m_iFd(::open(strPath.c_str(), O_RDWR | O_CLOEXEC)) {
  ::signal(SIGIO, SIG_IGN);
  if (::fcntl(m_iFd, F_SETLEASE, F_WRLCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "lease on " + strPath);
  }
}

Lease::~Lease() {
  ::close(m_iFd);
  ::signal(SIGIO, SIG_DFL);
}

TempDir::TempDir(mode_t mode) : m_strPath("/tmp/eorva-test.XXXXXX") {
  if (!::mkdtemp(m_strPath.data()) || ::chmod(m_strPath.c_str(), mode) != 0) {
    throw std::runtime_error("cannot create " + m_strPath);
  }
}

TempDir::~TempDir() {
  std::error_code ignored;
  fs::remove_all(m_strPath, ignored);
}

std::string sourceDir() {
  return EORVA_SOURCE_DIR;
}

void installShareFiles() {
  const fs::path target = "/usr/orva/share/eorvascheduler";
  fs::create_directories(target);
  for (const auto& entry : fs::recursive_directory_iterator(sourceDir() + "/share")) {
    const std::string strName = entry.path().filename();
    if (strName == "eorvascheduler-table-def.json" || strName == "eorvascheduler-table-create.sql" ||
        strName == "eorvascheduler-event.json") {
      fs::copy_file(entry.path(), target / strName, fs::copy_options::overwrite_existing);
    }
  }
}

}  // namespace OrvaTest

#include "execution_file.h"

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <vector>

#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "runtime_folder.h"

namespace Host {

namespace {

namespace fs = std::filesystem;

/// Begins the first line of a file.
constexpr std::string_view AFTER = "after ";

/// Begins the second line: the recorded firing.
constexpr std::string_view FIRING = "firing ";

/// Begins a line about an open run that keeps its task from starting.
constexpr std::string_view IN_THE_WAY = "met ";

/// A line for each time that turns were taken.
constexpr std::string_view TURNS = "turns";

/// The content of a file: the last run before the execution and the firing, then a line for each report.
struct Content {
  Json::Int64 iLastResult = 0;
  Json::Int64 iFiring = 0;
  unsigned cTurns = 0;
  std::set<pid_t> setPids;
  std::set<Json::Int64> setInTheWay;
};

/// The number after a word at the start of the line; nothing when the line starts differently.
std::optional<Json::Int64> numberBehind(std::string_view strWord, std::string_view strLine) {
  Json::Int64 iNumber = 0;
  const bool blNumber =
      strLine.substr(0, strWord.size()) == strWord &&
      std::from_chars(strLine.data() + strWord.size(), strLine.data() + strLine.size(), iNumber).ec == std::errc();
  return blNumber ? std::optional(iNumber) : std::nullopt;
}

void takeLine(std::string_view strLine, Content& content) {
  if (const auto after = numberBehind(AFTER, strLine)) {
    content.iLastResult = *after;
  } else if (const auto firing = numberBehind(FIRING, strLine)) {
    content.iFiring = *firing;
  } else if (const auto run = numberBehind(IN_THE_WAY, strLine)) {
    content.setInTheWay.insert(*run);
  } else if (strLine == TURNS) {
    ++content.cTurns;
  } else if (const auto pid = numberBehind("", strLine)) {
    content.setPids.insert(static_cast<pid_t>(*pid));
  }
}

Content readContent(int fd) {
  const std::string strText = readAll(fd, EXECUTIONS_FOLDER);
  Content content;
  // An incomplete last line is read the next time.
  for (std::size_t iStart = 0, iEnd = 0; (iEnd = strText.find('\n', iStart)) != std::string::npos; iStart = iEnd + 1) {
    takeLine(std::string_view(strText).substr(iStart, iEnd - iStart), content);
  }
  return content;
}

/// A file that has no final name yet is about to be locked, unless its creator was killed.
bool isOld(const UniqueFd& fd) {
  constexpr std::time_t SECONDS = 60;
  struct stat status{};
  return fstat(fd.get(), &status) == 0 && std::time(nullptr) - status.st_ctime > SECONDS;
}

/// Reads the files of running executions and removes the others.
std::vector<Content> readLive() {
  std::vector<Content> vecContent;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(EXECUTIONS_FOLDER, error)) {
    const UniqueFd fd(open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    const bool blNew = entry.path().filename().string().front() == '.' && !isOld(fd);
    if (!fd.isOpen() || blNew) {
      continue;
    }
    if (flock(fd.get(), LOCK_SH | LOCK_NB) == 0) {
      fs::remove(entry.path(), error);
    } else {
      vecContent.push_back(readContent(fd.get()));
    }
  }
  return vecContent;
}

}  // namespace

ExecutionFile::ExecutionFile(Json::Int64 iLastResult, Json::Int64 iFiring) {
  makeRuntimeFolder(EXECUTIONS_FOLDER);
  // The process id alone is not unique: an earlier execution with the same id may still be running.
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::string strName = fmt::format("{}-{}.{:09}", getpid(), now.tv_sec, now.tv_nsec);
  m_strPath = fmt::format("{}/{}", EXECUTIONS_FOLDER, strName);
  // Locked before it gets its name, so that no reader removes it.
  const std::string strNew = fmt::format("{}/.{}", EXECUTIONS_FOLDER, strName);
  m_fd = UniqueFd(open(strNew.c_str(), O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  const std::string strFirst = fmt::format("{}{}\n{}{}\n", AFTER, iLastResult, FIRING, iFiring);
  if (!m_fd.isOpen() || flock(m_fd.get(), LOCK_EX | LOCK_NB) < 0 ||
      write(m_fd.get(), strFirst.data(), strFirst.size()) != static_cast<ssize_t>(strFirst.size()) ||
      rename(strNew.c_str(), m_strPath.c_str()) < 0) {
    throw Failure(fmt::format("cannot create {}: {}", m_strPath, std::strerror(errno)));
  }
}

void ExecutionFile::remove() {
  unlink(m_strPath.c_str());
}

std::set<pid_t> ExecutionFile::children() const {
  return readContent(m_fd.get()).setPids;
}

void ExecutionFile::append(const std::string& strLine) const {
  if (write(m_fd.get(), strLine.data(), strLine.size()) != static_cast<ssize_t>(strLine.size())) {
    throw Failure(fmt::format("cannot write {}: {}", m_strPath, std::strerror(errno)));
  }
}

void ExecutionFile::noteTurns() const {
  append(fmt::format("{}\n", TURNS));
}

void ExecutionFile::noteInTheWay(Json::Int64 iResult) const {
  append(fmt::format("{}{}\n", IN_THE_WAY, iResult));
}

ExecutionReport ExecutionFile::report() const {
  const Content content = readContent(m_fd.get());
  return {content.setPids, content.setInTheWay};
}

unsigned ExecutionFile::turns() const {
  return readContent(m_fd.get()).cTurns;
}

std::optional<bool> isOfLiveExecution(pid_t pid, Json::Int64 iResult) {
  std::optional<bool> made;
  for (const Content& content : readLive()) {
    if (content.setPids.count(pid) > 0) {
      // One that began after the run cannot be its parent.
      made = made.value_or(false) || content.iLastResult < iResult;
    }
  }
  return made;
}

std::optional<ExecutionReport> reportOfFiring(Json::Int64 iFiring) {
  for (const Content& content : readLive()) {
    if (content.iFiring == iFiring) {
      return ExecutionReport{content.setPids, content.setInTheWay};
    }
  }
  return std::nullopt;
}

bool isAnyExecutionAlive() {
  return !readLive().empty();
}

std::set<pid_t> childrenOfLiveExecutions() {
  std::set<pid_t> setPids;
  for (const Content& content : readLive()) {
    setPids.insert(content.setPids.begin(), content.setPids.end());
  }
  return setPids;
}

}  // namespace Host

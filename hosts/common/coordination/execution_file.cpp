#include "execution_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/process.h"
#include "common/support/try_until.h"
#include "runtime_folder.h"

namespace Host {

namespace {

namespace fs = std::filesystem;

/// \name The first word of each line
/// @{
constexpr std::string_view AFTER = "after";
constexpr std::string_view FIRING = "firing";
constexpr std::string_view GROUP = "group";
constexpr std::string_view RUN = "run";
constexpr std::string_view BEGIN = "begin";
constexpr std::string_view END = "end";
constexpr std::string_view ENDING = "ending";
constexpr std::string_view CLOSED = "closed";
constexpr std::string_view STORED = "stored";
constexpr std::string_view NEXT = "next";
constexpr std::string_view TRY_BEGUN = "try-begun";
constexpr std::string_view TRY_STOPPED = "try-stopped";
constexpr std::string_view MET = "met";
constexpr std::string_view DONE = "done";
/// @}

bool isAboutRun(std::string_view strWord) {
  constexpr std::array WORDS = {RUN, BEGIN, END, ENDING, CLOSED};
  return std::find(WORDS.begin(), WORDS.end(), strWord) != WORDS.end();
}

/// Takes the next word off a line; words are separated by single blanks.
std::string_view takeWord(std::string_view& strLine) {
  const std::size_t iEnd = std::min(strLine.find(' '), strLine.size());
  const std::string_view strWord = strLine.substr(0, iEnd);
  strLine.remove_prefix(std::min(iEnd + 1, strLine.size()));
  return strWord;
}

template <typename Number>
Number takeNumber(std::string_view& strLine) {
  const std::string_view strWord = takeWord(strLine);
  Number number = 0;
  const char* const pBegin = strWord.data();
  const char* const pEnd = pBegin + strWord.size();
  return std::from_chars(pBegin, pEnd, number).ptr == pEnd ? number : 0;
}

/// \param strLine  begins with a line break, too: the line before it may be incomplete, when the disk was full.
void appendTo(int fd, const std::string& strLine, const std::string& strPath) {
  // One short write in append mode, so that the lines of several processes do not mix.
  if (write(fd, strLine.data(), strLine.size()) != static_cast<ssize_t>(strLine.size())) {
    throw Failure(fmt::format("cannot write {}: {}", strPath, std::strerror(errno)));
  }
}

UniqueFd openForLines(const std::string& strPath) {
  UniqueFd fd(open(strPath.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_CLOEXEC));
  if (!fd.isOpen()) {
    throw Failure(fmt::format("cannot open {}: {}", strPath, std::strerror(errno)));
  }
  return fd;
}

std::string endingLine(pid_t pid, const char* szWhy, std::chrono::seconds grace) {
  return fmt::format("\n{} {} {} {}\n", ENDING, pid, szWhy, grace.count());
}

std::string endLine(pid_t pid, int iStatus, std::int64_t cbWritten = 0, int iDirectoryError = 0) {
  return fmt::format("\n{} {} {} {} {}\n", END, pid, iStatus, cbWritten, iDirectoryError);
}

/// Passes on the complete lines behind an offset. \return the offset of the next line.
template <typename Take>
off_t readLines(int fd, off_t iOffset, const Take& fnTake) {
  std::string strRest;
  std::array<char, 4096> buffer{};
  for (;;) {
    const ssize_t cb = pread(fd, buffer.data(), buffer.size(), iOffset + static_cast<off_t>(strRest.size()));
    if (cb <= 0) {
      return iOffset;
    }
    strRest.append(buffer.data(), static_cast<std::size_t>(cb));
    std::size_t iStart = 0;
    for (std::size_t iEnd = 0; (iEnd = strRest.find('\n', iStart)) != std::string::npos; iStart = iEnd + 1) {
      fnTake(std::string_view(strRest).substr(iStart, iEnd - iStart));
    }
    strRest.erase(0, iStart);
    iOffset += static_cast<off_t>(iStart);
  }
}

ExecutionNotes readNotes(int fd) {
  ExecutionNotes notes;
  readLines(fd, 0, [&](std::string_view strLine) { notes.take(strLine); });
  return notes;
}

/// A file that has no final name yet is about to be locked, unless its creator was killed.
bool isOld(const UniqueFd& fd) {
  constexpr std::time_t SECONDS = 60;
  struct stat status{};
  return fstat(fd.get(), &status) == 0 && std::time(nullptr) - status.st_ctime > SECONDS;
}

/// Tells whether no execution has locked the file. Readers share this lock.
bool isEnded(const UniqueFd& fd) {
  return flock(fd.get(), LOCK_SH | LOCK_NB) == 0;
}

/// Locks the file of an ended execution, also while others only look whether it has ended.
/// \return false when the execution is alive, or another command settles it.
bool lockEnded(const UniqueFd& fd) {
  constexpr std::chrono::milliseconds LIMIT(1000);
  constexpr std::chrono::milliseconds PAUSE(1);
  bool blLocked = false;
  tryUntil(LIMIT, PAUSE, [&] {
    blLocked = flock(fd.get(), LOCK_EX | LOCK_NB) == 0;
    return blLocked || !isEnded(fd);
  });
  return blLocked;
}

/// Opens all files. \param fnTake  gets the path and the open file.
template <typename Take>
void openAll(const Take& fnTake) {
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(EXECUTIONS_FOLDER, error)) {
    UniqueFd fd(open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    const bool blNew = entry.path().filename().string().front() == '.' && !isOld(fd);
    if (fd.isOpen() && !blNew) {
      fnTake(entry.path().string(), std::move(fd));
    }
  }
}

}  // namespace

std::set<pid_t> ExecutionNotes::children() const {
  std::set<pid_t> setPids;
  for (const auto& [pid, run] : mapRuns) {
    setPids.insert(pid);
  }
  return setPids;
}

bool ExecutionNotes::hasOpen(pid_t pid) const {
  const auto it = mapRuns.find(pid);
  return it != mapRuns.end() && !it->second.blClosed;
}

std::string ExecutionNotes::groupOf(pid_t pid) const {
  const auto it = mapRuns.find(pid);
  const bool blGroup = it != mapRuns.end() && !strGroup.empty() && !it->second.strGroup.empty();
  return blGroup ? strGroup + "/" + it->second.strGroup : std::string();
}

bool ExecutionNotes::isTryStopped(Json::Int64 iRun) const {
  const auto it = mapTries.find(iRun);
  return it != mapTries.end() && it->second.state == TryNotes::State::STOPPED;
}

void ExecutionNotes::settleTry(Json::Int64 iRun, TryNotes::State state) {
  const auto it = mapTries.find(iRun);
  if (it != mapTries.end() && it->second.state == TryNotes::State::WAITING) {
    it->second.state = state;
  }
}

pid_t ExecutionNotes::take(std::string_view strLine) {
  const std::string_view strWord = takeWord(strLine);
  if (strWord == AFTER) {
    iLastRun = takeNumber<Json::Int64>(strLine);
  } else if (strWord == FIRING) {
    iFiring = takeNumber<Json::Int64>(strLine);
  } else if (strWord == GROUP) {
    strGroup = strLine;
  } else if (strWord == MET) {
    setInTheWay.insert(takeNumber<Json::Int64>(strLine));
  } else if (strWord == NEXT) {
    TryNotes& next = mapTries[takeNumber<Json::Int64>(strLine)];
    next.iAt = takeNumber<Json::Int64>(strLine);
    next.iTry = takeNumber<Json::Int64>(strLine);
    next.cTries = takeNumber<Json::Int64>(strLine);
  } else if (strWord == TRY_BEGUN || strWord == TRY_STOPPED) {
    settleTry(takeNumber<Json::Int64>(strLine),
              strWord == TRY_BEGUN ? TryNotes::State::BEGUN : TryNotes::State::STOPPED);
  } else if (strWord == STORED) {
    ++cStored;
  } else if (strWord == DONE) {
    blDone = true;
  } else if (const pid_t pid = takeNumber<pid_t>(strLine);
             pid > 0 && isAboutRun(strWord) && (strWord == CLOSED || !strLine.empty())) {
    RunNotes& run = mapRuns[pid];
    const bool blFirst = strWord == RUN || strWord == BEGIN;
    // The kernel can give the id of an ended process to a later run.
    run = blFirst && run.blClosed ? RunNotes() : run;
    if (strWord == RUN) {
      run.limit = std::chrono::seconds(takeNumber<Json::Int64>(strLine));
    } else if (strWord == BEGIN) {
      run.blBegun = true;
      run.ticksStart = takeNumber<std::uint64_t>(strLine);
      run.strGroup = strLine;
    } else if (strWord == END) {
      run.status = takeNumber<int>(strLine);
      run.cbWritten = takeNumber<std::int64_t>(strLine);
      run.iDirectoryError = takeNumber<int>(strLine);
    } else if (strWord == ENDING && !run.status && run.strEndedBy.empty()) {
      run.strEndedBy = takeWord(strLine);
      run.grace = std::chrono::seconds(takeNumber<Json::Int64>(strLine));
    } else if (strWord == CLOSED) {
      run.blClosed = true;
    }
    return pid;
  }
  return 0;
}

ExecutionFile::ExecutionFile(Json::Int64 iLastRun, Json::Int64 iFiring) {
  makeRuntimeFolder(EXECUTIONS_FOLDER);
  // The process id alone is not unique: an earlier execution with the same id may still be running.
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::string strName = fmt::format("{}-{}.{:09}", getpid(), now.tv_sec, now.tv_nsec);
  m_strPath = fmt::format("{}/{}", EXECUTIONS_FOLDER, strName);
  // Locked before it gets its name, so that no reader takes it for one of a killed execution.
  const std::string strNew = fmt::format("{}/.{}", EXECUTIONS_FOLDER, strName);
  m_fd = UniqueFd(open(strNew.c_str(), O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  const std::string strFirst = fmt::format("{} {}\n{} {}\n", AFTER, iLastRun, FIRING, iFiring);
  if (!m_fd.isOpen() || flock(m_fd.get(), LOCK_EX | LOCK_NB) < 0 ||
      write(m_fd.get(), strFirst.data(), strFirst.size()) != static_cast<ssize_t>(strFirst.size()) ||
      rename(strNew.c_str(), m_strPath.c_str()) < 0) {
    throw Failure(fmt::format("cannot create {}: {}", m_strPath, std::strerror(errno)));
  }
}

void ExecutionFile::remove() {
  unlink(m_strPath.c_str());
}

std::set<pid_t> ExecutionFile::update() {
  std::set<pid_t> setPids;
  m_iRead = readLines(m_fd.get(), m_iRead, [&](std::string_view strLine) { setPids.insert(m_notes.take(strLine)); });
  setPids.erase(0);
  return setPids;
}

void ExecutionFile::append(const std::string& strLine) const {
  appendTo(m_fd.get(), strLine, m_strPath);
}

void ExecutionFile::noteGroup(const std::string& strGroup) const {
  append(fmt::format("\n{} {}\n", GROUP, strGroup));
}

void ExecutionFile::noteRun(pid_t pid, std::chrono::seconds limit) const {
  append(fmt::format("\n{} {} {}\n", RUN, pid, limit.count()));
}

void ExecutionFile::noteClosed(pid_t pid) const {
  append(fmt::format("\n{} {}\n", CLOSED, pid));
}

void ExecutionFile::noteStored() const {
  append(fmt::format("\n{}\n", STORED));
}

void ExecutionFile::noteInTheWay(Json::Int64 iRun) const {
  append(fmt::format("\n{} {}\n", MET, iRun));
}

void ExecutionFile::noteEnding(pid_t pid, const char* szWhy, std::chrono::seconds grace) const {
  append(endingLine(pid, szWhy, grace));
}

void ExecutionFile::noteNextTry(Json::Int64 iRun, const TryNotes& next) const {
  append(fmt::format("\n{} {} {} {} {}\n", NEXT, iRun, next.iAt, next.iTry, next.cTries));
}

void ExecutionFile::noteTryBegun(Json::Int64 iRun) const {
  append(fmt::format("\n{} {}\n", TRY_BEGUN, iRun));
}

void ExecutionFile::noteDone() const {
  append(fmt::format("\n{}\n", DONE));
}

void ExecutionFile::noteEnd(pid_t pid, int iStatus, std::int64_t cbWritten, int iDirectoryError) const {
  append(endLine(pid, iStatus, cbWritten, iDirectoryError));
}

RunReport::RunReport(const std::string& strPath, pid_t pid) : m_fd(openForLines(strPath)), m_pid(pid) {}

void RunReport::begin(const std::string& strGroup) const {
  const std::optional<ProcessStatus> status = processStatus(m_pid);
  append(fmt::format("\n{} {} {} {}\n", BEGIN, m_pid, status ? status->ticksStart : 0, strGroup));
}

void RunReport::end(int iStatus) const {
  append(endLine(m_pid, iStatus));
}

void RunReport::append(const std::string& strLine) const {
  appendTo(m_fd.get(), strLine, EXECUTIONS_FOLDER);
}

void LiveExecution::endRun(pid_t pid, const char* szWhy, std::chrono::seconds grace) const {
  appendTo(openForLines(strPath).get(), endingLine(pid, szWhy, grace), strPath);
}

bool LiveExecution::stopTry(Json::Int64 iRun) const {
  appendTo(openForLines(strPath).get(), fmt::format("\n{} {}\n", TRY_STOPPED, iRun), strPath);
  const UniqueFd fd(open(strPath.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
  return fd.isOpen() && readNotes(fd.get()).isTryStopped(iRun);
}

std::vector<LiveExecution> liveExecutions() {
  std::vector<LiveExecution> vecExecutions;
  openAll([&](const std::string& strPath, const UniqueFd& fd) {
    if (!isEnded(fd)) {
      vecExecutions.push_back({strPath, readNotes(fd.get())});
    }
  });
  return vecExecutions;
}

std::optional<LiveExecution> executionOf(pid_t pid, Json::Int64 iRun) {
  std::optional<LiveExecution> found;
  for (LiveExecution& execution : liveExecutions()) {
    // A process id can come back: of several executions, the one whose run is open counts.
    if (execution.notes.has(pid, iRun) && (!found || execution.notes.hasOpen(pid))) {
      found = std::move(execution);
    }
  }
  return found;
}

bool isNoted(pid_t pid, Json::Int64 iRun) {
  bool blNoted = false;
  openAll([&](const std::string&, const UniqueFd& fd) { blNoted = blNoted || readNotes(fd.get()).has(pid, iRun); });
  return blNoted;
}

std::optional<LiveExecution> executionOfFiring(Json::Int64 iFiring) {
  for (LiveExecution& execution : liveExecutions()) {
    if (execution.notes.iFiring == iFiring) {
      return std::move(execution);
    }
  }
  return std::nullopt;
}

bool isAnyExecutionAlive() {
  return !liveExecutions().empty();
}

std::set<pid_t> childrenOfLiveExecutions() {
  std::set<pid_t> setPids;
  for (const LiveExecution& execution : liveExecutions()) {
    setPids.merge(execution.notes.children());
  }
  return setPids;
}

void EndedExecution::forget() const {
  unlink(strPath.c_str());
}

std::vector<EndedExecution> endedExecutions() {
  std::vector<EndedExecution> vecExecutions;
  openAll([&](const std::string& strPath, UniqueFd fd) {
    if (lockEnded(fd)) {
      ExecutionNotes notes = readNotes(fd.get());
      vecExecutions.push_back({strPath, std::move(fd), std::move(notes)});
    }
  });
  return vecExecutions;
}

}  // namespace Host

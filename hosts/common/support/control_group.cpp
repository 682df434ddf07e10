#include "control_group.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <memory>
#include <mntent.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"
#include "unique_fd.h"

namespace Host {

namespace {

namespace fs = std::filesystem;

bool writeFile(const std::string& strPath, std::string_view strText) {
  const UniqueFd fd(open(strPath.c_str(), O_WRONLY | O_CLOEXEC));
  return fd.isOpen() && write(fd.get(), strText.data(), strText.size()) == static_cast<ssize_t>(strText.size());
}

std::string firstLine(const std::string& strPath) {
  std::ifstream file(strPath);
  std::string strLine;
  std::getline(file, strLine);
  return strLine;
}

template <typename Number>
std::optional<Number> numberOf(std::string_view strText) {
  Number value = 0;
  const auto [pEnd, error] = std::from_chars(strText.data(), strText.data() + strText.size(), value);
  return error == std::errc() && pEnd == strText.data() + strText.size() ? std::optional(value) : std::nullopt;
}

/// The value of a line "KEY VALUE".
std::optional<std::uint64_t> valueOf(const std::string& strPath, std::string_view strKey) {
  std::ifstream file(strPath);
  std::string strWord;
  for (std::string strValue; file >> strWord >> strValue;) {
    if (strWord == strKey) {
      return numberOf<std::uint64_t>(strValue);
    }
  }
  return std::nullopt;
}

/// The sum of "KEY=VALUE" over all devices.
std::optional<std::uint64_t> sumOf(const std::string& strPath, const std::string& strKey) {
  std::ifstream file(strPath);
  if (!file.is_open()) {
    return std::nullopt;
  }
  std::uint64_t sum = 0;
  for (std::string strWord; file >> strWord;) {
    if (strWord.rfind(strKey + "=", 0) == 0) {
      sum += numberOf<std::uint64_t>(std::string_view(strWord).substr(strKey.size() + 1)).value_or(0);
    }
  }
  return sum;
}

struct CloseMounts {
  void operator()(FILE* pFile) const { endmntent(pFile); }
};

/// Where the groups are mounted; empty when they are not.
std::string mountPoint() {
  const std::unique_ptr<FILE, CloseMounts> pFile(setmntent("/proc/self/mounts", "re"));
  while (const mntent* pEntry = pFile ? getmntent(pFile.get()) : nullptr) {
    if (std::string_view(pEntry->mnt_type) == "cgroup2") {
      return pEntry->mnt_dir;
    }
  }
  return {};
}

/// The path of a process's group below the mount point; empty for the topmost one.
std::string pathOf(const std::string& strProcess) {
  constexpr std::string_view VERSION_2 = "0::";
  std::ifstream file(fmt::format("/proc/{}/cgroup", strProcess));
  for (std::string strLine; std::getline(file, strLine);) {
    if (strLine.rfind(VERSION_2, 0) == 0) {
      strLine.erase(0, VERSION_2.size());
      return strLine == "/" ? std::string() : strLine;
    }
  }
  return {};
}

}  // namespace

std::optional<ControlGroup> ControlGroup::own() {
  const std::string strMount = mountPoint();
  if (strMount.empty()) {
    return std::nullopt;
  }
  ControlGroup group(strMount + pathOf("self"));
  // A container may mount another part of the tree.
  const std::vector<pid_t> vecMembers = group.members();
  const bool blOwn = std::find(vecMembers.begin(), vecMembers.end(), getpid()) != vecMembers.end();
  return blOwn ? std::optional(std::move(group)) : std::nullopt;
}

bool ControlGroup::hasController(std::string_view strName) {
  std::ifstream file(mountPoint() + "/cgroup.controllers");
  return std::find(std::istream_iterator<std::string>(file), {}, strName) != std::istream_iterator<std::string>();
}

ControlGroup ControlGroup::parent() const {
  return ControlGroup(m_strPath.substr(0, m_strPath.rfind('/')));
}

std::vector<ControlGroup> ControlGroup::groupsBelow() const {
  std::vector<ControlGroup> vecGroups;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(m_strPath, error)) {
    if (entry.is_directory(error)) {
      vecGroups.emplace_back(entry.path().string());
    }
  }
  return vecGroups;
}

bool ControlGroup::create() const {
  if (mkdir(m_strPath.c_str(), 0755) == 0) {
    return true;
  }
  if (errno == EEXIST) {
    return false;
  }
  throw Failure(fmt::format("cannot create the control group {}: {}", m_strPath, std::strerror(errno)));
}

void ControlGroup::enter() const {
  if (!writeFile(m_strPath + "/cgroup.procs", "0")) {
    throw Failure(fmt::format("cannot enter the control group {}: {}", m_strPath, std::strerror(errno)));
  }
}

void ControlGroup::passOnControllers() const {
  std::ifstream file(m_strPath + "/cgroup.controllers");
  for (std::string strName; file >> strName;) {
    // The others would change how the processes are scheduled.
    if (strName == "pids" || strName == "memory" || strName == "io") {
      writeFile(m_strPath + "/cgroup.subtree_control", "+" + strName);
    }
  }
}

void ControlGroup::limitProcesses(unsigned cMax) const {
  const std::string strFile = m_strPath + "/pids.max";
  if (access(strFile.c_str(), F_OK) == 0 && !writeFile(strFile, std::to_string(cMax))) {
    throw Failure(fmt::format("cannot write {}: {}", strFile, std::strerror(errno)));
  }
}

bool ControlGroup::limitMemory(std::uint64_t cb) const {
  // Else a run at its limit would fill the swap space of the server.
  writeFile(m_strPath + "/memory.swap.max", "0");
  return writeFile(m_strPath + "/memory.max", std::to_string(cb));
}

std::vector<pid_t> ControlGroup::members() const {
  std::vector<pid_t> vecPids;
  std::ifstream file(m_strPath + "/cgroup.procs");
  for (pid_t pid = 0; file >> pid;) {
    vecPids.push_back(pid);
  }
  return vecPids;
}

bool ControlGroup::has(pid_t pid) const {
  const std::string strPath = pathOf(std::to_string(pid));
  return !strPath.empty() && m_strPath.ends_with(strPath);
}

bool ControlGroup::isPopulated() const {
  return valueOf(m_strPath + "/cgroup.events", "populated").value_or(0) != 0;
}

void ControlGroup::freeze(bool blOn) const {
  writeFile(m_strPath + "/cgroup.freeze", blOn ? "1" : "0");
}

bool ControlGroup::isFrozen() const {
  return valueOf(m_strPath + "/cgroup.events", "frozen").value_or(0) != 0;
}

bool ControlGroup::canKill() const {
  return access((m_strPath + "/cgroup.kill").c_str(), F_OK) == 0;
}

bool ControlGroup::kill() const {
  return writeFile(m_strPath + "/cgroup.kill", "1");
}

bool ControlGroup::remove() const {
  for (const ControlGroup& group : groupsBelow()) {
    group.remove();
  }
  return rmdir(m_strPath.c_str()) == 0 || errno == ENOENT;
}

ControlGroup::Usage ControlGroup::usage() const {
  const std::string strIo = m_strPath + "/io.stat";
  const std::string strEvents = m_strPath + "/memory.events";
  return {valueOf(m_strPath + "/cpu.stat", "usage_usec"),
          numberOf<std::uint64_t>(firstLine(m_strPath + "/memory.peak")), sumOf(strIo, "rbytes"),
          sumOf(strIo, "wbytes"),
          valueOf(strEvents, "oom").value_or(0) != 0 && valueOf(strEvents, "oom_kill").value_or(0) != 0};
}

}  // namespace Host

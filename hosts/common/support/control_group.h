/// \file control_group.h
/// Control groups of version 2: the kernel keeps a process and its descendants together, also when some of them end.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace Host {

class ControlGroup {
public:
  /// The group with this folder; it need not exist.
  explicit ControlGroup(std::string strPath) : m_strPath(std::move(strPath)) {}

  /// The group of the calling process; nothing where there are no such groups.
  static std::optional<ControlGroup> own();

  /// Tells whether groups can have a controller, such as "memory".
  static bool hasController(std::string_view strName);

  const std::string& path() const { return m_strPath; }

  ControlGroup parent() const;
  ControlGroup below(const std::string& strName) const { return ControlGroup(m_strPath + "/" + strName); }

  /// The groups right below it.
  std::vector<ControlGroup> groupsBelow() const;

  /// \return false when there is one already. \throw Failure
  bool create() const;

  /// Moves the calling process into it. \throw Failure
  void enter() const;

  /// Lets groups below it have the controllers that it has itself. It must not have processes of its own.
  void passOnControllers() const;

  /// Limits the number of its processes, where the kernel can. \throw Failure when it can, and refuses.
  void limitProcesses(unsigned cMax) const;

  /// Limits the memory of all its processes together. \return false with errno when the kernel cannot.
  bool limitMemory(std::uint64_t cb) const;

  /// Its processes, without those of groups below it.
  std::vector<pid_t> members() const;

  /// Tells whether a process is in it.
  bool has(pid_t pid) const;

  /// Tells whether it, or a group below it, has a living process.
  bool isPopulated() const;

  /// Lets its processes stand still, or go on. They stand still when isFrozen() says so.
  void freeze(bool blOn) const;
  bool isFrozen() const;

  /// Tells whether the kernel can kill its processes, as from version 5.14 on.
  bool canKill() const;

  /// Kills all its processes, and those of groups below it, also processes that are being started.
  /// \return false when the kernel cannot.
  bool kill() const;

  /// Removes it with the groups below it. \return false when there is still a process.
  bool remove() const;

  /// The resources that its processes have used, also those that have ended; without values that the kernel does not
  /// give.
  struct Usage {
    std::optional<std::uint64_t> cpuMicroseconds;
    std::optional<std::uint64_t> cbPeakMemory;
    std::optional<std::uint64_t> cbRead;
    std::optional<std::uint64_t> cbWritten;
    bool blOutOfMemory = false;  ///< the kernel has killed a process at the memory limit
  };
  Usage usage() const;

private:
  std::string m_strPath;
};

}  // namespace Host

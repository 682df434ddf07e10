/// \file output_place.h
/// The place of output: a folder on a share, with a folder for each task.
///
/// The library creates run folders that everybody can write to, and trusts every path to them. So before an execution
/// each task folder is closed to all but its owner. On the path to it, no folder may be a link, and only root may
/// write.

#pragma once

#include <cstdint>
#include <json/value.h>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "common/support/unique_fd.h"

namespace Host {

class OutputPlace {
public:
  /// The configured place, as SHARE/PATH; nothing when no output is kept.
  static std::optional<std::string> enabledPath();

  /// Gives a place by its SHARE/PATH, for where the share is now.
  /// \throw Failure when there is no such share.
  static OutputPlace of(const std::string& strPlace);

  /// The configured place; nothing when no output is kept.
  /// \throw Failure when the configuration cannot be used.
  static std::optional<OutputPlace> enabled();

  /// The configured place, even while output is switched off; nothing when none is configured.
  /// \throw Failure when the configuration cannot be used.
  static std::optional<OutputPlace> configured();

  /// Tells whether a task can have a folder. Names in records of other programs may contain "/" or be
  /// "..".
  static bool isFolderName(const std::string& strTask);

  /// All places that may contain output: the configured one, also while output is switched off, then the former
  /// ones, the newest first.
  /// \param vecUnknown  receives the places whose share no longer exists, as they were configured.
  static std::vector<OutputPlace> places(std::vector<std::string>& vecUnknown);

  /// The places where a task may have a folder. \throw Failure when the configured one cannot be used.
  static std::vector<OutputPlace> placesOf(const std::string& strTask);

  /// Prepares the folders of tasks for their owners. A folder that belonged to another user is moved
  /// aside.
  /// \return the new paths of moved folders, by the name of the task.
  /// \throw Failure when the path is not safe; no task may run then.
  std::map<std::string, std::string> prepare(const std::map<std::string, uid_t>& mapOwners) const;

  /// Opens a file of a run.
  /// \param szFile  its name (see run_files.h).
  /// \return nothing when there is no such file.
  /// \throw Failure when it is not a plain file, or another user could have created it.
  std::optional<UniqueFd> findRunFile(const std::string& strTask, Json::Int64 iStartTime, const char* szFile) const;

  /// The existing folders of a task: its own, then those that were moved aside when its owner
  /// changed.
  std::vector<std::string> foldersOf(const std::string& strTask) const;

  /// The task of a folder, also of one that was moved aside.
  static std::string taskOf(const std::string& strFolder);

  /// Opens the folder of the place; nothing when it does not exist.
  /// \throw Failure as above.
  std::optional<UniqueFd> openExisting() const;

  /// Checks the path to the folder, and creates missing folders. \throw Failure when it cannot be used.
  void check() const { openChecked(true); }

  /// Tries to write. Without this, a full disk shows only when a run has failed already.
  /// \return how many bytes owners can still write. \throw Failure when nothing can be written.
  std::uintmax_t requireRoom() const;

  /// Moves the folder of a task aside, to a name that no task can have: NAME~1, NAME~2 and so on. The output is
  /// kept, and another owner can use the name.
  /// \return its new path; empty when there was none. \throw Failure when it cannot be moved.
  std::string moveAside(const std::string& strTask) const;

  /// The old and the new name of a folder.
  using Move = std::pair<std::string, std::string>;

  /// Renames the folder of a task and those that were moved aside. An existing folder with the new name is moved
  /// aside.
  /// \return the moves, in their order; empty when the task had no folder. \throw Failure when a folder cannot be
  ///         moved; nothing has changed then.
  std::vector<Move> rename(const std::string& strTask, const std::string& strNew) const;

  /// Reverts moves. \throw Failure
  void moveBack(const std::vector<Move>& vecMoves) const;

  /// The path of the folder, for messages.
  const std::string& path() const { return m_strPath; }

private:
  OutputPlace() = default;

  static std::optional<OutputPlace> resolve(const std::string& strPlace);
  UniqueFd openChecked(bool blCreate) const;

  std::string m_strSharePath;  ///< folder of the share
  std::string m_strInside;     ///< path inside the share, may be empty
  std::string m_strPath;       ///< both together
};

/// Moves the output of a deleted task aside, in every place.
/// \return its new place, as the end of a sentence that begins with "its output"; empty without output.
std::string putOutputAside(const std::string& strTask);

}  // namespace Host

/// \file output_folder.h
/// Where the output and the script of each run are kept.
///
/// The library creates the folder of a run open to everybody and trusts every path to it. So before an
/// execution the folder of each task is made its owner's alone, and nothing on the way to it may be a link or
/// be changed by others.

#pragma once

#include <json/value.h>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "common/support/unique_fd.h"

namespace Host {

class OutputFolder {
public:
  /// Gives the configured place as it is written in the configuration; nothing when no output is kept.
  static std::optional<std::string> configuredOutput();

  /// Gives a place by what is written in a configuration: the share may lie elsewhere than it did a moment ago.
  /// \throw Failure when there is no such share.
  static OutputFolder of(const std::string& strOutput);

  /// Gives the configured place; nothing when no output is kept.
  /// \throw Failure when the configuration cannot be used.
  static std::optional<OutputFolder> configured();

  /// Gives the place where output is, or was before that was switched off; nothing when none is set.
  /// \throw Failure when the configuration cannot be used.
  static std::optional<OutputFolder> place();

  /// Tells whether a task can have a folder: records that were not made here may hold names that are more than one
  /// step of a path.
  static bool isFolderName(const std::string& strTask);

  /// Gives every place in which runs may have left something: the configured one, also when no output is kept
  /// any more, then the former ones, the newest first.
  /// \param vecUnknown  receives the places whose share no longer exists, as they were configured.
  static std::vector<OutputFolder> places(std::vector<std::string>& vecUnknown);

  /// Makes the folders of tasks ready for the runs of their owners. What somebody else left in the place of one is
  /// moved aside.
  /// \return where that is now, by the name of the task.
  /// \throw Failure when something on the way is not what it should be; then no task may be run.
  std::map<std::string, std::string> prepare(const std::map<std::string, uid_t>& mapOwners) const;

  /// Opens what a run left.
  /// \param szFile  its name (see run_files.h).
  /// \return nothing when there is no such file.
  /// \throw Failure when it is no plain file, or somebody could have put it there in the place of the real one.
  std::optional<UniqueFd> findRunFile(const std::string& strTask, Json::Int64 iStartTime, const char* szFile) const;

  /// The names of the folders in which runs of a task may have left something: its own, then those that were put aside
  /// because they were of another owner. Only names that are there.
  std::vector<std::string> foldersOf(const std::string& strTask) const;

  /// The task whose folder it is, or was before it was put aside.
  static std::string taskOf(const std::string& strFolder);

  /// Opens the folder in which the tasks have theirs; nothing when it does not exist.
  /// \throw Failure as above.
  std::optional<UniqueFd> openExisting() const;

  /// Goes the way to the folder, and makes what is missing of it. \throw Failure when it cannot be used.
  void check() const { openBase(true); }

  /// Puts the folder of a task aside, under a name that no task can have: NAME~1, NAME~2 and so on. So the name
  /// is free for another owner, and nothing is lost.
  /// \return its new path; empty when there was none. \throw Failure when it cannot be moved.
  std::string moveAside(const std::string& strTask) const;

  /// Two names of a folder: before it was moved, and after that.
  using Move = std::pair<std::string, std::string>;

  /// Gives the folder of a task another name, and what was put aside of it likewise; what has that name already is put
  /// aside.
  /// \return what was moved, in that order; empty when there was nothing of the task. \throw Failure when it cannot be
  ///         moved; then all is as it was.
  std::vector<Move> rename(const std::string& strTask, const std::string& strNew) const;

  /// Takes moves back. \throw Failure when that cannot be done.
  void moveBack(const std::vector<Move>& vecMoves) const;

  /// The path of the folder, for messages.
  const std::string& path() const { return m_strPath; }

private:
  OutputFolder() = default;

  static std::optional<OutputFolder> resolve(const std::string& strOutput);
  UniqueFd openBase(bool blCreate) const;

  std::string m_strSharePath;  ///< folder of the share
  std::string m_strInside;     ///< path inside the share, may be empty
  std::string m_strPath;       ///< both together
};

}  // namespace Host

/// \file config_change.h
/// Changes of the files of the configuration that also hold after a kill or a power cut: all files or none.
///
/// The new files are written beside the old ones first. Then a note beside the store names them, and only then they are
/// renamed. So whoever finds the note can finish the change: a rename needs no room.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "common/coordination/config_lock.h"

namespace Host {

/// New texts of files, by path.
using FileTexts = std::map<std::string, std::string>;

class ConfigChange {
public:
  /// Writes the new files beside the old ones; files that would not change are left out.
  /// \throw Failure that names the file; nothing has changed then.
  ConfigChange(const ConfigLock& lock, const FileTexts& texts);

  /// Removes the new files, unless the change was decided.
  ~ConfigChange();

  ConfigChange(const ConfigChange&) = delete;
  ConfigChange& operator=(const ConfigChange&) = delete;

  bool isEmpty() const { return m_mapDrafts.empty(); }

  /// Writes the note of a change that counts as soon as the store has this number. Call this before the store commits.
  void announce(std::int64_t iChange);

  /// Replaces the files. Without announce(), the change is valid from now on.
  /// \throw Failure when a file cannot be replaced; the note stays, and the next command tries again.
  void finish();

private:
  void removeDrafts() noexcept;

  std::map<std::string, std::string> m_mapDrafts;  ///< files to be replaced, by the new file
  bool m_blNoted = false;
  bool m_blDecided = false;
};

/// The note of a change that was interrupted.
struct UnfinishedChange {
  std::int64_t iChange = 0;  ///< the number that the store has if the change counts; 0 without a store
  std::map<std::string, std::string> mapDrafts;  ///< as above
};

/// Tells whether there is a note; also while somebody else is changing the configuration. Costs one system call.
bool isConfigChangeNoted();

/// Reads the note. \throw Failure when it cannot be read.
UnfinishedChange readConfigChange(const ConfigLock& lock);

/// Replaces the files that are left, or removes the new files. Then removes the note. \throw Failure
void finishConfigChange(const UnfinishedChange& change);
void undoConfigChange(const UnfinishedChange& change);

}  // namespace Host

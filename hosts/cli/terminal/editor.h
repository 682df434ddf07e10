/// \file editor.h
/// The user's editor.

#pragma once

#include <string>

/// A text that is changed in the user's editor. Its file stays until drop().
class Edit {
public:
  /// Writes the text to a file. \throw Host::Failure when that fails.
  Edit(const std::string& strName, const std::string& strText);

  Edit(const Edit&) = delete;
  Edit& operator=(const Edit&) = delete;

  /// Starts $VISUAL, else $EDITOR, else the system's editor, and waits until it ends.
  /// \return the changed text. \throw Host::Failure when the editor failed.
  std::string run() const;

  /// The path of the file.
  const std::string& path() const { return m_strPath; }

  /// Removes the file.
  void drop() const;

private:
  std::string m_strFolder;
  std::string m_strPath;
};

/// \file editor.h
/// The user's editor.

#pragma once

#include <string>

/// A text that is changed in the user's editor. What was written stays in a file until it is dropped.
class Edit {
public:
  /// Writes the text to a file of its own. \throw Host::Failure when that is impossible.
  Edit(const std::string& strName, const std::string& strText);

  Edit(const Edit&) = delete;
  Edit& operator=(const Edit&) = delete;

  /// Opens the editor and waits until it is closed: $VISUAL, else $EDITOR, else the system's.
  /// \return the text as it is then. \throw Host::Failure when the editor failed.
  std::string run() const;

  /// Where the text is.
  const std::string& path() const { return m_strPath; }

  /// Removes the file.
  void drop() const;

private:
  std::string m_strFolder;
  std::string m_strPath;
};

/// \file editor.h
/// The user's editor.

#pragma once

#include <string>

/// A text in the user's editor. The file stays until drop() is called.
class Edit {
public:
  /// Writes the text to a new file. \throw Host::Failure
  Edit(const std::string& strName, const std::string& strText);

  Edit(const Edit&) = delete;
  Edit& operator=(const Edit&) = delete;

  /// Opens $VISUAL, else $EDITOR, else the default editor, and waits for its end.
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

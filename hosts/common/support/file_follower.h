/// \file file_follower.h
/// Reads a file that grows.

#pragma once

#include <cstddef>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "unique_fd.h"

namespace Host {

class FileFollower {
public:
  static constexpr unsigned ALL_LINES = std::numeric_limits<unsigned>::max();

  /// Begins at the last lines of the file.
  /// \param strName  names it in messages.
  FileFollower(UniqueFd fd, std::string strName, unsigned cLines = ALL_LINES);

  /// Takes a piece of the file. \return how many bytes were used; the rest comes again, with the next bytes.
  using Take = std::function<std::size_t(std::string_view)>;

  /// The meaning of a hole in the file: zeros, or the end.
  enum class Holes { CONTENT, END };

  /// Passes on new content in pieces, since a log can be larger than memory. A file that was emptied is read from its
  /// beginning.
  /// \param holes  whether the first hole in the file ends it.
  /// \throw Failure when it cannot be read.
  void takeNew(const Take& fnTake, Holes holes = Holes::CONTENT);

  /// Tells whether the file has become shorter than what was read.
  bool isShorter() const { return size() < m_iOffset; }

  /// The end of the file.
  struct End {
    off_t cbFile = 0;    ///< size of the whole file
    off_t iStart = 0;    ///< where the text begins in it
    bool blCut = false;  ///< more was left out
    std::string strText;
  };

  /// \param cbMax  bytes at most. \throw Failure as above.
  End end(std::size_t cbMax) const;

  /// A path that stays that of the file when it is renamed.
  std::string descriptorPath() const { return "/proc/self/fd/" + std::to_string(m_fd.get()); }

  /// Tells whether a descriptor refers to the same file.
  bool isSame(const UniqueFd& fd) const;

private:
  off_t size() const;
  std::size_t readAt(off_t iOffset, char* pBytes, std::size_t cb) const;
  off_t startOfTail(unsigned cLines) const;
  off_t startOfHole() const;

  UniqueFd m_fd;
  std::string m_strName;
  off_t m_iOffset;
};

}  // namespace Host

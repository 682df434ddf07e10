/// \file file_follower.h
/// A file that others write to, read as it grows.

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

  /// Begins before the last lines of what is there.
  /// \param strName  names it in messages.
  FileFollower(UniqueFd fd, std::string strName, unsigned cLines = ALL_LINES);

  /// Gets a piece of the file. \return how many of its bytes are done with; the rest comes again, with what follows.
  using Take = std::function<std::size_t(std::string_view)>;

  /// Hands on what has come since the last time, piece by piece: a log can be larger than memory. A file that has been
  /// emptied begins anew.
  /// \throw Failure when it cannot be read.
  void takeNew(const Take& fnTake);

  /// The end of what is there and has not been handed on.
  struct End {
    off_t cbFile = 0;    ///< size of the whole file
    off_t iStart = 0;    ///< where the text begins in it
    bool blCut = false;  ///< there was more than was asked for
    std::string strText;
  };

  /// \param cbMax  how much is given at most. \throw Failure as above.
  End end(std::size_t cbMax) const;

  /// Tells whether a descriptor is of the same file.
  bool isSame(const UniqueFd& fd) const;

private:
  off_t size() const;
  std::size_t readAt(off_t iOffset, char* pBytes, std::size_t cb) const;
  off_t startOfTail(unsigned cLines) const;

  UniqueFd m_fd;
  std::string m_strName;
  off_t m_iOffset;
};

}  // namespace Host

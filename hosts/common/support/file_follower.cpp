#include "file_follower.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <sys/stat.h>
#include <utility>

#include "failure.h"

namespace Host {

namespace {

constexpr std::size_t CB_PIECE = 65536;

}  // namespace

FileFollower::FileFollower(UniqueFd fd, std::string strName, unsigned cLines)
    : m_fd(std::move(fd)), m_strName(std::move(strName)), m_iOffset(startOfTail(cLines)) {}

off_t FileFollower::size() const {
  return lseek(m_fd.get(), 0, SEEK_END);
}

std::size_t FileFollower::readAt(off_t iOffset, char* pBytes, std::size_t cb) const {
  const ssize_t cbRead = pread(m_fd.get(), pBytes, cb, iOffset);
  if (cbRead < 0) {
    throw Failure(fmt::format("cannot read {}: {}", m_strName, std::strerror(errno)));
  }
  return static_cast<std::size_t>(cbRead);
}

/// Where the last lines begin. Read from the end.
off_t FileFollower::startOfTail(unsigned cLines) const {
  const off_t cbFile = size();
  if (cLines == ALL_LINES || cbFile <= 0) {
    return 0;
  }
  std::array<char, CB_PIECE> buffer{};
  unsigned cEnds = 0;
  for (off_t iEnd = cbFile; iEnd > 0;) {
    const off_t iStart = std::max<off_t>(0, iEnd - static_cast<off_t>(buffer.size()));
    for (std::size_t i = readAt(iStart, buffer.data(), static_cast<std::size_t>(iEnd - iStart)); i > 0; --i) {
      const off_t iNext = iStart + static_cast<off_t>(i);
      // The end of the last line begins no other one.
      if (buffer[i - 1] == '\n' && iNext < cbFile && ++cEnds == cLines) {
        return iNext;
      }
    }
    iEnd = iStart;
  }
  return cLines == 0 ? cbFile : 0;
}

/// A file ends with a hole at the latest.
off_t FileFollower::startOfHole() const {
  const off_t iHole = lseek(m_fd.get(), m_iOffset, SEEK_HOLE);
  return iHole < 0 ? size() : iHole;
}

void FileFollower::takeNew(const Take& fnTake, Holes holes) {
  if (isShorter()) {
    m_iOffset = 0;
  }
  const off_t iEnd = holes == Holes::END ? startOfHole() : std::numeric_limits<off_t>::max();
  std::string strPiece(CB_PIECE, '\0');
  const auto next = [&] {
    return readAt(m_iOffset, strPiece.data(), std::min(strPiece.size(), static_cast<std::size_t>(iEnd - m_iOffset)));
  };
  while (const std::size_t cb = next()) {
    const std::size_t cbTaken = fnTake(std::string_view(strPiece).substr(0, cb));
    m_iOffset += static_cast<off_t>(cbTaken);
    if (cbTaken == 0 && cb < strPiece.size()) {
      return;
    }
    strPiece.resize(cbTaken == 0 ? strPiece.size() * 2 : strPiece.size());
  }
}

FileFollower::End FileFollower::end(std::size_t cbMax) const {
  End end;
  end.cbFile = size();
  end.iStart = std::max(std::min(m_iOffset, end.cbFile), end.cbFile - static_cast<off_t>(cbMax));
  end.blCut = end.iStart > m_iOffset;
  end.strText.resize(static_cast<std::size_t>(end.cbFile - end.iStart));
  std::size_t cbRead = 0;
  for (std::size_t cb = 1; cb > 0 && cbRead < end.strText.size(); cbRead += cb) {
    cb = readAt(end.iStart + static_cast<off_t>(cbRead), end.strText.data() + cbRead, end.strText.size() - cbRead);
  }
  end.strText.resize(cbRead);
  return end;
}

bool FileFollower::isSame(const UniqueFd& fd) const {
  struct stat mine{};
  struct stat other{};
  return fstat(m_fd.get(), &mine) == 0 && fstat(fd.get(), &other) == 0 && mine.st_dev == other.st_dev &&
         mine.st_ino == other.st_ino;
}

}  // namespace Host

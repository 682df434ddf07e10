#include "settings/regular_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "support/unique_fd.h"

namespace orva {

int readRegularFile(const std::string& strPath, std::string& strContent, std::size_t cbMax) {
  const UniqueFd fd(open(strPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status{};
  if (!fd || fstat(fd.get(), &status) != 0) {
    return errno;
  }
  if (!S_ISREG(status.st_mode)) {
    return S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  }
  std::string strRead;
  char buffer[16384];
  for (;;) {
    const ssize_t cbRead = read(fd.get(), buffer, sizeof buffer);
    if (cbRead < 0 && errno == EINTR) {
      continue;
    }
    if (cbRead < 0) {
      return errno;
    }
    if (cbRead == 0) {
      strContent = std::move(strRead);
      return 0;
    }
    strRead.append(buffer, static_cast<std::size_t>(cbRead));
    if (strRead.size() > cbMax) {
      return EFBIG;
    }
  }
}

}  // namespace orva

#include "engine/script_file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "support/file.h"
#include "support/log.h"

namespace {

constexpr const char* LOG_SOURCE = Orva::SOURCE_LIB;

constexpr int FLAGS = O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

int createAlone(int iFolder, const char* szName) {
  return openat(iFolder, szName, FLAGS | O_CREAT | O_EXCL, 0700);
}

bool isOwn(int iFd) {
  struct stat info{};
  return 0 == fstat(iFd, &info) && S_ISREG(info.st_mode) && 1 == info.st_nlink && geteuid() == info.st_uid;
}

// Without an output folder, all runs of a runner use one file, so an existing file is overwritten. A file of another
// user, who could still write to it, is replaced by a new one.
int openScript(int iFolder, const char* szName) {
  const int iCreated = createAlone(iFolder, szName);
  if (iCreated >= 0 || EEXIST != errno) {
    return iCreated;
  }
  const int iFound = openat(iFolder, szName, FLAGS);
  if (iFound >= 0 && isOwn(iFound) && 0 == ftruncate(iFound, 0)) {
    return iFound;
  }
  if (iFound >= 0) {
    close(iFound);
  }
  return 0 == unlinkat(iFolder, szName, 0) ? createAlone(iFolder, szName) : -1;
}

}  // namespace

namespace Orva {

ScriptFileResult writeScriptFile(const std::string& strPath, ScriptFolder folder, const std::string& strScript) {
  const std::string::size_type posName = strPath.rfind('/') + 1;
  // The owner of the parent folder can replace the run's folder by a link.
  const int iNoLink = ScriptFolder::RUN == folder ? O_NOFOLLOW : 0;
  const std::string strFolder = strPath.substr(0, posName - 1);
  const FileDescriptor directory(open(strFolder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC | iNoLink));
  if (!directory.isOpen()) {
    return ScriptFileResult::NOT_WRITTEN;
  }
  FileDescriptor file(openScript(directory.get(), strPath.c_str() + posName));
  if (!file.isOpen()) {
    return ScriptFileResult::NOT_WRITTEN;
  }
  LOG_DEBUG("run script=%s", strScript.c_str());
  // An incomplete script could do harm.
  if (!writeAll(file.get(), strScript)) {
    LOG_ERROR("script not written, path=%s", strPath.c_str());
    return ScriptFileResult::NOT_WRITTEN;
  }
  // Use the descriptor, because the name may refer to another file by now.
  if (0 != fchmod(file.get(), 0755)) {
    return ScriptFileResult::NOT_EXECUTABLE;
  }
  return file.close() ? ScriptFileResult::READY : ScriptFileResult::NOT_WRITTEN;
}

}  // namespace Orva

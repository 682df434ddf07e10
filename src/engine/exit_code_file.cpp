#include "engine/exit_code_file.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <unistd.h>

#include "engine/exit_status.h"
#include "support/file.h"

namespace {

// Never empty in between, so that nobody else can be faster.
bool takePlace(const std::string& strDraft, const std::string& strPath) {
  if (0 == rename(strDraft.c_str(), strPath.c_str())) {
    return true;
  }
  // A file cannot replace a folder, but the two can change places.
  if (0 != renameat2(AT_FDCWD, strDraft.c_str(), AT_FDCWD, strPath.c_str(), RENAME_EXCHANGE)) {
    unlink(strDraft.c_str());
    return false;
  }
  // A folder that is not empty stays under the draft's name, where it is in nobody's way.
  rmdir(strDraft.c_str());
  return true;
}

}  // namespace

bool Orva::claimExitCodeFile(uid_t uidOwner) {
  const std::string strPath = exitCodePath(getpid());
  std::string strDraft = strPath + ".XXXXXX";
  const FileDescriptor file(mkostemp(strDraft.data(), O_CLOEXEC));
  // The owner gets the file last, because he could replace his own draft.
  return file.isOpen() && takePlace(strDraft, strPath) && 0 == fchown(file.get(), uidOwner, static_cast<gid_t>(-1));
}

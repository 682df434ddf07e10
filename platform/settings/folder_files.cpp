#include "settings/folder_files.h"

#include <algorithm>
#include <dirent.h>
#include <memory>

namespace orva {
namespace {

struct CloseDirectory {
  void operator()(DIR* pDirectory) const { closedir(pDirectory); }
};

}  // namespace

std::vector<std::string> filesInFolder(const std::string& strFolder, std::string_view strSuffix) {
  std::vector<std::string> vecName;
  const std::unique_ptr<DIR, CloseDirectory> pDirectory(opendir(strFolder.c_str()));
  while (const dirent* const pEntry = pDirectory ? readdir(pDirectory.get()) : nullptr) {
    const std::string strName = pEntry->d_name;
    if (strName.front() != '.' && strName.size() > strSuffix.size() && strName.ends_with(strSuffix)) {
      vecName.push_back(strName);
    }
  }
  std::sort(vecName.begin(), vecName.end());
  return vecName;
}

}  // namespace orva

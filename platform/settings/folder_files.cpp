#include "settings/folder_files.h"

#include <algorithm>

#include "support/directory.h"

namespace orva {
std::vector<std::string> filesInFolder(const std::string& strFolder, std::string_view strSuffix) {
  std::vector<std::string> vecName;
  const DirectoryPtr pDirectory(opendir(strFolder.c_str()));
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

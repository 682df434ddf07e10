#include "dependency_list.h"

#include <cstddef>

namespace Host {

std::vector<std::string> readDependencyList(const std::string& strDepend) {
  std::vector<std::string> vecNames;
  for (std::size_t posStart = strDepend.find('['); posStart != std::string::npos;) {
    const std::size_t posEnd = strDepend.find(']', posStart);
    if (posEnd == std::string::npos) {
      break;
    }
    vecNames.push_back(strDepend.substr(posStart + 1, posEnd - posStart - 1));
    posStart = strDepend.find('[', posEnd);
  }
  return vecNames;
}

std::string writeDependencyList(const std::vector<std::string>& vecNames) {
  std::string strDepend;
  for (const std::string& strName : vecNames) {
    strDepend += '[' + strName + ']';
  }
  return strDepend;
}

}  // namespace Host

#include "catalogue/depend_list.h"

#include "support/check.h"

namespace {

constexpr const char* LOG_SOURCE = Orva::SOURCE_LIB;

}  // namespace

namespace Orva {

std::string dependEntry(std::string_view strName) {
  return std::string("[").append(strName).append("]");
}

int parseDependList(const std::string& strTaskDepend, std::vector<std::string>& names) {
  using std::string;
  string::size_type posStart = 0;
  while (string::npos != (posStart = strTaskDepend.find('[', posStart))) {
    const string::size_type posEnd = strTaskDepend.find(']', posStart);
    FAIL_IF_AS(string::npos == posEnd, "string::npos == (posEnd = strTaskDepend.find(\"]\", posStart))");
    names.push_back(strTaskDepend.substr(posStart + 1, posEnd - posStart - 1));
    posStart = posEnd;
  }
  return 0;
}

}  // namespace Orva

#include "settings/key_value.h"

#include "orva_platform.h"

#include "settings/regular_file.h"
#include "settings/text_line.h"
#include "support/boundary.h"
#include "support/copy_out.h"

namespace orva {

std::optional<std::string> findKeyValue(std::string_view strText, std::string_view strKey) {
  std::optional<std::string> found;
  while (!strText.empty()) {
    const std::string_view strLine = takeLine(strText);
    const auto pair = isBlankOrComment(strLine) ? std::nullopt : cutKeyValue(strLine);
    if (pair && pair->strKey == strKey) {
      found = withoutQuotes(pair->strValue);
    }
  }
  return found;
}

}  // namespace orva

namespace {

int fileGetKeyValue(const char* szFile, const char* szKey, char* szValue, int cbValue) {
  if (!szFile || !szKey || !*szKey || !szValue || cbValue <= 0) {
    FAIL_WITH(EINVAL);
  }
  std::string strContent;
  if (const int iError = orva::readRegularFile(szFile, strContent); iError != 0) {
    FAIL_WITH(iError);
  }
  const auto found = orva::findKeyValue(strContent, szKey);
  if (!orva::copyOut(found.value_or(""), szValue, cbValue)) {
    FAIL_WITH(ERANGE);
  }
  return found ? 1 : 0;
}

}  // namespace

extern "C" int KLIBCFileGetKeyValue(const char* szFile, const char* szKey, char* szValue, int cbValue) {
  return orva::guarded([&] { return fileGetKeyValue(szFile, szKey, szValue, cbValue); });
}

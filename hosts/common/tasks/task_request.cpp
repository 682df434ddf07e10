#include "task_request.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <sstream>

#include "common/server/users.h"
#include "common/support/failure.h"
#include "common/text/base64.h"
#include "common/text/json_members.h"
#include "common/text/json_utf8.h"

namespace Host {

Json::Value ownerFrom(const std::string& strTyped) {
  const std::optional<uid_t> uid = findUser(strTyped);
  const std::string strName = uid ? userName(*uid) : std::string();
  Json::Value jOwner(Json::objectValue);
  jOwner[uid && !strName.empty() ? std::to_string(*uid) : strTyped] = strName;
  return jOwner;
}

std::string ownerName(const Json::Value& jOwner, std::string& strUid) {
  if (!jOwner.isObject() || jOwner.size() != 1) {
    return {};
  }
  strUid = jOwner.begin().name();
  return textOf(jOwner, strUid.c_str());
}

void takeScriptBytes(Json::Value& jTask) {
  const std::string strMember = std::string("operation") + BASE64_SUFFIX;
  if (!jTask.isMember(strMember)) {
    return;
  }
  const std::optional<std::string> strScript = fromBase64(textOf(jTask, strMember.c_str()));
  if (!strScript || !jTask[strMember].isString()) {
    throw Failure(fmt::format("{}: is not base64", strMember));
  }
  jTask["operation"] = *strScript;
  jTask.removeMember(strMember);
}

std::string withoutBlanks(const std::string& strList) {
  std::string strResult;
  std::istringstream list(strList);
  for (std::string strPart; std::getline(list, strPart, ',');) {
    const std::size_t iFirst = std::min(strPart.find_first_not_of(' '), strPart.size());
    const std::size_t iLast = strPart.find_last_not_of(' ');
    strResult += (strResult.empty() ? "" : ",") + strPart.substr(iFirst, iLast + 1 - iFirst);
  }
  return strResult;
}

}  // namespace Host

#include "output_places.h"

#include <algorithm>

#include "common/text/json_members.h"

namespace Host {

std::vector<std::string> outputPlaces(const Json::Value& jConfig) {
  std::vector<std::string> vecPlaces;
  const auto add = [&](const std::string& strPath) {
    if (!strPath.empty() && std::find(vecPlaces.begin(), vecPlaces.end(), strPath) == vecPlaces.end()) {
      vecPlaces.push_back(strPath);
    }
  };
  add(textOf(jConfig, "output_path"));
  const Json::Value& jFormer = memberOf(jConfig, FORMER_OUTPUT_PATHS);
  for (const Json::Value& jPath : jFormer.isArray() ? jFormer : Json::Value(Json::arrayValue)) {
    add(jPath.isString() ? jPath.asString() : std::string());
  }
  return vecPlaces;
}

void changeOutputPlace(Json::Value& jConfig, const std::string& strPath) {
  Json::Value jFormer(Json::arrayValue);
  for (const std::string& strPlace : outputPlaces(jConfig)) {
    if (strPlace != strPath) {
      jFormer.append(strPlace);
    }
  }
  jConfig["output_path"] = strPath;
  if (jFormer.empty()) {
    jConfig.removeMember(FORMER_OUTPUT_PATHS);
  } else {
    jConfig[FORMER_OUTPUT_PATHS] = jFormer;
  }
}

}  // namespace Host

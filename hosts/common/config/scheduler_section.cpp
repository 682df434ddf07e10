#include "scheduler_section.h"

#include <algorithm>
#include <fmt/format.h>
#include <json/writer.h>

#include "eorvascheduler.h"

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

constexpr char FORMER_OUTPUT_PATHS[] = "former_output_paths";

}  // namespace

Json::Value schedulerConfig() {
  Json::Value jFilter(Json::objectValue);
  jFilter["type"] = CONFIG_TYPE;
  Json::Value jConfig(Json::objectValue);
  if (configGet(jFilter, jConfig) < 0) {
    throw Failure(fmt::format("cannot read the configuration {}: it is no JSON object", CONFIG_PATH));
  }
  return jConfig.isObject() ? jConfig : Json::Value(Json::objectValue);
}

std::string configFileWith(const Json::Value& jSection) {
  Json::Value jNoFilter;
  Json::Value jFile;
  if (configGet(jNoFilter, jFile) < 0 || !(jFile.isObject() || jFile.isNull())) {
    throw Failure(fmt::format("cannot read the configuration {}: it is no JSON object", CONFIG_PATH));
  }
  jFile[CONFIG_TYPE] = jSection;
  Json::StreamWriterBuilder builder;
  builder["commentStyle"] = "None";
  builder["emitUTF8"] = true;
  builder["indentation"] = "  ";
  return Json::writeString(builder, jFile) + "\n";
}

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

std::string outputSetting(const Json::Value& jConfig) {
  const std::string strPath = textOf(jConfig, "output_path");
  if (!boolOf(jConfig, "enable_output", true)) {
    return strPath.empty() ? "off" : fmt::format("off (was {})", strPath);
  }
  return strPath.empty() ? "not set: no output is kept" : strPath;
}

}  // namespace Host

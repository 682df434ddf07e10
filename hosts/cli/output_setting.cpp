#include "output_setting.h"

#include <fmt/format.h>

#include "eorvascheduler.h"

#include "common/failure.h"
#include "common/installed_paths.h"
#include "common/json_read.h"
#include "common/output_places.h"
#include "common/session.h"
#include "common/shares.h"
#include "common/task_name.h"

namespace {

/// Writes the section back whole: what it holds besides must stay.
void store(Json::Value jConfig) {
  jConfig["type"] = Host::CONFIG_TYPE;
  if (configSet(jConfig) < 0) {
    throw Host::Failure(fmt::format("cannot write the configuration {}", Host::CONFIG_PATH));
  }
}

}  // namespace

void setOutputPath(const std::string& strPath) {
  if (const std::string strWhy = Host::whyNotOutputPath(strPath); !strWhy.empty()) {
    throw Host::Failure(fmt::format("the output path \"{}\" cannot be used: {}", strPath, strWhy));
  }
  const std::string strShare = strPath.substr(0, strPath.find('/'));
  if (const std::string strWhy = Host::whyShareUnusable(strShare); !strWhy.empty()) {
    throw Host::Failure(
        fmt::format("the output path \"{}\" cannot be used: the share \"{}\": {}", strPath, strShare, strWhy));
  }
  Json::Value jConfig = Host::schedulerConfig();
  Host::changeOutputPlace(jConfig, strPath);
  jConfig["enable_output"] = true;
  store(std::move(jConfig));
}

void setOutputEnabled(bool blEnabled) {
  Json::Value jConfig = Host::schedulerConfig();
  if (blEnabled && Host::textOf(jConfig, "output_path").empty()) {
    throw Host::Failure("output cannot be switched on without a place for it: use --output-path SHARE");
  }
  jConfig["enable_output"] = blEnabled;
  store(std::move(jConfig));
}

std::string outputSetting(const Json::Value& jConfig) {
  const std::string strPath = Host::textOf(jConfig, "output_path");
  if (!Host::boolOf(jConfig, "enable_output", true)) {
    return strPath.empty() ? "off" : fmt::format("off (was {})", strPath);
  }
  return strPath.empty() ? "not set: nothing is kept" : strPath;
}

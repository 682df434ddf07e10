#include "output_setting.h"

#include <fmt/format.h>

#include "common/text/json_members.h"

std::string outputSetting(const Json::Value& jConfig) {
  const std::string strPath = Host::textOf(jConfig, "output_path");
  if (!Host::boolOf(jConfig, "enable_output", true)) {
    return strPath.empty() ? "off" : fmt::format("off (was {})", strPath);
  }
  return strPath.empty() ? "not set: nothing is kept" : strPath;
}

#include "output_setting.h"

#include <fmt/format.h>

#include "common/text/json_members.h"

namespace Host {

std::string outputSetting(const Json::Value& jConfig) {
  const std::string strPath = textOf(jConfig, "output_path");
  if (!boolOf(jConfig, "enable_output", true)) {
    return strPath.empty() ? "off" : fmt::format("off (was {})", strPath);
  }
  return strPath.empty() ? "not set: no output is kept" : strPath;
}

}  // namespace Host

// The configuration file: one object of sections.

#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "config/own_section.h"
#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"
#include "support/paths.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_UTIL;

bool configIsMissing() {
  struct stat info{};
  return 0 != stat(EORVA_SCHEDULER_CONFIG_PATH, &info) && ENOENT == errno;
}

// The path of the file to replace. An administrator may keep the file elsewhere and leave a link here, which stays. If
// the file is missing, the link still gives its path; its folder may be on a volume that is not mounted yet. Nothing
// when the link cannot be resolved.
std::optional<std::string> writtenPath() {
  constexpr int LINKS_FOLLOWED = 40;
  std::filesystem::path path = EORVA_SCHEDULER_CONFIG_PATH;
  for (int i = 0; i < LINKS_FOLLOWED; ++i) {
    std::array<char, PATH_MAX> szTarget{};
    const ssize_t cb = readlink(path.c_str(), szTarget.data(), szTarget.size() - 1);
    if (0 > cb) {
      return EINVAL == errno || ENOENT == errno ? std::optional<std::string>(path.string()) : std::nullopt;
    }
    path = path.parent_path() / std::string(szTarget.data(), static_cast<std::size_t>(cb));
  }
  errno = ELOOP;
  return std::nullopt;
}

// A file that cannot be examined now, for example after a read error, may still have settings. They must not be lost.
bool mayHaveSettings() {
  return 0 == access(EORVA_SCHEDULER_CONFIG_PATH, F_OK) || (ENOENT != errno && ENOTDIR != errno && ELOOP != errno);
}

int createConfig() {
  if (mayHaveSettings()) {
    return 0;
  }
  Json::Value jIn = ownSection();
  FAIL_IF(0 > configSet(jIn));
  return 0;
}

int readConfig(const Json::Value& jIn, Json::Value& jOut) {
  FAIL_IF(jIn.type() != Json::objectValue && jIn.type() != Json::nullValue);
  FAIL_IF(jOut.type() != Json::objectValue && jOut.type() != Json::nullValue);
  if (configIsMissing()) {
    LOG_DEBUG("no config file exist, path=%s", EORVA_SCHEDULER_CONFIG_PATH);
    return 0;
  }
  Json::Value jConfig;
  FAIL_IF_AS(!fromFile(jConfig, EORVA_SCHEDULER_CONFIG_PATH), "!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)");
  if (!hasMember(jIn, "type")) {
    jOut = jConfig;
    return 1;
  }
  FAIL_IF(!jIn["type"].isString());
  // A text or a list cannot have sections, so it is treated like a document that does not parse.
  FAIL_IF_AS(!isObjectOrNull(jConfig), "!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)");
  const std::string strType = jIn["type"].asString();
  const bool blFound = jConfig.isMember(strType);
  jOut = blFound ? jConfig[strType] : Json::Value();
  return blFound ? 1 : 0;
}

int writeSection(const Json::Value& jIn) {
  FAIL_IF(jIn.type() != Json::objectValue);
  FAIL_IF(!jIn.isMember("type"));
  FAIL_IF(!jIn["type"].isString());
  Json::Value jNull;
  Json::Value jConfig;
  FAIL_IF_AS(0 > configGet(jNull, jConfig) || !isObjectOrNull(jConfig), "0 > configGet(jNull, jConfig)");
  jConfig[jIn["type"].asString()] = jIn;
  const std::optional<std::string> strPath = writtenPath();
  FAIL_IF_AS(!strPath || !toFile(jConfig, *strPath, true), "!jConfig.toFile(EORVA_SCHEDULER_CONFIG_PATH, true)");
  FAIL_IF(0 > chmod(EORVA_SCHEDULER_CONFIG_PATH, 0644));
  return 0;
}

}  // namespace

int configInit() {
  return GUARDED([&] { return createConfig(); });
}

int configGet(Json::Value& jIn, Json::Value& jOut) {
  return GUARDED([&] { return readConfig(jIn, jOut); });
}

int configSet(Json::Value& jIn) {
  return GUARDED([&] { return writeSection(jIn); });
}

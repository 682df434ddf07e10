// The configuration file: one object of sections.

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <sys/stat.h>

#include "config/own_section.h"
#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/file.h"
#include "support/json_read.h"
#include "support/paths.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_UTIL;

bool configIsMissing() {
  struct stat info{};
  return 0 != stat(EORVA_SCHEDULER_CONFIG_PATH, &info) && ENOENT == errno;
}

// An administrator may keep the file elsewhere and leave a link here: it is the file that is to be replaced.
std::string writtenPath() {
  const std::unique_ptr<char, decltype(&std::free)> szResolved(realpath(EORVA_SCHEDULER_CONFIG_PATH, nullptr),
                                                               &std::free);
  return szResolved ? szResolved.get() : EORVA_SCHEDULER_CONFIG_PATH;
}

int createConfig() {
  if (!isMissing(EORVA_SCHEDULER_CONFIG_PATH)) {
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
  // What parses but is no object holds no sections: as little use as what does not parse.
  FAIL_IF_AS(!fromFile(jConfig, EORVA_SCHEDULER_CONFIG_PATH) || !jConfig.isObject(),
             "!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)");
  if (!hasMember(jIn, "type")) {
    jOut = jConfig;
    return 1;
  }
  FAIL_IF(!jIn["type"].isString());
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
  FAIL_IF(0 > configGet(jNull, jConfig));
  jConfig[jIn["type"].asString()] = jIn;
  FAIL_IF_AS(!toFile(jConfig, writtenPath(), true), "!jConfig.toFile(EORVA_SCHEDULER_CONFIG_PATH, true)");
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

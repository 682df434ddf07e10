// Readers for hosts: the configuration, tolerating a damaged file, and the event catalogue.

#include <cerrno>
#include <sys/stat.h>

#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/paths.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

int readTolerantly(Json::Value& jConfigOut) {
  struct stat info{};
  const bool blFound = 0 == stat(EORVA_SCHEDULER_CONFIG_PATH, &info);
  if (!blFound && ENOENT == errno) {
    jConfigOut = Json::Value(Json::objectValue);
    // The text differs from that of configGet(), so that logs show which function wrote it.
    LOG_DEBUG("not config file exist, path=%s", EORVA_SCHEDULER_CONFIG_PATH);
    return 0;
  }
  if (!blFound) {
    // Deliberately "event config": people search logs for this text.
    LOG_ERROR("load event config failed, file=%s", EORVA_SCHEDULER_CONFIG_PATH);
    return -1;
  }
  // The database must open even if the configuration is damaged.
  if (!fromFile(jConfigOut, EORVA_SCHEDULER_CONFIG_PATH)) {
    LOG_DEBUG("failed to load config file=%s", EORVA_SCHEDULER_CONFIG_PATH);
  }
  return 0;
}

int readCatalogue(Json::Value& jEventOut) {
  FAIL_IF_AS(!fromFile(jEventOut, EORVA_SCHEDULER_EVENT_PATH), "!jEventOut.fromFile(EORVA_SCHEDULER_EVENT_PATH)");
  return 0;
}

}  // namespace

int recConfigGet(Json::Value& jConfigOut) {
  return GUARDED([&] { return readTolerantly(jConfigOut); });
}

int eventList(Json::Value& jEventOut) {
  return GUARDED_WITH_LAST_LINE([&] { return readCatalogue(jEventOut); },
                                [] { LOG_ERROR("load event list failed, file=%s", EORVA_SCHEDULER_EVENT_PATH); });
}

// Codes of the event log; the platform's log catalogue has their texts.

#pragma once

#include <string>

#include "orva_platform.h"

namespace Orva {

constexpr unsigned int EVENT_TASK_CREATED = 0x14400004;
constexpr unsigned int EVENT_TASK_DELETED = 0x14400005;
constexpr unsigned int EVENT_TASK_RENAMED = 0x14400006;
constexpr unsigned int EVENT_NO_OUTPUT_PATH = 0x14400100;
constexpr unsigned int EVENT_SHARE_NOT_ACCESSIBLE = 0x14400101;
constexpr unsigned int EVENT_NO_IDENTITY = 0x14400200;
constexpr unsigned int EVENT_NOT_STARTED = 0x14400201;

constexpr int LEVEL_INFORMATION = 1;
constexpr int LEVEL_ERROR = 3;

inline void logEvent(int iLevel, unsigned int uCode, const std::string& strArg1, const std::string& strArg2 = {}) {
  ORVALogSet1(1, iLevel, uCode, strArg1.c_str(), strArg2.c_str(), "", "");
}

}  // namespace Orva

#include "log_event.h"

#include "orva_platform.h"

namespace Host {

void logEvent(LogEvent event, const std::string& strFirst, const std::string& strSecond, const std::string& strThird,
              const std::string& strFourth) {
  constexpr int EVENT_TYPE = 1;
  constexpr int INFORMATION = 1;
  constexpr int WARNING = 2;
  ORVALogSet1(EVENT_TYPE, event == LogEvent::RUN_FAILED ? WARNING : INFORMATION, static_cast<unsigned>(event),
              strFirst.c_str(), strSecond.c_str(), strThird.c_str(), strFourth.c_str());
}

}  // namespace Host

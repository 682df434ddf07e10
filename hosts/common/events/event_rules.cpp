#include "event_rules.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "common/server/systemd_calendar.h"
#include "common/server/systemd_units.h"
#include "common/support/failure.h"
#include "common/text/cron_schedule.h"
#include "common/text/name_rules.h"
#include "common/text/yaml_writer.h"
#include "event_catalogue.h"
#include "event_timer.h"

namespace Host {

namespace {

constexpr std::size_t MAX_UNIT_NAME = 255;

/// Tells how a schedule of cron is written for systemd; empty for any other text.
std::string adviceForCron(const std::string& strSchedule) {
  try {
    return fmt::format("\"{}\" is a schedule of cron; for systemd, write \"{}\"", strSchedule,
                       fmt::join(calendarsOfCron(strSchedule), "\" and \""));
  } catch (const Failure&) {
    return {};
  }
}

void checkTime(const std::string& strCalendar, EventFindings& findings) {
  if (const std::string strWhy = whyNotCalendarText(strCalendar); !strWhy.empty()) {
    findings.vecErrors.push_back(fmt::format("at: \"{}\" {}", strCalendar, strWhy));
    return;
  }
  try {
    const Calendar calendar = readCalendar(strCalendar);
    if (!calendar.strWhyNot.empty()) {
      const std::string strCron = adviceForCron(strCalendar);
      findings.vecErrors.push_back(strCron.empty()
                                       ? fmt::format("at: {}; systemd.time(7) explains the times", calendar.strWhyNot)
                                       : "at: " + strCron);
    } else if (calendar.blOver) {
      findings.vecWarnings.push_back(fmt::format("at: \"{}\" is in the past", strCalendar));
    }
  } catch (const Failure& error) {
    findings.vecErrors.push_back(fmt::format("at: {}", error.what()));
  }
}

void checkTimes(const std::string& strEvent, const EventSettings& settings, const EventSettings* pBefore,
                EventFindings& findings) {
  if (settings.vecAt.empty()) {
    return;
  }
  if (const std::size_t cb = eventTimer(strEvent).size(); cb > MAX_UNIT_NAME) {
    findings.vecErrors.push_back(fmt::format(
        "name: is too long for an event with times: the name of its timer would have {} bytes, and {} are allowed", cb,
        MAX_UNIT_NAME));
  }
  for (const std::string& strCalendar : settings.vecAt) {
    const bool blOld = pBefore != nullptr &&
                       std::find(pBefore->vecAt.begin(), pBefore->vecAt.end(), strCalendar) != pBefore->vecAt.end();
    if (!blOld) {
      checkTime(strCalendar, findings);
    }
  }
  if (pBefore == nullptr || pBefore->vecAt.empty()) {
    try {
      requireTimerPlace(strEvent);
    } catch (const Failure& error) {
      findings.vecErrors.push_back(fmt::format("at: {}", error.what()));
    }
  }
}

}  // namespace

EventFindings checkOwnEvent(const std::string& strEvent, const EventSettings& settings, const EventSettings* pBefore) {
  EventFindings findings;
  if (const std::string strWhy = whyNotEventName(strEvent); !strWhy.empty()) {
    findings.vecErrors.push_back("name: " + strWhy);
    return findings;
  }
  const std::string strWhy =
      isUtf8(settings.strDescription) ? whyNotDescription(settings.strDescription) : "is not valid UTF-8";
  if (!strWhy.empty()) {
    findings.vecErrors.push_back("description: " + strWhy);
  }
  checkTimes(strEvent, settings, pBefore, findings);
  return findings;
}

std::vector<std::string> whyNotCatalogueEvent(const std::string& strEvent, const EventSettings& settings) {
  std::vector<std::string> vecWhy;
  if (!settings.strDescription.empty()) {
    vecWhy.emplace_back("description: an installed event has one already");
  }
  if (!settings.vecAt.empty()) {
    vecWhy.emplace_back("at: an installed event has its own times; add an event of your own for others");
  }
  const std::vector<Event> vecCatalogue = eventCatalogue();
  const Event* const pEvent = findEvent(vecCatalogue, strEvent);
  if (settings.blEnabled && (pEvent == nullptr || pEvent->strUnit.empty())) {
    vecWhy.emplace_back("enabled: no installed unit fires it");
  }
  return vecWhy;
}

}  // namespace Host

#include "event_changes.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

#include "common/events/event_catalogue.h"
#include "common/events/event_switch.h"
#include "common/events/event_timer.h"
#include "common/server/log_event.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

const EventSettings* settingsIn(const EventsByName& events, const std::string& strEvent) {
  const auto it = events.find(strEvent);
  return it == events.end() ? nullptr : &it->second;
}

void checkOne(const std::string& strEvent, const EventSettings& settings, const EventSettings* pBefore,
              bool blInCatalogue, EventFindings& all) {
  EventFindings findings;
  if (!blInCatalogue) {
    findings = checkOwnEvent(strEvent, settings, pBefore);
  } else {
    findings.vecErrors = whyNotCatalogueEvent(strEvent, settings);
    if (findings.vecErrors.empty() && pBefore == nullptr) {
      findings.vecErrors.emplace_back("enabled: the unit that fires it is not installed");
    }
  }
  for (const std::string& strError : findings.vecErrors) {
    all.vecErrors.push_back(fmt::format("event \"{}\": {}", strEvent, strError));
  }
  for (const std::string& strWarning : findings.vecWarnings) {
    all.vecWarnings.push_back(fmt::format("event \"{}\": {}", strEvent, strWarning));
  }
}

}  // namespace

EventsByName eventsAfter(const EventsByName& before, const EventsByName& document, bool blPrune,
                         const std::map<std::string, Json::Value>& mapTasks) {
  const std::set<std::string> setCatalogue = catalogueNames();
  EventsByName after = before;
  if (blPrune) {
    std::erase_if(after, [&](const auto& event) { return setCatalogue.count(event.first) == 0; });
    for (const auto& [strTask, jTask] : mapTasks) {
      if (const auto it = before.find(textOf(jTask, "event")); it != before.end()) {
        after.insert(*it);
      }
    }
  }
  for (const auto& [strEvent, settings] : document) {
    // An event whose unit is not installed is disabled already.
    const bool blDisabled = setCatalogue.count(strEvent) > 0 && settings == EventSettings{{}, {}, false};
    if (!blDisabled || before.count(strEvent) > 0) {
      after[strEvent] = settings;
    }
  }
  return after;
}

std::vector<std::string> changedEvents(const EventsByName& before, const EventsByName& after) {
  std::set<std::string> setChanged;
  for (const auto& [strEvent, settings] : before) {
    if (const EventSettings* const pAfter = settingsIn(after, strEvent); pAfter == nullptr || *pAfter != settings) {
      setChanged.insert(strEvent);
    }
  }
  for (const auto& [strEvent, settings] : after) {
    if (before.count(strEvent) == 0) {
      setChanged.insert(strEvent);
    }
  }
  return {setChanged.begin(), setChanged.end()};
}

EventFindings checkEvents(const EventsByName& before, const EventsByName& after) {
  const std::set<std::string> setCatalogue = catalogueNames();
  EventFindings findings;
  for (const std::string& strEvent : changedEvents(before, after)) {
    if (const EventSettings* const pAfter = settingsIn(after, strEvent)) {
      checkOne(strEvent, *pAfter, settingsIn(before, strEvent), setCatalogue.count(strEvent) > 0, findings);
    }
  }
  return findings;
}

FileTexts eventFilesWith(const std::vector<std::string>& vecChanged, const EventsByName& after) {
  const std::set<std::string> setCatalogue = catalogueNames();
  EventsByName own = readOwnEvents();
  const EventsByName before = own;
  for (const std::string& strEvent : vecChanged) {
    if (const EventSettings* const pAfter = settingsIn(after, strEvent); pAfter == nullptr) {
      own.erase(strEvent);
    } else if (setCatalogue.count(strEvent) == 0) {
      own[strEvent] = *pAfter;
    }
  }
  return own == before ? FileTexts() : FileTexts{{OWN_EVENTS_PATH, ownEventsText(own)}};
}

std::map<std::string, std::string> unsettledEvents() {
  std::map<std::string, std::string> mapUnsettled;
  for (const TimerProblem& problem : timerProblems(readOwnEvents())) {
    mapUnsettled[problem.strEvent] =
        fmt::format("event \"{}\": {} {}", problem.strEvent, problem.strUnit, problem.text());
  }
  return mapUnsettled;
}

std::vector<std::string> switchUnits(const std::vector<std::string>& vecChanged, const EventsByName& before,
                                     const EventsByName& after) {
  std::vector<std::string> vecFailed;
  try {
    vecFailed = settleTimers(ConfigLock()).vecFailed;
  } catch (const Failure& error) {
    vecFailed.emplace_back(error.what());
  }
  const std::vector<Event> vecCatalogue = eventCatalogue();
  for (const std::string& strEvent : vecChanged) {
    const Event* const pEvent = findEvent(vecCatalogue, strEvent);
    if (pEvent == nullptr) {
      logEvent(after.count(strEvent) == 0    ? LogEvent::EVENT_REMOVED
               : before.count(strEvent) == 0 ? LogEvent::EVENT_ADDED
                                             : LogEvent::EVENT_CHANGED,
               strEvent);
      continue;
    }
    try {
      after.at(strEvent).blEnabled ? enableEvent(*pEvent) : disableEvent(*pEvent);
    } catch (const Failure& error) {
      vecFailed.push_back(fmt::format("event \"{}\": {}", strEvent, error.what()));
    }
  }
  return vecFailed;
}

}  // namespace Host

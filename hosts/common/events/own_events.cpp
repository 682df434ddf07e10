#include "own_events.h"

#include <fmt/format.h>
#include <json/value.h>
#include <optional>

#include "common/server/systemd_calendar.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "common/text/json_reader.h"
#include "common/text/name_rules.h"

namespace Host {

namespace {

constexpr char DESCRIPTION[] = "description";
constexpr char AT[] = "at";
constexpr char ENABLED[] = "enabled";

/// \return what is wrong; empty when nothing is. The file may come from a backup, so it is checked again.
std::string whyNotStored(const std::string& strEvent, const Json::Value& jEvent) {
  if (const std::string strWhy = whyNotEventName(strEvent); !strWhy.empty()) {
    return "its name " + strWhy;
  }
  const Json::Value& jAt = memberOf(jEvent, AT);
  if (!memberOf(jEvent, DESCRIPTION).isString() || !memberOf(jEvent, ENABLED).isBool() || !jAt.isArray()) {
    return fmt::format("it must have {}, {} and {}", AT, DESCRIPTION, ENABLED);
  }
  for (const Json::Value& jCalendar : jAt) {
    const std::string strCalendar = jCalendar.isString() ? jCalendar.asString() : std::string();
    if (const std::string strWhy = whyNotCalendarText(strCalendar); !strWhy.empty()) {
      return fmt::format("\"{}\" {}", strCalendar, strWhy);
    }
  }
  const std::string strWhy = whyNotDescription(textOf(jEvent, DESCRIPTION));
  return strWhy.empty() ? "" : "its description " + strWhy;
}

}  // namespace

EventsByName ownEventsFrom(const std::string& strText) {
  const Json::Value jEvents = readJson(strText);
  if (!jEvents.isObject()) {
    throw Failure("it is no JSON object");
  }
  EventsByName events;
  for (const std::string& strEvent : jEvents.getMemberNames()) {
    const Json::Value& jEvent = jEvents[strEvent];
    if (const std::string strWhy = whyNotStored(strEvent, jEvent); !strWhy.empty()) {
      throw Failure(fmt::format("event \"{}\": {}", strEvent, strWhy));
    }
    events[strEvent] = {textOf(jEvent, DESCRIPTION), textsOf(jEvent, AT), boolOf(jEvent, ENABLED)};
  }
  return events;
}

EventsByName readOwnEvents() {
  const std::optional<std::string> strText = readTextFile(OWN_EVENTS_PATH);
  try {
    return strText ? ownEventsFrom(*strText) : EventsByName();
  } catch (const Failure& error) {
    throw Failure(fmt::format("cannot read {}: {}", OWN_EVENTS_PATH, error.what()));
  }
}

std::string ownEventsText(const EventsByName& events) {
  Json::Value jEvents(Json::objectValue);
  for (const auto& [strEvent, settings] : events) {
    jEvents[strEvent] = objectOf(
        {{DESCRIPTION, settings.strDescription}, {AT, arrayOf(settings.vecAt)}, {ENABLED, settings.blEnabled}});
  }
  return jEvents.toStyledString();
}

}  // namespace Host

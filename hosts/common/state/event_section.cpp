#include "event_section.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

#include "common/events/event_catalogue.h"
#include "common/server/systemd_units.h"
#include "common/text/json_members.h"
#include "common/text/yaml_writer.h"

namespace Host {

namespace {

constexpr char DESCRIPTION[] = "description";
constexpr char AT[] = "at";
constexpr char ENABLED[] = "enabled";

/// The events of the catalogue that can be enabled here.
EventsByName switchableEvents(const std::vector<Event>& vecCatalogue) {
  std::vector<std::string> vecNames;
  std::vector<std::string> vecUnits;
  for (const Event& event : vecCatalogue) {
    if (!event.strUnit.empty()) {
      vecNames.push_back(event.strName);
      vecUnits.push_back(event.strUnit);
    }
  }
  const std::vector<UnitState> vecStates = unitStates(vecUnits);
  EventsByName events;
  for (std::size_t i = 0; i < vecNames.size(); ++i) {
    if (!vecStates[i].strInstalled.empty()) {
      events[vecNames[i]].blEnabled = vecStates[i].strInstalled == "enabled";
    }
  }
  return events;
}

/// An event as the document has it.
Json::Value eventForFile(const EventSettings& settings, bool blInCatalogue) {
  Json::Value jOut(Json::objectValue);
  if (!settings.strDescription.empty()) {
    jOut[DESCRIPTION] = settings.strDescription;
  }
  if (!settings.vecAt.empty()) {
    jOut[AT] = arrayOf(settings.vecAt);
  }
  if (blInCatalogue || !settings.blEnabled) {
    jOut[ENABLED] = settings.blEnabled;
  }
  return jOut;
}

std::string eventText(const std::string& strEvent, const Json::Value& jEvent) {
  std::string strText = fmt::format("  {}:{}\n", yamlScalar(strEvent), jEvent.empty() ? " {}" : "");
  if (jEvent.isMember(DESCRIPTION)) {
    strText += fmt::format("    {}: {}\n", DESCRIPTION, yamlScalar(jEvent[DESCRIPTION].asString()));
  }
  if (jEvent.isMember(AT)) {
    strText += fmt::format("    {}:\n", AT);
  }
  for (const std::string& strCalendar : textsOf(jEvent, AT)) {
    strText += fmt::format("      - {}\n", yamlScalar(strCalendar));
  }
  if (jEvent.isMember(ENABLED)) {
    strText += fmt::format("    {}: {}\n", ENABLED, jEvent[ENABLED].asBool());
  }
  return strText;
}

bool areTexts(const Json::Value& jValues) {
  return jValues.isArray() &&
         std::all_of(jValues.begin(), jValues.end(), [](const Json::Value& jValue) { return jValue.isString(); });
}

/// \return what is wrong; empty when nothing is.
std::string whyNotEvent(const Json::Value& jEvent) {
  if (!jEvent.isObject() && !jEvent.isNull()) {
    return fmt::format("must have members: {}, {}, {}", DESCRIPTION, AT, ENABLED);
  }
  for (const std::string& strMember : jEvent.getMemberNames()) {
    if (strMember != DESCRIPTION && strMember != AT && strMember != ENABLED) {
      return fmt::format("unknown member \"{}\"; the members are {}, {}, {}", strMember, DESCRIPTION, AT, ENABLED);
    }
  }
  if (const Json::Value& jText = memberOf(jEvent, DESCRIPTION); !jText.isNull() && !jText.isString()) {
    return fmt::format("{} must be a text", DESCRIPTION);
  }
  if (const Json::Value& jAt = memberOf(jEvent, AT); !jAt.isNull() && !jAt.isString() && !areTexts(jAt)) {
    return fmt::format("{} must be a list of texts, as in [\"Mon..Fri 22:30\"]", AT);
  }
  if (const Json::Value& jEnabled = memberOf(jEvent, ENABLED); !jEnabled.isNull() && !jEnabled.isBool()) {
    return fmt::format("{} must be true or false", ENABLED);
  }
  return {};
}

EventSettings eventFrom(const Json::Value& jEvent) {
  const std::string strAt = textOf(jEvent, AT);
  return {textOf(jEvent, DESCRIPTION), strAt.empty() ? textsOf(jEvent, AT) : std::vector{strAt},
          boolOf(jEvent, ENABLED, true)};
}

}  // namespace

EventsByName currentEvents(const std::map<std::string, Json::Value>& mapTasks) {
  const std::vector<Event> vecCatalogue = eventCatalogue();
  EventsByName events = switchableEvents(vecCatalogue);
  for (const auto& [strEvent, settings] : readOwnEvents()) {
    if (findEvent(vecCatalogue, strEvent) == nullptr) {
      events[strEvent] = settings;
    }
  }
  for (const auto& [strTask, jTask] : mapTasks) {
    // Another program may have stored a task without an event.
    const std::string strEvent = textOf(jTask, "event");
    if (!strEvent.empty() && findEvent(vecCatalogue, strEvent) == nullptr) {
      events.try_emplace(strEvent);
    }
  }
  return events;
}

Json::Value eventSectionJson(const EventsByName& events) {
  Json::Value jSection(Json::objectValue);
  const std::set<std::string> setCatalogue = events.empty() ? std::set<std::string>() : catalogueNames();
  for (const auto& [strEvent, settings] : events) {
    jSection[strEvent] = eventForFile(settings, setCatalogue.count(strEvent) > 0);
  }
  return jSection;
}

std::string eventSectionText(const EventsByName& events) {
  const Json::Value jSection = eventSectionJson(events);
  std::string strText = events.empty() ? "events: {}\n" : "events:\n";
  for (const std::string& strEvent : jSection.getMemberNames()) {
    strText += eventText(strEvent, jSection[strEvent]);
  }
  return strText;
}

EventsByName readEventSection(const Json::Value& jSection, std::vector<std::string>& vecErrors) {
  EventsByName events;
  if (!jSection.isObject() && !jSection.isNull()) {
    vecErrors.emplace_back("events: must be a list of names and events, as in NAME: {at: [daily]}");
    return events;
  }
  for (const std::string& strEvent : jSection.getMemberNames()) {
    const Json::Value& jEvent = jSection[strEvent];
    if (const std::string strWhy = whyNotEvent(jEvent); !strWhy.empty()) {
      vecErrors.push_back(fmt::format("event \"{}\": {}", strEvent, strWhy));
    } else {
      events[strEvent] = eventFrom(jEvent);
    }
  }
  return events;
}

}  // namespace Host

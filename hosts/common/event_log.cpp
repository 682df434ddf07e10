#include "event_log.h"

#include <algorithm>
#include <deque>
#include <filesystem>
#include <fmt/format.h>
#include <json/reader.h>
#include <memory>
#include <set>
#include <sstream>

#include "json_read.h"
#include "replace_file.h"

namespace Host {

namespace {

constexpr char EVENT_FILE[] = "/var/log/orva/event.jsonl";
constexpr char CATALOGUE_FOLDER[] = "/usr/orva/share/log";
constexpr char ENGLISH[] = "enu";
constexpr int FILES_KEPT = 5;

Json::Value parse(const std::string& strText) {
  static const std::unique_ptr<Json::CharReader> pReader(Json::CharReaderBuilder().newCharReader());
  Json::Value jValue;
  try {
    return pReader->parse(strText.data(), strText.data() + strText.size(), &jValue, nullptr) ? jValue : Json::Value();
  } catch (const Json::Exception&) {
    return {};
  }
}

/// The texts of every code.
Json::Value loadCatalogue() {
  Json::Value jCatalogue(Json::objectValue);
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(CATALOGUE_FOLDER, error)) {
    const Json::Value jFile =
        entry.path().extension() == ".json" ? parse(readTextFile(entry.path()).value_or("")) : Json::Value();
    for (const std::string& strCode : jFile.isObject() ? jFile.getMemberNames() : std::vector<std::string>()) {
      jCatalogue[strCode] = jFile[strCode];
    }
  }
  return jCatalogue;
}

std::string filledIn(const std::string& strText, const Json::Value& jArgs) {
  std::string strFilled;
  for (std::size_t i = 0; i < strText.size(); ++i) {
    const bool blPlace = strText[i] == '%' && i + 1 < strText.size() && strText[i + 1] >= '1' && strText[i + 1] <= '4';
    if (!blPlace) {
      strFilled += strText[i];
      continue;
    }
    const auto iArg = static_cast<Json::ArrayIndex>(strText[++i] - '1');
    strFilled += jArgs.isArray() && iArg < jArgs.size() && jArgs[iArg].isString() ? jArgs[iArg].asString() : "";
  }
  return strFilled;
}

/// A code without a text is shown with its arguments.
std::string textOfEvent(const Json::Value& jCatalogue, const Json::Value& jEvent, const std::string& strLanguage) {
  const Json::Value& jTexts = memberOf(jCatalogue, textOf(jEvent, "code").c_str());
  std::string strText = textOf(jTexts, strLanguage.c_str());
  strText = strText.empty() ? textOf(jTexts, ENGLISH) : strText;
  const Json::Value& jArgs = memberOf(jEvent, "args");
  return strText.empty() ? filledIn("%1 %2 %3 %4", jArgs) : filledIn(strText, jArgs);
}

bool isEvent(const Json::Value& jEvent) {
  return jEvent.isObject() && memberOf(jEvent, "time").isInt64() && memberOf(jEvent, "code").isString();
}

class Collector {
public:
  explicit Collector(const EventLogQuery& query) : m_query(query) {}

  /// Adds the events of a file before those that there are already.
  /// \return false when older files need not be looked at.
  bool addOlder(const std::string& strContent) {
    std::deque<Json::Value> queue;
    std::istringstream in(strContent);
    bool blOlder = true;
    for (std::string strLine; std::getline(in, strLine);) {
      const Json::Value jEvent = parse(strLine);
      if (!isEvent(jEvent)) {
        ++m_cUnreadable;
      } else if (m_query.since && jEvent["time"].asInt64() < *m_query.since) {
        blOlder = false;
      } else {
        queue.push_back(jEvent);
      }
    }
    m_events.insert(m_events.begin(), queue.begin(), queue.end());
    while (m_query.cLines != 0 && m_events.size() > m_query.cLines) {
      m_events.pop_front();
    }
    return blOlder && (m_query.cLines == 0 || m_events.size() < m_query.cLines);
  }

  std::vector<Json::Value> take() { return {m_events.begin(), m_events.end()}; }
  std::size_t unreadable() const { return m_cUnreadable; }

private:
  const EventLogQuery& m_query;
  std::deque<Json::Value> m_events;
  std::size_t m_cUnreadable = 0;
};

}  // namespace

std::vector<Json::Value> readEventLog(const EventLogQuery& query, std::size_t& cUnreadable) {
  Collector collector(query);
  bool blOlder = collector.addOlder(readTextFile(EVENT_FILE).value_or(""));
  for (int i = 1; i <= FILES_KEPT && blOlder; ++i) {
    blOlder = collector.addOlder(readTextFile(fmt::format("{}.{}", EVENT_FILE, i)).value_or(""));
  }
  cUnreadable = collector.unreadable();
  std::vector<Json::Value> vecEvents = collector.take();
  const Json::Value jCatalogue = loadCatalogue();
  for (Json::Value& jEvent : vecEvents) {
    jEvent["text"] = textOfEvent(jCatalogue, jEvent, query.strLanguage);
  }
  return vecEvents;
}

std::vector<std::string> eventLanguages() {
  std::set<std::string> setLanguages;
  const Json::Value jCatalogue = loadCatalogue();
  for (const Json::Value& jTexts : jCatalogue) {
    for (const std::string& strMember : jTexts.isObject() ? jTexts.getMemberNames() : std::vector<std::string>()) {
      if (strMember != "message_id") {
        setLanguages.insert(strMember);
      }
    }
  }
  return {setLanguages.begin(), setLanguages.end()};
}

}  // namespace Host

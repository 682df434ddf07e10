#include "state_document.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <optional>

#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/tasks/dependency_list.h"
#include "common/tasks/task_members.h"
#include "common/tasks/task_request.h"
#include "common/text/base64.h"
#include "common/text/json_members.h"
#include "common/text/json_reader.h"
#include "common/text/json_utf8.h"
#include "common/text/suggestion.h"
#include "common/text/yaml_reader.h"
#include "common/text/yaml_writer.h"
#include "document_members.h"
#include "event_section.h"

namespace Host {

namespace {

constexpr int VERSION = 1;
constexpr char WAITS_FOR[] = "waits_for";
constexpr char SCRIPT[] = "script";
constexpr char SCRIPT_BASE64[] = "script_base64";

/// The members of a task in the document, in its order.
constexpr std::array<const char*, 22> MEMBER_ORDER = {
    "event",       "owner",    WAITS_FOR,  "enabled",      "description",   "time_limit",         "output_limit",
    "directory",   "nice",     "io_class", "memory_limit", "environment",   "only_after_success", "retry",
    "retry_after", "parallel", "mail",     "send_mail",    "mail_if_error", "operation_type",     SCRIPT,
    SCRIPT_BASE64};

/// A record in the form of the user interface, with defaults, so that equal tasks are equal records.
Json::Value inOneForm(Json::Value jTask) {
  fillDefaults(jTask);
  if (textOf(jTask, "description").empty()) {
    jTask.removeMember("description");
  }
  if (memberOf(jTask, "output_limit").isNull()) {
    jTask.removeMember("output_limit");
  }
  return jTask;
}

// --- writing ---------------------------------------------------------------------------------------------------

/// The owner by name, or by uid when no name is known any more.
Json::Value ownerForFile(const Json::Value& jTask) {
  std::string strUid;
  const std::string strName = ownerName(memberOf(jTask, "owner"), strUid);
  if (strUid.empty()) {
    return {};
  }
  const bool blNumber = strUid.find_first_not_of("0123456789") == std::string::npos;
  return strName.empty() && blNumber ? Json::Value(static_cast<Json::Int64>(std::stoll(strUid)))
                                     : Json::Value(strName.empty() ? strUid : strName);
}

/// A task as the document has it.
Json::Value taskForFile(const std::string& strTask, const Json::Value& jTask) {
  Json::Value jOut = documentMembers(jTask);
  jOut["event"] = textOf(jTask, "event");
  jOut["owner"] = ownerForFile(jTask);
  for (const std::string& strAwaited : readDependencyList(textOf(jTask, "depend_on_task"))) {
    jOut[WAITS_FOR].append(strAwaited);
  }
  const std::string strScript = textOf(jTask, "operation");
  jOut[isUtf8(strScript) ? SCRIPT : SCRIPT_BASE64] = isUtf8(strScript) ? strScript : toBase64(strScript);
  for (const std::string& strMember : jOut.getMemberNames()) {
    if (!isAllUtf8(jOut[strMember])) {
      throw Failure(fmt::format("cannot export the task \"{}\": its {} is not UTF-8", strTask, strMember));
    }
  }
  return jOut;
}

/// The text behind "MEMBER:".
std::string memberText(const std::string& strMember, const Json::Value& jValue) {
  if (strMember == SCRIPT) {
    return " " + yamlBlock(jValue.asString(), 6);
  }
  if (jValue.isObject()) {
    std::string strText = "\n";
    for (const std::string& strName : jValue.getMemberNames()) {
      strText += fmt::format("      {}: {}\n", yamlScalar(strName), yamlScalar(jValue[strName].asString()));
    }
    return strText;
  }
  if (jValue.isArray()) {
    std::vector<std::string> vecItems;
    std::transform(jValue.begin(), jValue.end(), std::back_inserter(vecItems),
                   [](const Json::Value& jItem) { return yamlScalar(jItem.asString()); });
    return fmt::format(" [{}]\n", fmt::join(vecItems, ", "));
  }
  return fmt::format(" {}\n", jValue.isString()
                                  ? yamlScalar(jValue.asString())
                                  : jValue.toStyledString().substr(0, jValue.toStyledString().find('\n')));
}

std::string taskText(const std::string& strTask, const Json::Value& jTask) {
  std::string strText = fmt::format("  {}:\n", yamlScalar(strTask));
  for (const char* szMember : MEMBER_ORDER) {
    if (jTask.isMember(szMember)) {
      strText += fmt::format("    {}:{}", szMember, memberText(szMember, jTask[szMember]));
    }
  }
  return strText;
}

/// Numbers are written as numbers, for other programs.
Json::Value configForFile(const std::string& strText) {
  const bool blNumber = !strText.empty() && strText.size() < 18 &&
                        strText.find_first_not_of("0123456789") == std::string::npos &&
                        (strText == "0" || strText.front() != '0');
  return blNumber ? Json::Value(static_cast<Json::Int64>(std::stoll(strText))) : Json::Value(strText);
}

// --- reading ---------------------------------------------------------------------------------------------------

class StateReader {
public:
  explicit StateReader(std::vector<std::string>& vecErrors) : m_vecErrors(vecErrors) {}

  StateDocument read(const Json::Value& jDocument) {
    if (!jDocument.isObject()) {
      error("the document", "must have the members version, configuration, events and tasks");
      return {};
    }
    refuseUnknown("the document", jDocument, {"version", "configuration", "events", "tasks"});
    if (intOf(jDocument, "version", -1) != VERSION) {
      error("version", fmt::format("must be {}", VERSION));
    }
    readConfig(memberOf(jDocument, "configuration"));
    m_state.blEvents = !memberOf(jDocument, "events").isNull();
    m_state.events = readEventSection(memberOf(jDocument, "events"), m_vecErrors);
    const Json::Value& jTasks = memberOf(jDocument, "tasks");
    m_state.blTasks = !jTasks.isNull();
    if (!jTasks.isNull() && !jTasks.isObject()) {
      error("tasks", "must be a list of names and tasks, as in NAME: {event: ...}");
      return std::move(m_state);
    }
    for (const std::string& strTask : jTasks.isObject() ? jTasks.getMemberNames() : std::vector<std::string>()) {
      readTask(strTask, jTasks[strTask]);
    }
    return std::move(m_state);
  }

private:
  void error(const std::string& strWhere, const std::string& strWhy) {
    m_vecErrors.push_back(fmt::format("{}: {}", strWhere, strWhy));
  }

  void refuseUnknown(const std::string& strWhere, const Json::Value& jObject,
                     const std::vector<std::string>& vecKnown) {
    for (const std::string& strMember : jObject.getMemberNames()) {
      if (std::find(vecKnown.begin(), vecKnown.end(), strMember) == vecKnown.end()) {
        error(strWhere, fmt::format("unknown member \"{}\"; the members are {}{}", strMember, fmt::join(vecKnown, ", "),
                                    didYouMean(strMember, vecKnown)));
      }
    }
  }

  void readConfig(const Json::Value& jConfig) {
    if (!jConfig.isNull() && !jConfig.isObject()) {
      error("configuration", "must be a list of settings, as in SETTING: VALUE");
      return;
    }
    for (const std::string& strKey : jConfig.isObject() ? jConfig.getMemberNames() : std::vector<std::string>()) {
      const Json::Value& jValue = jConfig[strKey];
      if (jValue.isBool()) {
        m_state.config[strKey] = jValue.asBool() ? "yes" : "no";
      } else if (jValue.isString() || jValue.isInt64()) {
        m_state.config[strKey] = jValue.asString();
      } else {
        error("configuration", fmt::format("{} must be a text or a number", strKey));
      }
    }
  }

  void readTask(const std::string& strTask, const Json::Value& jTyped) {
    const std::string strWhere = fmt::format("task \"{}\"", strTask);
    if (!jTyped.isObject()) {
      error(strWhere, "must have at least event, owner and script");
      return;
    }
    std::vector<std::string> vecWhy;
    const Json::Value jFile = withPresentNames(jTyped, vecWhy);
    for (const std::string& strWhy : vecWhy) {
      error(strWhere, strWhy);
    }
    refuseUnknown(strWhere, jFile, {MEMBER_ORDER.begin(), MEMBER_ORDER.end()});
    Json::Value jTask = recordMembers(jFile);
    jTask["task_name"] = strTask;
    if (jFile.isMember("event")) {
      jTask["event"] = jFile["event"];
    }
    readOwner(strWhere, memberOf(jFile, "owner"), jTask);
    readWaitsFor(strWhere, memberOf(jFile, WAITS_FOR), jTask);
    readScript(strWhere, jFile, jTask);
    m_state.mapTasks[strTask] = inOneForm(jTask);
  }

  void readOwner(const std::string& strWhere, const Json::Value& jOwner, Json::Value& jTask) {
    if (!jOwner.isString() && !jOwner.isInt64()) {
      error(strWhere, jOwner.isNull() ? "owner is missing" : "owner must be the name or the id of a user");
      return;
    }
    jTask["owner"] = ownerFrom(jOwner.asString());
  }

  void readWaitsFor(const std::string& strWhere, const Json::Value& jWaitsFor, Json::Value& jTask) {
    std::vector<std::string> vecWaitsFor;
    const bool blTexts =
        jWaitsFor.isNull() ||
        (jWaitsFor.isArray() && std::all_of(jWaitsFor.begin(), jWaitsFor.end(), [](const Json::Value& jAwaited) {
           return jAwaited.isString() || jAwaited.isInt64();
         }));
    if (!blTexts) {
      error(strWhere, fmt::format("{} must be a list of names", WAITS_FOR));
      return;
    }
    for (const Json::Value& jAwaited : jWaitsFor) {
      vecWaitsFor.push_back(jAwaited.asString());
    }
    jTask["depend_on_task"] = writeDependencyList(vecWaitsFor);
  }

  void readScript(const std::string& strWhere, const Json::Value& jFile, Json::Value& jTask) {
    const bool blText = jFile.isMember(SCRIPT);
    if (blText == jFile.isMember(SCRIPT_BASE64)) {
      error(strWhere, blText ? "has both script and script_base64" : "script is missing");
      return;
    }
    const Json::Value& jScript = jFile[blText ? SCRIPT : SCRIPT_BASE64];
    const std::optional<std::string> strScript =
        blText || !jScript.isString() ? std::optional(jScript.isString() ? jScript.asString() : std::string())
                                      : fromBase64(jScript.asString());
    if (!jScript.isString() || !strScript) {
      error(strWhere, fmt::format("{} must be {}", blText ? SCRIPT : SCRIPT_BASE64, blText ? "a text" : "base64"));
      return;
    }
    jTask["operation"] = *strScript;
  }

  std::vector<std::string>& m_vecErrors;
  StateDocument m_state;
};

}  // namespace

bool operator==(const StateDocument& left, const StateDocument& right) {
  return left.config == right.config && left.events == right.events && left.mapTasks == right.mapTasks;
}

StateDocument currentState(Session& session) {
  StateDocument state;
  state.config = configValues();
  for (const Json::Value& jStored : listTasks(session)) {
    state.mapTasks[textOf(jStored, "task_name")] = inOneForm(requestOf(jStored));
  }
  state.events = currentEvents(state.mapTasks);
  return state;
}

StateDocument currentState() {
  const OpenStore session;
  return currentState(session);
}

Json::Value stateJson(const StateDocument& state) {
  Json::Value jDocument(Json::objectValue);
  jDocument["version"] = VERSION;
  jDocument["configuration"] = Json::Value(Json::objectValue);
  for (const auto& [strKey, strValue] : state.config) {
    if (!strValue.empty()) {
      jDocument["configuration"][strKey] = configForFile(strValue);
    }
  }
  jDocument["events"] = eventSectionJson(state.events);
  jDocument["tasks"] = Json::Value(Json::objectValue);
  for (const auto& [strTask, jTask] : state.mapTasks) {
    jDocument["tasks"][strTask] = taskForFile(strTask, jTask);
  }
  return jDocument;
}

std::string stateText(const StateDocument& state) {
  std::string strText = fmt::format("version: {}\nconfiguration:\n", VERSION);
  for (const std::string& strKey : configKeys()) {
    const auto itValue = state.config.find(strKey);
    if (itValue != state.config.end() && !itValue->second.empty()) {
      strText += fmt::format("  {}:{}", strKey, memberText(strKey, configForFile(itValue->second)));
    }
  }
  strText += eventSectionText(state.events);
  strText += state.mapTasks.empty() ? "tasks: {}\n" : "tasks:\n";
  for (const auto& [strTask, jTask] : state.mapTasks) {
    strText += taskText(strTask, taskForFile(strTask, jTask));
  }
  return strText + "...\n";
}

StateDocument readState(const std::string& strText, std::vector<std::string>& vecErrors) {
  const std::size_t iFirst = strText.find_first_not_of(" \t\r\n");
  const bool blJson = iFirst != std::string::npos && strText[iFirst] == '{';
  return StateReader(vecErrors).read(blJson ? readJson(strText) : readYaml(strText));
}

}  // namespace Host

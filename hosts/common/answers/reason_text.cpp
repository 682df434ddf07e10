#include "reason_text.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <string_view>

#include "command_text.h"
#include "common/text/amounts.h"
#include "common/text/json_members.h"
#include "common/text/shell_word.h"

namespace Host {

namespace {

struct Words {
  std::string_view strCode;
  std::string_view strShort;
  std::string_view strText;
  std::string_view strAdvice;  ///< each name in it is a word of the shell
  std::string (*fnAdvice)(const std::string& strTask, const Reason& reason) = nullptr;  ///< in place of strAdvice
};

std::string enableTask(const std::string& strTask, const Reason& reason) {
  return eorvaCommand("task enable", {reason.strOther.empty() ? strTask : reason.strOther});
}

std::string setOwner(const std::string& strTask, const Reason& reason) {
  return ownerCommand(strTask, textOf(reason.jDetails, "user"));
}

std::string waitForTheRest(const std::string& strTask, const Reason& reason) {
  return waitsForCommand(strTask, textsOf(reason.jDetails, "needs"));
}

std::string moveOther(const std::string&, const Reason& reason) {
  return eorvaCommand("task edit", {reason.strOther}, optionText("--event", textOf(reason.jDetails, "event")));
}

std::string explainOther(const std::string&, const Reason& reason) {
  return eorvaCommand("explain", {reason.strOther});
}

std::string listRunsOf(const std::string& strTask, const Reason&) {
  return eorvaCommand("runs list", {}, optionText("--task", strTask));
}

/// The code "unknown" has a row for each cause.
constexpr auto WORDS = std::to_array<Words>({
    {"disabled", "disabled", "{is} disabled", "", &enableTask},
    {"no_owner", "no owner", "{has} no owner: {problem}", "", &setOwner},
    {"malformed", "damaged dependency list", "{has} a dependency list that cannot be read, \"{list}\"", "",
     &waitForTheRest},
    {"missing", "waits for a missing task", "{waits} \"{other}\", and there {is} no such task", "", &waitForTheRest},
    {"circle", "waits for itself", "{waits} \"{other}\", which {waits} it, too", "", &waitForTheRest},
    {"other_event", "waits for another event", "{waits} \"{other}\", which {belongs} to the event \"{other_event}\"",
     "", &moveOther},
    {"need_disabled", "waits for {other}, disabled", "{waits} \"{other}\", which {is} disabled", "", &enableTask},
    {"need_blocked", "waits for {other}", "{waits} \"{other}\", which {is} not started", "", &explainOther},
    {"running", "already running", "is running (process {processes}), and allows only one run at a time", "",
     &listRunsOf},
    {"unsafe", "not safe", "cannot be run safely: {problem}", "eorva check"},
    {"need_not_started", "waited for {other}", "waited for \"{other}\", which was not started", "", &explainOther},
    {"need_running", "{other} still running", "waits for \"{other}\", which is still running (run {run})",
     "eorva runs show {run}"},
    {"need_interrupted", "{other} interrupted", "waited for \"{other}\", which was interrupted (run {run})",
     "eorva runs show {run}"},
    {"need_retry", "{other} tried again",
     "waits for \"{other}\", which failed (run {run}) and is tried again at {time}", "eorva runs show {run}"},
    {"need_failed", "{other} failed", "starts only after a success of \"{other}\", which failed (run {run})",
     "eorva runs show {run}"},
    {"refused", "already running", "was refused: its run {run} was still running, and it allows only one run at a time",
     "eorva runs show {run}"},
    {"waiting", "still to start", "has not been started yet: the execution is still running", ""},
    {"budget", "out of time", "was not started: the time budget of the event was used up", "eorva config show"},
    {"interrupted", "interrupted", "was not started: the execution was interrupted during run {run} of \"{task}\"",
     "eorva runs show {run}"},
    {"not_there", "not in the event", "did not exist then, or did not belong to the event \"{event}\"", ""},
    {"not_fired", "event failed", "was not started, like all tasks of the event: {problem}", "eorva check"},
    {"unknown failed", "not startable", "could not be started", "journalctl -t eorva"},
    {"unknown not_remembered", "reason unknown",
     "was perhaps added, enabled or changed later, or could not be started, or its run was deleted",
     "journalctl -t eorva"},
    {"unknown run_deleted", "run deleted", "was started, but the record of its run was deleted later", ""},
});

const Words* wordsOf(const Reason& reason) {
  const std::string strCause = textOf(reason.jDetails, "cause");
  const std::string strCode = strCause.empty() ? reason.strCode : fmt::format("{} {}", reason.strCode, strCause);
  const auto it =
      std::find_if(WORDS.begin(), WORDS.end(), [&](const Words& words) { return words.strCode == strCode; });
  return it == WORDS.end() ? nullptr : &*it;
}

std::string plainText(const Json::Value& jMember) {
  if (!jMember.isArray()) {
    return jMember.isObject() ? std::string() : jMember.asString();
  }
  std::vector<std::string> vecTexts;
  for (const Json::Value& jItem : jMember) {
    vecTexts.push_back(plainText(jItem));
  }
  return fmt::format("{}", fmt::join(vecTexts, ", "));
}

template <typename Form>
std::string filledWith(std::string_view strText, const Json::Value& jMembers, Form form) {
  std::string strOut;
  for (;;) {
    const std::size_t iOpen = strText.find('{');
    const std::size_t iClose = strText.find('}', iOpen);
    if (iClose == std::string_view::npos) {
      return strOut += strText;
    }
    strOut += strText.substr(0, iOpen);
    strOut += form(memberOf(jMembers, std::string(strText.substr(iOpen + 1, iClose - iOpen - 1)).c_str()));
    strText.remove_prefix(iClose + 1);
  }
}

/// All values that the texts may name.
Json::Value membersOf(const Reason& reason) {
  const bool blThen = boolOf(reason.jDetails, "then");
  Json::Value jMembers = reason.jDetails;
  jMembers["other"] = reason.strOther;
  jMembers["time"] = timeText(intOf(reason.jDetails, "at"));
  jMembers["is"] = blThen ? "was" : "is";
  jMembers["has"] = blThen ? "had" : "has";
  jMembers["waits"] = blThen ? "waited for" : "waits for";
  jMembers["belongs"] = blThen ? "belonged" : "belongs";
  return jMembers;
}

}  // namespace

std::string filledIn(std::string_view strText, const Json::Value& jMembers) {
  return filledWith(strText, jMembers, &plainText);
}

std::string filledInCommand(std::string_view strCommand, const Json::Value& jMembers) {
  return filledWith(strCommand, jMembers, [](const Json::Value& jMember) { return shellWord(plainText(jMember)); });
}

std::string reasonText(const Reason& reason) {
  const Words* const pWords = wordsOf(reason);
  // Older versions stored the words themselves.
  return pWords == nullptr || reason.jDetails.isMember("text") ? textOf(reason.jDetails, "text")
                                                               : filledIn(pWords->strText, membersOf(reason));
}

std::string reasonWord(const Reason& reason) {
  const Words* const pWords = wordsOf(reason);
  return pWords == nullptr ? reasonText(reason) : filledIn(pWords->strShort, membersOf(reason));
}

std::string reasonAdvice(const std::string& strTask, const Reason& reason) {
  const Words* const pWords = wordsOf(reason);
  if (pWords == nullptr || reason.jDetails.isMember("advice") || !reason.blNeedsAction) {
    return reason.blNeedsAction ? textOf(reason.jDetails, "advice") : std::string();
  }
  return pWords->fnAdvice != nullptr ? pWords->fnAdvice(strTask, reason)
                                     : filledInCommand(pWords->strAdvice, membersOf(reason));
}

Json::Value reasonForPrograms(const std::string& strTask, const Reason& reason) {
  return objectOf({{"code", reason.strCode},
                   {"text", reasonText(reason)},
                   {"advice", reasonAdvice(strTask, reason)},
                   {"other_task", reason.strOther.empty() ? Json::Value() : Json::Value(reason.strOther)}});
}

Json::Value reasonsForPrograms(const std::string& strTask, const std::vector<Reason>& vecReasons) {
  return arrayOf(vecReasons, [&](const Reason& reason) { return reasonForPrograms(strTask, reason); });
}

}  // namespace Host

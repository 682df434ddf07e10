/// The document of a server's state, complete and incomplete.

#include "common/state/state_document.h"

#include <gtest/gtest.h>

#include "common/support/failure.h"
#include "common/tasks/task_members.h"
#include "fresh_host.h"

using namespace Host;

namespace {

/// A task of root, who is there on every machine.
Json::Value taskOf(const std::string& strTask, const std::string& strScript, const std::string& strNeeds) {
  Json::Value jTask(Json::objectValue);
  jTask["task_name"] = strTask;
  jTask["event"] = "daily";
  jTask["owner"]["0"] = "root";
  jTask["depend_on_task"] = strNeeds;
  jTask["operation"] = strScript;
  jTask["time_limit"] = 60;
  fillDefaults(jTask);
  return jTask;
}

/// Scripts that have the end mark in them, that end in the middle of a line, and that are no text.
StateDocument smallState() {
  StateDocument state;
  state.config["retention_runs"] = "7";
  state.mapTasks["check"] = taskOf("check", "#!/bin/sh\ncat <<END\n...\nEND\n...\n\n", "");
  state.mapTasks["latin"] = taskOf("latin", "echo \374\n", "[check]");
  state.mapTasks["pack"] = taskOf("pack", "tar -c /srv/a\ntar -c /srv/b", "[check][latin]");
  state.mapTasks["pack"]["description"] = "waits for: \"...\"";
  state.mapTasks["pack"]["directory"] = "/srv";
  state.mapTasks["pack"]["nice"] = -5;
  state.mapTasks["pack"]["io_class"] = "best-effort:7";
  state.mapTasks["pack"]["memory_limit"] = 67108864;
  state.mapTasks["pack"]["environment"]["NO"] = "a, \"b\": 1\n...";
  state.mapTasks["pack"]["environment"]["Size"] = "8";
  return state;
}

/// Reads what came through. \return false when it is refused.
bool isTaken(const std::string& strText, StateDocument& state) {
  std::vector<std::string> vecErrors;
  try {
    state = readState(strText, vecErrors);
  } catch (const Failure&) {
    return false;
  }
  return vecErrors.empty();
}

/// Cuts a document off at every byte. \return how many of the pieces are refused.
std::size_t refusedPieces(const std::string& strWhole, const StateDocument& state) {
  std::size_t cRefused = 0;
  for (std::size_t cb = 0; cb < strWhole.size(); ++cb) {
    StateDocument piece;
    const bool blTaken = isTaken(strWhole.substr(0, cb), piece);
    EXPECT_TRUE(!blTaken || piece == state) << "taken as whole:\n" << strWhole.substr(0, cb);
    cRefused += blTaken ? 0 : 1;
  }
  return cRefused;
}

std::string whyRefused(const std::string& strText) {
  std::vector<std::string> vecErrors;
  try {
    readState(strText, vecErrors);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return {};
}

}  // namespace

TEST(StateDocument, ComesBackAsItWent) {
  StateDocument state;
  ASSERT_TRUE(isTaken(stateText(smallState()), state));
  EXPECT_TRUE(state == smallState());
}

TEST(StateDocument, HasTheEvents) {
  HostTest::freshHost();
  StateDocument written = smallState();
  written.events = {{"daily", {"", {}, false}},
                    {"nightly", {"At: \"night\"", {"Mon,Tue *-*-* 22:30", "*:0/15", "daily"}, false}},
                    {"in box", {}}};
  StateDocument read;
  ASSERT_TRUE(isTaken(stateText(written), read));
  EXPECT_TRUE(read == written) << stateText(read);
  ASSERT_TRUE(isTaken(stateJson(written).toStyledString(), read));
  EXPECT_TRUE(read == written) << stateText(read);
}

namespace {

/// The document of a task with these members.
std::string documentWith(const std::string& strMembers) {
  return "version: 1\ntasks:\n  a:\n    event: daily\n    owner: root\n    script: exit\n" + strMembers + "...\n";
}

/// The task of that document.
Json::Value readTask(const std::string& strMembers) {
  StateDocument state;
  EXPECT_TRUE(isTaken(documentWith(strMembers), state)) << strMembers;
  return state.mapTasks["a"];
}

}  // namespace

TEST(StateDocument, HasTheNamesOfTheOptions) {
  StateDocument state;
  Json::Value& jTask = state.mapTasks["a"] = taskOf("a", "exit\n", "[b]");
  jTask["time_limit"] = 5400;
  jTask["enable"] = false;
  jTask["run_the_same_time"] = true;
  jTask["retries"] = 2;
  jTask["retry_after"] = 90;
  jTask["notify_enable"] = true;
  jTask["notify_mail"] = "alice";
  jTask["notify_if_error"] = true;
  EXPECT_EQ(stateText(state), R"(version: 1
configuration:
events: {}
tasks:
  a:
    event: daily
    owner: root
    waits_for: [b]
    enabled: false
    time_limit: 1h30m
    retry: 2
    retry_after: 1m30s
    parallel: true
    mail: alice
    mail_if_error: true
    script: |
      exit
...
)");
  StateDocument read;
  ASSERT_TRUE(isTaken(stateText(state), read));
  EXPECT_TRUE(read == state);
}

TEST(StateDocument, KeepsWhetherATaskSendsMail) {
  for (const auto& [szMail, blSends] : {std::pair{"", false}, {"", true}, {"root", false}, {"root", true}}) {
    StateDocument state;
    state.mapTasks["a"] = taskOf("a", "exit", "");
    state.mapTasks["a"]["notify_mail"] = szMail;
    state.mapTasks["a"]["notify_enable"] = blSends;
    StateDocument read;
    ASSERT_TRUE(isTaken(stateText(state), read));
    EXPECT_TRUE(read == state) << stateText(state);
  }
}

TEST(StateDocument, AmountsHaveUnits) {
  EXPECT_EQ(readTask("    time_limit: 1m\n    memory_limit: 64M\n    output_limit: 1G\n"),
            readTask("    time_limit: 60\n    memory_limit: 67108864\n    output_limit: 1073741824\n"));
}

TEST(StateDocument, FormerNamesAreRead) {
  const std::pair<const char*, const char*> names[] = {
      {"enable: false", "enabled: false"},
      {"retries: 2", "retry: 2"},
      {"run_the_same_time: true", "parallel: true"},
      {"notify_if_error: true", "mail_if_error: true"},
      {"after: [b]", "waits_for: [b]"},
      {"notify_mail: root", "mail: root\n    send_mail: false"},
      {"notify_mail: root\n    notify_enable: true", "mail: root"},
  };
  const Json::Value jPlain = readTask("");
  for (const auto& [strFormer, strPresent] : names) {
    const Json::Value jTask = readTask(std::string("    ") + strPresent + "\n");
    EXPECT_NE(jTask, jPlain) << strPresent;
    EXPECT_EQ(readTask(std::string("    ") + strFormer + "\n"), jTask) << strFormer;
  }
}

TEST(StateDocument, TwoNamesOfAMemberAreRefused) {
  std::vector<std::string> vecErrors;
  readState(documentWith("    retry: 2\n    retries: 3\n"), vecErrors);
  ASSERT_FALSE(vecErrors.empty());
  EXPECT_EQ(vecErrors.front(), "task \"a\": has both retry and retries, which mean the same");
}

TEST(StateDocument, CutOffAtAnyByteIsRefused) {
  const std::string strText = stateText(smallState());
  // Only the end of the last line may be missing.
  EXPECT_EQ(refusedPieces(strText, smallState()), strText.size() - 1);
}

TEST(StateDocument, InJsonCutOffAtAnyByteIsRefused) {
  const std::string strText = stateJson(smallState()).toStyledString();
  EXPECT_GE(refusedPieces(strText, smallState()), strText.size() - 2);
}

TEST(StateDocument, WithoutAnEndSuggestsTheRemedy) {
  EXPECT_EQ(whyRefused("version: 1\ntasks: {}\n"),
            "line 3: the document ends without the line \"...\" and may be incomplete; add the line if it is "
            "complete");
  EXPECT_EQ(whyRefused("version: 1\ntasks: {}\n...\n"), "");
}

TEST(StateDocument, EndMarkWithinAScriptIsNoEnd) {
  const std::string strTask = "version: 1\ntasks:\n  a:\n    event: daily\n    owner: root\n    script: ";
  for (const char* szScript : {"|\n     ...\n", "|\n      echo\n      ...\n", "\"...\"\n", "...\n", "'a\n ...'\n"}) {
    EXPECT_NE(whyRefused(strTask + szScript), "") << szScript;
    EXPECT_EQ(whyRefused(strTask + szScript + "...\n"), "") << szScript;
  }
}

TEST(StateDocument, EndMarkMayBeFollowedByRemarksOnly) {
  EXPECT_EQ(whyRefused("version: 1\ntasks: {}\n... # whole\n# of the first server\n"), "");
  EXPECT_EQ(whyRefused("version: 1\r\ntasks: {}\r\n...\r\n"), "");
  EXPECT_NE(whyRefused("version: 1\ntasks: {}\n...\ntasks: {}\n...\n"), "");
}

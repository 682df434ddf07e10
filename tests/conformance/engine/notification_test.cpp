// notifyCompletion: recipients of the mail about an ended run, and the outcomes that are mailed.

#include <algorithm>

#include "notification_fixture.h"

using namespace OrvaTest;

namespace {

class NotificationWanted : public Notification {};
class NotificationRecipients : public Notification {
protected:
  static std::vector<std::string> recipients() {
    std::vector<std::string> found;
    for (const Mail& mail : fakes().mails) {
      found.push_back(mail.strTo);
    }
    return found;
  }
};

// Runs a task to its end, by signal 9, with the members given.
class NotificationOfARunner : public HandlesTest {
protected:
  int run(const std::string& strMembers) {
    writeFile("/etc/orvainfo.conf", "maillang=\"enu\"\n");
    fakes().pretendChildren(json("{'exit_type': 'by_signal', 'exit_code': 9}"));
    Json::Value jTask = json(strMembers);
    for (const char* szMember : {"task_name", "operation", "operation_type", "owner", "run_the_same_time"}) {
      jTask[szMember] = json(
          "{'task_name': 'backup', 'operation': 'true', 'operation_type': 'script', 'owner': 0,"
          " 'run_the_same_time': true}")[szMember];
    }
    fakes().put("task", jTask);
    return runTaskOne(jTask, m_pApi, m_pApiResult, m_pDb);
  }
};

}  // namespace

TEST_F(NotificationWanted, TheTemplateGoesToTheAddress) {
  EXPECT_EQ(notify(), 0);
  ASSERT_EQ(fakes().mails.size(), 1U);
  EXPECT_EQ(fakes().mails[0].strTemplate, "eOrvascheduler_complete_task");
  EXPECT_EQ(fakes().mails[0].strTo, "a@example.org");
  EXPECT_THAT(fakes().calls(),
              testing::Contains("ORVAMailSendMessageWithoutBlock(eOrvascheduler_complete_task, a@example.org, 0)"));
}

TEST_F(NotificationWanted, FailsOnATaskThatIsNoObject) {
  for (const char* szTask : {"null", "[]", "'backup'", "1"}) {
    m_jTask = json(szTask);
    expectGivenUp("jTask.type() != Json::objectValue");
  }
  expectNothingPrepared();
}

TEST_F(NotificationWanted, SendsNothingUnlessEnabled) {
  for (const char* szTask : {"{}", "{'notify_enable': false}", "{'notify_enable': 0}", "{'notify_enable': null}",
                             "{'notify_enable': false, 'notify_if_error': 'x', 'notify_mail': 5}"}) {
    m_jTask = json(szTask);
    EXPECT_EQ(notify(), 0) << szTask;
  }
  m_jResult = Json::Value();
  EXPECT_EQ(notify(), 0);
  expectNothingPrepared();
  EXPECT_THAT(logLines(), testing::IsEmpty());
}

TEST_F(NotificationWanted, ReadsANumberAsEnabled) {
  m_jTask["notify_enable"] = 1;
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(fakes().mails.size(), 1U);
}

TEST_F(NotificationWanted, FailsOnASwitchThatCannotBeReadAsBoolean) {
  for (const char* szSwitch : {"'true'", "[]", "{}"}) {
    m_jTask["notify_enable"] = json(szSwitch);
    expectGivenUp("!jTask[\"notify_enable\"].isBool()");
  }
}

TEST_F(NotificationWanted, FailsWithoutTheSwitchForErrors) {
  m_jTask.removeMember("notify_if_error");
  expectGivenUp("!jTask.isMember(\"notify_if_error\")");
  expectNothingPrepared();
}

TEST_F(NotificationWanted, FailsOnASwitchForErrorsThatIsNoBoolean) {
  for (const char* szSwitch : {"0", "1", "null", "'true'", "[]", "{}"}) {
    m_jTask["notify_if_error"] = json(szSwitch);
    expectGivenUp("!jTask[\"notify_if_error\"].isBool()");
  }
}

TEST_F(NotificationWanted, ForErrorsOnlyARunThatEndedWellSendsNothing) {
  blDebugOutput = true;
  m_jTask["notify_if_error"] = true;
  for (const char* szCode : {"0", "0.0", "0.9", "false", "null"}) {
    setExitInfo(std::string("{'exit_type': 'normal', 'exit_code': ") + szCode + "}");
    expectDebug("exit status != 0, need not notify", LIB);
    EXPECT_EQ(notify(), 0) << szCode;
  }
  expectNothingPrepared();
}

TEST_F(NotificationWanted, ForErrorsOnlyEveryOtherOutcomeSends) {
  m_jTask["notify_if_error"] = true;
  for (const char* szExitInfo :
       {"{'exit_type': 'normal', 'exit_code': 1}", "{'exit_type': 'normal', 'exit_code': -1}",
        "{'exit_type': 'normal', 'exit_code': 4294967296}", "{'exit_type': 'by_signal', 'exit_code': 9}",
        "{'exit_type': 'by_signal', 'exit_code': 0}", "{'exit_type': 'stop', 'exit_code': 0}",
        "{'exit_type': 'continue'}"}) {
    fakes().mails.clear();
    setExitInfo(szExitInfo);
    EXPECT_EQ(notify(), 0) << szExitInfo;
    EXPECT_EQ(fakes().mails.size(), 1U) << szExitInfo;
  }
}

TEST_F(NotificationWanted, WithoutTheSwitchForErrorsARunThatEndedWellSends) {
  setExitInfo("{'exit_type': 'normal', 'exit_code': 0}");
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(fakes().mails.size(), 1U);
}

TEST_F(NotificationWanted, ForErrorsOnlyTheExitInformationIsChecked) {
  m_jTask["notify_if_error"] = true;
  const std::vector<std::pair<std::string, std::string>> exits = {
      {"null", "jExit.type() != Json::objectValue"},
      {"[]", "jExit.type() != Json::objectValue"},
      {"'normal'", "jExit.type() != Json::objectValue"},
      {"{}", "!jExit.isMember(\"exit_type\")"},
      {"{'exit_code': 0}", "!jExit.isMember(\"exit_type\")"},
      {"{'exit_type': 1}", "!jExit[\"exit_type\"].isString()"},
      {"{'exit_type': null}", "!jExit[\"exit_type\"].isString()"},
      {"{'exit_type': 'normal'}", "!jExit.isMember(\"exit_code\")"},
      {"{'exit_type': 'normal', 'exit_code': '0'}", "!jExit[\"exit_code\"].isInt64()"}};
  for (const auto& [strExitInfo, strCheck] : exits) {
    SCOPED_TRACE(strExitInfo);
    setExitInfo(strExitInfo);
    expectGivenUp(strCheck);
  }
  expectNothingPrepared();
}

TEST_F(NotificationWanted, ForErrorsOnlyARunWithoutExitInformationGoesOnToTheMail) {
  m_jTask["notify_if_error"] = true;
  m_jResult.removeMember("exit_info");
  expectGivenUp("!jResult.isMember(\"exit_info\")");
  EXPECT_THAT(fakes().calls(), testing::Contains("KLIBCSzHashAlloc(512)"));
}

TEST_F(NotificationWanted, FailsWithoutAddresses) {
  m_jTask.removeMember("notify_mail");
  expectGivenUp("!jTask.isMember(\"notify_mail\")");
  for (const char* szMail : {"null", "5", "['a@example.org']", "{}"}) {
    m_jTask["notify_mail"] = json(szMail);
    expectGivenUp("!jTask[\"notify_mail\"].isString()");
  }
  expectNothingPrepared();
}

TEST_F(NotificationRecipients, NoAddressSendsNothing) {
  blDebugOutput = true;
  m_jTask["notify_mail"] = "";
  expectDebug("no mail address, need not notify", LIB);
  EXPECT_EQ(notify(), 0);
  expectNothingPrepared();
}

TEST_F(NotificationRecipients, EveryAddressGetsAMailOfItsOwn) {
  blDebugOutput = true;
  m_jTask["notify_mail"] = "a@example.org,b@example.org";
  expectDebug("send mail to a@example.org", LIB);
  expectDebug("send mail to b@example.org", LIB);
  EXPECT_EQ(notify(), 0);
  EXPECT_THAT(recipients(), testing::ElementsAre("a@example.org", "b@example.org"));
  EXPECT_EQ(fakes().mails[0].values, fakes().mails[1].values);
}

TEST_F(NotificationRecipients, EmptyPiecesAreSkipped) {
  for (const char* szMail : {"a@example.org,,b@example.org", ",a@example.org,b@example.org,"}) {
    fakes().mails.clear();
    m_jTask["notify_mail"] = szMail;
    EXPECT_EQ(notify(), 0);
    EXPECT_THAT(recipients(), testing::ElementsAre("a@example.org", "b@example.org")) << szMail;
  }
}

TEST_F(NotificationRecipients, CommasAloneSendNothing) {
  m_jTask["notify_mail"] = ",,";
  EXPECT_EQ(notify(), 0);
  EXPECT_THAT(recipients(), testing::IsEmpty());
}

TEST_F(NotificationRecipients, AddressesAreTakenAsSplit) {
  m_jTask["notify_mail"] = "a@example.org , b;c, ";
  EXPECT_EQ(notify(), 0);
  EXPECT_THAT(recipients(), testing::ElementsAre("a@example.org ", " b;c", " "));
}

TEST_F(NotificationRecipients, AnEntryThatCannotBeReadIsSkipped) {
  m_jTask["notify_mail"] = "a@example.org,b@example.org";
  fakes().fail("KLIBCSzListGet(0)");
  EXPECT_EQ(notify(), 0);
  EXPECT_THAT(recipients(), testing::ElementsAre("b@example.org"));
}

TEST_F(NotificationRecipients, NothingIsReadPastTheLastEntry) {
  m_jTask["notify_mail"] = "a@example.org,b@example.org";
  EXPECT_EQ(notify(), 0);
  EXPECT_THAT(fakes().calls(), testing::Contains("KLIBCSzListGet(1)"));
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains("KLIBCSzListGet(2)")));
}

TEST_F(NotificationRecipients, ARefusedMailIsNeitherLoggedNorRetried) {
  m_jTask["notify_mail"] = "a@example.org,b@example.org";
  fakes().fail("ORVAMailSendMessageWithoutBlock").withErrno(EIO);
  EXPECT_EQ(notify(), 0);
  EXPECT_THAT(recipients(), testing::ElementsAre("b@example.org"));
}

TEST_F(NotificationRecipients, FailsWhenTheListCannotBeSplit) {
  fakes().fail("KLIBCStrTok");
  expectGivenUp("0 > KLIBCStrTok(strMailList.c_str(), \",\", &pslList)");
  EXPECT_THAT(fakes().calls(), testing::Contains("KLIBCStrTok(a@example.org, ,)"));
}

TEST_F(NotificationRecipients, FailsWithoutMemoryForTheValues) {
  fakes().fail("KLIBCSzHashAlloc");
  expectGivenUp("malloc hash failed");
}

TEST_F(NotificationRecipients, FailsWithoutMemoryForTheList) {
  fakes().fail("KLIBCSzListAlloc");
  expectGivenUp("malloc list failed");
  EXPECT_THAT(fakes().calls(),
              testing::ElementsAre("KLIBCSzHashAlloc(512)", "KLIBCSzListAlloc(512)", "KLIBCSzHashFree()"));
}

TEST_F(NotificationRecipients, ValuesAndListAreFreedAfterTheMails) {
  EXPECT_EQ(notify(), 0);
  const auto calls = fakes().calls();
  const auto sent = std::find_if(calls.begin(), calls.end(), [](const std::string& strCall) {
    return strCall.starts_with("ORVAMailSendMessageWithoutBlock");
  });
  const std::vector<std::string> after(sent, calls.end());
  EXPECT_THAT(after,
              testing::UnorderedElementsAre(testing::StartsWith("ORVAMail"), "KLIBCSzHashFree()", "KLIBCSzListFree()"));
}

TEST_F(NotificationOfARunner, AFailedNotificationIsLoggedAndTheRunnerGoesOn) {
  expectFailure("!jTask.isMember(\"notify_if_error\")", LIB);
  expectLine("notify failed, task=backup", LIB);
  EXPECT_EQ(run("{'notify_enable': true, 'notify_mail': 'a@example.org'}"), 0);
  EXPECT_THAT(fakes().mails, testing::IsEmpty());
}

TEST_F(NotificationOfARunner, TheMailHasTheTextsOfTheClosedRun) {
  EXPECT_EQ(run("{'notify_enable': true, 'notify_if_error': true, 'notify_mail': 'a@example.org'}"), 0);
  ASSERT_EQ(fakes().mails.size(), 1U);
  EXPECT_EQ(fakes().mails[0].values.at("%TASK%"), "backup");
  EXPECT_EQ(fakes().mails[0].values.at("%EXIT_CODE%"), "9 (Interrupted)");
}

// What a changed task may look like.

#include "common/tasks/task_rules.h"

#include <gmock/gmock.h>
#include <json/reader.h>
#include <memory>

#include "common/tasks/dependency_list.h"
#include "common/tasks/task_members.h"
#include "support/files.h"
#include "support/private_view.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

Json::Value parse(const std::string& strText) {
  Json::Value jValue;
  std::string strErrors;
  const std::unique_ptr<Json::CharReader> pReader(Json::CharReaderBuilder().newCharReader());
  EXPECT_TRUE(pReader->parse(strText.data(), strText.data() + strText.size(), &jValue, &strErrors)) << strErrors;
  return jValue;
}

Json::Value stored(const std::string& strName, const std::vector<std::string>& vecWaitsFor) {
  Json::Value jTask = parse(R"({"event":"nightly","owner":0,"operation":"exit 0\n"})");
  jTask["task_name"] = strName;
  Host::fillDefaults(jTask);
  jTask["depend_on_task"] = Host::writeDependencyList(vecWaitsFor);
  return jTask;
}

// A server with some tasks, all bound to an event that is in no catalogue.
class ChangedTask : public testing::Test {
protected:
  void SetUp() override {
    OrvaTest::freshProduct();
    OrvaTest::installShareFiles();
  }

  void add(const std::string& strName, const std::vector<std::string>& vecWaitsFor = {}) {
    m_jTasks.append(stored(strName, vecWaitsFor));
  }

  // Texts "MEMBER: REASON" of what is wrong when members of a task are changed.
  std::vector<std::string> errors(const std::string& strTask, const char* szChanges) {
    const Json::Value jChanges = parse(szChanges);
    m_warnings.clear();
    for (const Json::Value& jTask : m_jTasks) {
      if (jTask["task_name"] == strTask) {
        const Json::Value jBefore = Host::requestOf(jTask);
        Json::Value jAfter = jBefore;
        for (const std::string& strMember : jChanges.getMemberNames()) {
          jAfter[strMember] = jChanges[strMember];
        }
        const Host::Findings findings = Host::checkChangedTask(jAfter, jBefore, m_jTasks, Host::AllowedEvents::KNOWN);
        m_warnings = texts(findings.vecWarnings);
        return texts(findings.vecErrors);
      }
    }
    ADD_FAILURE() << "no task " << strTask;
    return {};
  }

  static std::vector<std::string> texts(const std::vector<Host::Finding>& vecFindings) {
    std::vector<std::string> vecTexts;
    for (const Host::Finding& finding : vecFindings) {
      vecTexts.push_back(finding.text());
    }
    return vecTexts;
  }

  Json::Value m_jTasks{Json::arrayValue};
  std::vector<std::string> m_warnings;
};

}  // namespace

TEST_F(ChangedTask, EventOfOnesOwnThatStaysIsNotMentioned) {
  add("pack");
  EXPECT_THAT(errors("pack", R"({"description":"packs"})"), IsEmpty());
  EXPECT_THAT(m_warnings, IsEmpty());
  EXPECT_THAT(errors("pack", R"({"event":"weekely"})"), ElementsAre(HasSubstr("event: unknown event \"weekely\"")));
}

TEST_F(ChangedTask, EventIsKnownWhileAnotherTaskHasIt) {
  add("pack");
  EXPECT_THAT(errors("pack", R"({"event":"nightyl"})"), ElementsAre(HasSubstr("event: unknown event \"nightyl\"")));
  add("verify");
  EXPECT_THAT(errors("pack", R"({"event":"nightyl"})"), ElementsAre(HasSubstr("did you mean \"nightly\"?")));
  EXPECT_THAT(errors("pack", R"({"event":"daily"})"), IsEmpty());
}

TEST_F(ChangedTask, CircleIsRefusedForAnEventOfOnesOwnToo) {
  add("pack");
  add("verify", {"pack"});
  add("report", {"verify"});
  EXPECT_THAT(errors("pack", R"({"depend_on_task":"[report]"})"),
              ElementsAre(HasSubstr("waits for: the tasks wait for each other in a circle")));
}

TEST_F(ChangedTask, CircleThatIsThereDoesNotKeepTheListFromBeingChanged) {
  add("a", {"b"});
  add("b", {"a"});
  add("c", {"b"});
  EXPECT_THAT(errors("c", R"({"description":"after all"})"), IsEmpty());
  EXPECT_THAT(m_warnings, ElementsAre(HasSubstr("circle")));
  EXPECT_THAT(errors("c", R"({"depend_on_task":"[a]"})"), IsEmpty());
  EXPECT_THAT(errors("a", R"({"depend_on_task":""})"), IsEmpty());
  EXPECT_THAT(m_warnings, IsEmpty());
}

TEST_F(ChangedTask, NewNameThatMatchesAcrossTheBracketsOfAListIsRefused) {
  add("a");
  add("b");
  add("y", {"a", "b"});
  add("x", {"y"});
  EXPECT_THAT(errors("x", R"({"task_name":"a__b"})"),
              ElementsAre("waits for: the tasks wait for each other in a circle: a__b -> y -> a__b"));
  EXPECT_THAT(errors("x", R"({"task_name":"a-b"})"), IsEmpty());
}

TEST_F(ChangedTask, ListThatIsMatchedByTheNameOfSomethingThatWaitsIsRefused) {
  add("a");
  add("b");
  add("y", {"a"});
  add("a__b", {"y"});
  EXPECT_THAT(errors("y", R"({"depend_on_task":"[a][b]"})"), ElementsAre(HasSubstr("circle")));
}

TEST_F(ChangedTask, NullIsNoMember) {
  add("pack");
  EXPECT_THAT(errors("pack", R"({"status":null})"), ElementsAre("status: is not a member that can be set"));
  EXPECT_THAT(errors("pack", R"({"foo":null,"last_start_time":null})"),
              ElementsAre("foo: is not a member that can be set", "last_start_time: is not a member that can be set"));
  EXPECT_THAT(errors("pack", R"({"description":null})"), ElementsAre("description: must be a string"));
}

TEST_F(ChangedTask, TaskDoesNotMoveAwayFromTheTasksThatItWaitsFor) {
  add("pack");
  add("verify", {"pack"});
  EXPECT_THAT(
      errors("verify", R"({"event":"shutdown"})"),
      ElementsAre(
          "waits for: \"pack\" belongs to the event \"nightly\"; a task can only wait for tasks of the same event"));
}

TEST_F(ChangedTask, MailIsNotSwitchedOnWithoutAnAddress) {
  add("pack");
  EXPECT_THAT(errors("pack", R"({"notify_enable":true})"), ElementsAre("mail: needs an address"));
}

TEST_F(ChangedTask, MailGoesToAddressesThatMailIsSentTo) {
  add("pack");
  EXPECT_THAT(errors("pack", R"({"notify_mail":"root,a.b@x-1.org"})"), IsEmpty());
  EXPECT_THAT(errors("pack", R"({"notify_mail":"a!b@x.org,a..b@x.org,root,a@x_y.org,root%local,a\u0000b"})"),
              ElementsAre("mail: \"a!b@x.org\" is not a mail address", "mail: \"a..b@x.org\" is not a mail address",
                          "mail: \"a@x_y.org\" is not a mail address", "mail: \"root%local\" is not a mail address",
                          testing::EndsWith("is not a mail address")));
}

TEST_F(ChangedTask, FaultThatWasThereAndIsNotTouchedIsAWarning) {
  add("pack");
  m_jTasks[0U]["notify_mail"] = "x y";
  EXPECT_THAT(errors("pack", R"({"description":"packs"})"), IsEmpty());
  EXPECT_THAT(m_warnings, ElementsAre("mail: \"x y\" is not a mail address"));
  EXPECT_THAT(errors("pack", R"({"notify_mail":"x z"})"), ElementsAre("mail: \"x z\" is not a mail address"));
}

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"
#include "support/users.h"

namespace fs = std::filesystem;
using OrvaTest::CommandResult;
using OrvaTest::entries;
using OrvaTest::PlatformTest;
using OrvaTest::readFile;

namespace {

constexpr const char* KEY = "taskscheduler_notify_user_share_volume_error";
constexpr const char* STATE = "/var/lib/orva/notify/taskscheduler_notify_user_share_volume_error";

class Notifier : public PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
    OrvaTest::adoptOrphans();
    OrvaTest::installMailProgram(OrvaTest::KEEPING_MAIL_PROGRAM);
    fs::copy_file(ORVA_NOTIFIER, notifier(), fs::copy_options::overwrite_existing);
    fs::copy("/etc/passwd", "/tmp/passwd", fs::copy_options::overwrite_existing);
    fs::copy("/etc/group", "/tmp/group", fs::copy_options::overwrite_existing);
  }

  void TearDown() override {
    fs::copy("/tmp/passwd", "/etc/passwd", fs::copy_options::overwrite_existing);
    fs::copy("/tmp/group", "/etc/group", fs::copy_options::overwrite_existing);
    PlatformTest::TearDown();
  }

  static std::string notifier() {
    fs::create_directories("/usr/orva/bin");
    return "/usr/orva/bin/orvakbvnotify";
  }

  void setting(const std::string& strLine) {
    OrvaTest::writeFile("/etc/orvainfo.conf", readFile("/etc/orvainfo.conf") + strLine + "\n");
  }

  CommandResult notify(const std::vector<std::string>& vecArgument) {
    std::vector<std::string> vecCommand = {notifier()};
    vecCommand.insert(vecCommand.end(), vecArgument.begin(), vecArgument.end());
    const CommandResult result = OrvaTest::runCommand(vecCommand);
    OrvaTest::waitForOrphans();
    return result;
  }

  // Gives the addresses of the mails so far, and removes these mails.
  std::vector<std::string> receivers() {
    std::vector<std::string> vecReceiver;
    for (const std::string& strName : entries("/tmp/mail")) {
      if (strName.ends_with(".args")) {
        const std::string strArguments = readFile("/tmp/mail/" + strName);
        const std::size_t uStart = strArguments.find("--\n") + 3;
        vecReceiver.push_back(strArguments.substr(uStart, strArguments.size() - uStart - 1));
      }
    }
    fs::remove_all("/tmp/mail");
    std::sort(vecReceiver.begin(), vecReceiver.end());
    return vecReceiver;
  }

  // Moves the last notice to the past.
  void age(int iSeconds) {
    long long llLast = 0;
    unsigned cSuppressed = 0;
    ASSERT_EQ(std::sscanf(readFile(STATE).c_str(), "%lld %u", &llLast, &cSuppressed), 2);
    OrvaTest::writeFile(STATE, std::to_string(llLast - iSeconds) + " " + std::to_string(cSuppressed) + "\n");
  }
};

TEST_F(Notifier, LibraryCallMailsRootAndTheAdministratorsGroup) {
  OrvaTest::addUser("ada", 4720, 4720, {27});
  EXPECT_EQ(KLIBCExec("/usr/orva/bin/orvakbvnotify", "@administrators", KEY, nullptr, nullptr), 0);
  OrvaTest::waitForOrphans();
  const std::string strMail = readFile("/tmp/mail/1.eml");
  EXPECT_THAT(strMail, testing::HasSubstr("The volume of a shared folder is not available."));
  EXPECT_THAT(receivers(), testing::ElementsAre("ada", "root"));
  EXPECT_THAT(readFile("/var/log/orva/event.jsonl"), testing::HasSubstr("\"code\":\"0x14400300\""));
}

TEST_F(Notifier, SettingNamesTheAdministratorsGroup) {
  OrvaTest::addUser("bob", 4721, 4730);
  OrvaTest::addUser("eve", 4722, 4722, {4730});
  setting("administratorsgroup=bob");
  EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  EXPECT_THAT(receivers(), testing::ElementsAre("bob", "eve", "root")) << "by primary group, and as a listed member";
}

TEST_F(Notifier, MissingAdministratorsGroupStillReachesRoot) {
  setting("administratorsgroup=nosuchgroup");
  EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  EXPECT_THAT(receivers(), testing::ElementsAre("root"));
}

TEST_F(Notifier, OtherGroupIsThatOfTheSystem) {
  OrvaTest::addUser("carl", 4723, 4723);
  EXPECT_EQ(notify({"@carl", KEY}).iStatus, 0);
  EXPECT_THAT(receivers(), testing::ElementsAre("carl"));
}

TEST_F(Notifier, TextIsInTheLanguageOfTheServer) {
  setting("maillang=ger");
  EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  EXPECT_THAT(readFile("/tmp/mail/1.eml"), testing::HasSubstr("Das Volume eines freigegebenen Ordners"));
}

TEST_F(Notifier, UnknownKeyAndGroupAreNamed) {
  const CommandResult key = notify({"@administrators", "no_such_key"});
  EXPECT_EQ(key.iStatus, 1);
  EXPECT_EQ(key.strErrors, "orvakbvnotify: unknown key \"no_such_key\"\n");
  const CommandResult group = notify({"@nosuchgroup", KEY});
  EXPECT_EQ(group.iStatus, 1);
  EXPECT_EQ(group.strErrors, "orvakbvnotify: unknown group \"nosuchgroup\"\n");
  EXPECT_THAT(receivers(), testing::IsEmpty());
  EXPECT_FALSE(fs::exists("/var/lib/orva/notify/no_such_key"));
}

TEST_F(Notifier, WrongUsageGivesTwo) {
  const std::vector<std::vector<std::string>> vecUsage = {
      {},         {"@administrators"}, {"administrators", KEY}, {"@", KEY},
      {"@a", ""}, {"@a", "../x"},      {"@a/b", KEY},           {"@a", KEY, "x"}};
  for (const auto& vecArgument : vecUsage) {
    const CommandResult result = notify(vecArgument);
    EXPECT_EQ(result.iStatus, 2);
    EXPECT_THAT(result.strErrors, testing::HasSubstr("usage: orvakbvnotify @GROUP KEY"));
  }
}

TEST_F(Notifier, SameKeyIsSentOnceInTenMinutesAndTheNextSaysHowManyWereHeldBack) {
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  }
  EXPECT_THAT(readFile("/tmp/mail/1.eml"), testing::HasSubstr("since the last mail: 0"));
  EXPECT_THAT(receivers(), testing::ElementsAre("root"));
  age(590);
  EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  EXPECT_THAT(receivers(), testing::IsEmpty());
  age(10);
  EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  EXPECT_THAT(readFile("/tmp/mail/1.eml"), testing::HasSubstr("since the last mail: 4"));
  EXPECT_THAT(receivers(), testing::ElementsAre("root"));
}

TEST_F(Notifier, ClockSetBackAndDamagedStateSilenceNobody) {
  EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  age(-86400);
  receivers();
  EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  EXPECT_THAT(receivers(), testing::ElementsAre("root"));
  OrvaTest::writeFile(STATE, "damaged");
  EXPECT_EQ(notify({"@administrators", KEY}).iStatus, 0);
  EXPECT_THAT(receivers(), testing::ElementsAre("root"));
}

}  // namespace

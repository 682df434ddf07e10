// The notifier as on a server: a group of several users, a real mail program, a mail server.

#include <cstdio>
#include <filesystem>
#include <set>
#include <sstream>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "smtp_sink.h"
#include "support/files.h"
#include "support/processes.h"
#include "support/users.h"

namespace fs = std::filesystem;
using OrvaTest::SmtpSink;

namespace {

constexpr const char* KEY = "taskscheduler_notify_user_share_volume_error";
constexpr gid_t GID_OPERATORS = 4730;
const std::set<std::string> MEMBERS = {"ada", "bob", "eve", "operators"};

class NotifierDelivery : public OrvaTest::PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
    OrvaTest::adoptOrphans();
    fs::create_directories("/usr/orva/bin");
    fs::copy_file(ORVA_NOTIFIER, "/usr/orva/bin/orvakbvnotify", fs::copy_options::overwrite_existing);
    // One user whose primary group it is, three users that the group lists, and one user who is not a member.
    OrvaTest::addUser("operators", 4731, GID_OPERATORS);
    OrvaTest::addUser("ada", 4732, 4732, {GID_OPERATORS});
    OrvaTest::addUser("bob", 4733, 4733, {GID_OPERATORS});
    OrvaTest::addUser("eve", 4734, 4734, {GID_OPERATORS});
    OrvaTest::addUser("stranger", 4735, 4735);
    OrvaTest::writeFile("/etc/mailname", "server.example.net\n");
  }

  void TearDown() override {
    OrvaTest::waitForOrphans();
    PlatformTest::TearDown();
  }

  static void language(const std::string& strLanguage) {
    OrvaTest::writeFile("/etc/orvainfo.conf", "mailprogram=/usr/bin/msmtp\nmaillang=" + strLanguage + "\n");
  }

  static int notify() { return KLIBCExec("/usr/orva/bin/orvakbvnotify", "@operators", KEY, nullptr, nullptr); }

  static void forgetLastNotification() { fs::remove_all("/var/lib/orva/notify"); }

  static std::size_t countEvents() {
    std::size_t cEvent = 0;
    std::istringstream lines(OrvaTest::readFile("/var/log/orva/event.jsonl"));
    for (std::string strLine; std::getline(lines, strLine);) {
      cEvent += strLine.find("\"code\":\"0x14400300\"") != std::string::npos ? 1 : 0;
    }
    return cEvent;
  }
};

TEST_F(NotifierDelivery, EveryMemberGetsTheTextInEveryLanguageOnce) {
  SmtpSink sink;
  sink.configureMsmtp();
  std::set<std::string> setText;
  for (const char* const szLanguage : {"enu", "ger", "fre", "jpn"}) {
    language(szLanguage);
    forgetLastNotification();
    ASSERT_EQ(notify(), 0);
    const Json::Value jTexts =
        ORVA::UIX::LocalizedStringParser::ParseTexts(std::string("/usr/orva/orvaman/webman/texts/") + szLanguage);
    const std::string strText = jTexts["notify"][KEY].asString();
    EXPECT_TRUE(setText.insert(strText).second) << "each language has a text of its own";
    std::set<std::string> setReceiver;
    for (std::size_t i = 0; i < MEMBERS.size(); ++i) {
      const Json::Value jMail = sink.nextMail();
      ASSERT_EQ(jMail["to"].size(), 1U);
      EXPECT_TRUE(setReceiver.insert(jMail["to"][0].asString()).second) << "nobody gets it twice";
      EXPECT_EQ(jMail["from"].asString(), "root@server.example.net");
      const Json::Value jParsed = OrvaTest::readMail(jMail["message"].asString());
      EXPECT_TRUE(jParsed["defects"].empty()) << jParsed["defects"].toStyledString();
      EXPECT_THAT(jParsed["body"].asString(), testing::HasSubstr(strText)) << szLanguage;
    }
    EXPECT_EQ(setReceiver, MEMBERS) << szLanguage;
  }
  EXPECT_EQ(countEvents(), 4U);
}

TEST_F(NotifierDelivery, HeldBackMailReachesNobodyAndIsCountedInTheNext) {
  SmtpSink sink;
  sink.configureMsmtp();
  language("enu");
  ASSERT_EQ(notify(), 0);
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(notify(), 0);
  }
  // Makes the last notice ten minutes old.
  const std::string strState = std::string("/var/lib/orva/notify/") + KEY;
  long long llLast = 0;
  unsigned cSuppressed = 0;
  ASSERT_EQ(std::sscanf(OrvaTest::readFile(strState).c_str(), "%lld %u", &llLast, &cSuppressed), 2);
  OrvaTest::writeFile(strState, std::to_string(llLast - 600) + " " + std::to_string(cSuppressed) + "\n", 0600);
  ASSERT_EQ(notify(), 0);
  std::multiset<std::string> setCount;
  for (std::size_t i = 0; i < 2 * MEMBERS.size(); ++i) {
    const std::string strBody = OrvaTest::readMail(sink.nextMail()["message"].asString())["body"].asString();
    const std::string strBeforeCount = "since the last mail: ";
    const std::size_t u = strBody.find(strBeforeCount);
    ASSERT_NE(u, std::string::npos);
    setCount.insert(strBody.substr(u + strBeforeCount.size(), 1));
  }
  EXPECT_EQ(setCount, (std::multiset<std::string>{"0", "0", "0", "0", "3", "3", "3", "3"}));
  EXPECT_EQ(countEvents(), 2U) << "a notice that is held back is not an event";
}

}  // namespace

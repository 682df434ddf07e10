// Sends mail through the sendmail of a mail server on this machine to mailboxes. The server is Debian's default one
// with its package's default configuration. It is fetched for the test and installed only in the test's view.

#include <filesystem>
#include <json/reader.h>
#include <sstream>
#include <sys/mount.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"
#include "support/users.h"

namespace fs = std::filesystem;
using OrvaTest::entries;

namespace {

constexpr const char* SERVER_NAME = "mail.example.org";

class MailServer : public OrvaTest::PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
    OrvaTest::adoptOrphans();
    OrvaTest::mountTmpfs("/var/mail", "size=64m,mode=2775");
    OrvaTest::addUser("Debian-exim", 4750, 4750);
    OrvaTest::addUser("alice", 4751, 4751, {}, "/tmp/alice");
    OrvaTest::addUser("bob", 4752, 4752, {}, "/tmp/bob");
    const auto installed =
        OrvaTest::runCommand({ORVA_TEST_SCRIPTS "/install_mail_server", ORVA_MAIL_SERVER, SERVER_NAME});
    ASSERT_EQ(installed.iStatus, 0) << installed.strErrors;
    setting("maillang=enu");
  }

  void TearDown() override {
    OrvaTest::waitForOrphans();
    umount("/var/mail");
    PlatformTest::TearDown();
  }

  static void setting(const std::string& strLine) { OrvaTest::writeFile("/etc/orvainfo.conf", strLine + "\n"); }

  // Sends one mail, and waits until the server has processed it.
  static int send(const std::string& strTo, const std::string& strTask, const std::string& strOutput) {
    const int iResult = OrvaTest::sendTaskMail(strTo, strTask, strOutput);
    OrvaTest::waitForOrphans();
    return iResult;
  }

  // The messages in a user's mailbox, parsed like a mail reader does.
  static Json::Value mailbox(const std::string& strUser) {
    const auto parsed =
        OrvaTest::runCommand({"/usr/bin/python3", ORVA_TEST_SCRIPTS "/parse_mail.py", "/var/mail/" + strUser});
    EXPECT_EQ(parsed.iStatus, 0) << parsed.strErrors;
    Json::Value jMails;
    std::istringstream(parsed.strOut) >> jMails;
    return jMails;
  }

  // All values of a header, in order.
  static std::vector<std::string> header(const Json::Value& jMail, const std::string& strName) {
    std::vector<std::string> vecValue;
    for (const Json::Value& jHeader : jMail["headers"]) {
      if (jHeader[0].asString() == strName) {
        vecValue.push_back(jHeader[1].asString());
      }
    }
    return vecValue;
  }
};

TEST_F(MailServer, MailboxOfALocalUserGetsTheMessageWhole) {
  setting("maillang=jpn\nmailfrom=scheduler@example.org");
  ASSERT_EQ(send("alice", "夜のバックアップ", "first\n.\nFrom here\n終わり\n"), 0);
  EXPECT_THAT(entries("/var/mail"), testing::ElementsAre("alice"));
  const Json::Value jMails = mailbox("alice");
  ASSERT_EQ(jMails.size(), 1U);
  EXPECT_TRUE(jMails[0]["defects"].empty()) << jMails[0]["defects"].toStyledString();
  EXPECT_THAT(jMails[0]["body"].asString(), testing::HasSubstr("\nfirst\n.\nFrom here\n終わり\n"));
  EXPECT_THAT(header(jMails[0], "Subject"),
              testing::ElementsAre("[" + OrvaTest::hostName() + "] 夜のバックアップ 終了"));
  EXPECT_THAT(header(jMails[0], "Return-path"), testing::ElementsAre("<scheduler@example.org>"));
  EXPECT_THAT(header(jMails[0], "Auto-Submitted"), testing::ElementsAre("auto-generated"));
  EXPECT_THAT(header(jMails[0], "List-Id"), testing::ElementsAre("<eorvascheduler-complete-task.mail.example.org>"));
  EXPECT_THAT(entries("/var/spool/orva/outbox"), testing::IsEmpty());
}

TEST_F(MailServer, FullAddressAndAliasReachTheirMailboxes) {
  ASSERT_EQ(send("bob@mail.example.org", "a", "x\n"), 0);
  ASSERT_EQ(send("root", "b", "x\n"), 0);
  EXPECT_THAT(entries("/var/mail"), testing::ElementsAre("alice", "bob"));
  EXPECT_THAT(header(mailbox("bob")[0], "From"), testing::ElementsAre("root@mail.example.org"));
  EXPECT_THAT(header(mailbox("alice")[0], "Subject"), testing::ElementsAre("[" + OrvaTest::hostName() + "] b ended"));
}

TEST_F(MailServer, MailForNobodyComesBackToTheSender) {
  setting("mailfrom=bob@mail.example.org");
  ASSERT_EQ(send("nosuchuser@mail.example.org", "lost", "x\n"), 0);
  EXPECT_THAT(entries("/var/mail"), testing::ElementsAre("bob"));
  EXPECT_THAT(OrvaTest::readFile("/var/mail/bob"),
              testing::AllOf(testing::HasSubstr("nosuchuser@mail.example.org"), testing::HasSubstr("lost")));
}

TEST_F(MailServer, HostileNamesAndOutputsReachTheirReceiverAndNobodyElse) {
  const std::vector<std::string> vecHostile = {"x\nBcc: bob",
                                               "x\r\nTo: bob\r\n\r\nbody",
                                               "${run{/bin/touch /tmp/pwned}}",
                                               "`touch /tmp/pwned`$(touch /tmp/pwned)",
                                               "\n.\nMAIL FROM:<bob>\nRCPT TO:<bob>\n",
                                               "x\n\nFrom bob Thu Jan  1 00:00:00 1970\nTo: bob\n\n",
                                               std::string(3000, '"') + "\\",
                                               "%OUT_PUT% %TASK%"};
  for (const std::string& strHostile : vecHostile) {
    ASSERT_EQ(send("alice", strHostile, strHostile), 0);
  }
  EXPECT_THAT(entries("/var/mail"), testing::ElementsAre("alice"));
  EXPECT_FALSE(fs::exists("/tmp/pwned"));
  const Json::Value jMails = mailbox("alice");
  ASSERT_EQ(jMails.size(), vecHostile.size());
  for (const Json::Value& jMail : jMails) {
    EXPECT_THAT(header(jMail, "To"), testing::ElementsAre("alice@mail.example.org"));
    EXPECT_THAT(header(jMail, "Bcc"), testing::IsEmpty());
    EXPECT_TRUE(jMail["defects"].empty()) << jMail["defects"].toStyledString();
  }
}

}  // namespace

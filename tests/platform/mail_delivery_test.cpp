// Sends mail with a real mail program to a real mail server.

#include "orva_platform.h"

#include "platform_fixture.h"
#include "smtp_sink.h"
#include "support/files.h"
#include "support/processes.h"

using OrvaTest::SmtpSink;

namespace {

class MailDelivery : public OrvaTest::PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
    OrvaTest::adoptOrphans();
  }

  void TearDown() override {
    OrvaTest::waitForOrphans();
    PlatformTest::TearDown();
  }

  static int send(const std::string& strTask, const std::string& strOutput) {
    return OrvaTest::sendTaskMail("admin@example.org", strTask, strOutput);
  }
};

TEST_F(MailDelivery, ServerGetsTheWholeMessageForOneReceiver) {
  SmtpSink sink;
  sink.configureMsmtp();
  OrvaTest::writeFile("/etc/orvainfo.conf",
                      "mailprogram=/usr/bin/msmtp\nmailfrom=scheduler@example.org\nmaillang=jpn\n");
  ASSERT_EQ(send("x\nBcc: evil@example.org", "first\n.\nRCPT TO:<evil@example.org>\n..two dots\nFrom here\n"), 0);
  const Json::Value jMail = sink.nextMail();
  EXPECT_EQ(jMail["from"].asString(), "scheduler@example.org");
  ASSERT_EQ(jMail["to"].size(), 1U);
  EXPECT_EQ(jMail["to"][0].asString(), "admin@example.org");
  const Json::Value jParsed = OrvaTest::readMail(jMail["message"].asString());
  EXPECT_TRUE(jParsed["defects"].empty()) << jParsed["defects"].toStyledString();
  EXPECT_THAT(jParsed["body"].asString(),
              testing::HasSubstr("first\n.\nRCPT TO:<evil@example.org>\n..two dots\nFrom here\n"));
  for (const Json::Value& jHeader : jParsed["headers"]) {
    EXPECT_NE(jHeader[0].asString(), "Bcc");
  }
}

TEST_F(MailDelivery, ServerThatIsDownCostsNoMail) {
  OrvaTest::configureMsmtp("1");
  OrvaTest::writeFile("/etc/orvainfo.conf", "mailprogram=/usr/bin/msmtp\nmailfrom=scheduler@example.org\n");
  ASSERT_EQ(send("backup", "output\n"), 0);
  OrvaTest::waitForOrphans();
  EXPECT_THAT(OrvaTest::entries("/var/spool/orva/outbox"), testing::SizeIs(1));
  SmtpSink sink;
  sink.configureMsmtp();
  EXPECT_EQ(OrvaTest::runCommand({ORVA_MAIL_FLUSH}).iStatus, 0);
  EXPECT_THAT(sink.nextMail()["message"].asString(), testing::HasSubstr("] backup ended"));
}

}  // namespace

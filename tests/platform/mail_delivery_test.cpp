// Mail through a mail program of the real world to a real mail server.

#include <cstdio>
#include <json/reader.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"

namespace {

// The sink of smtp_sink.py as a child process; it ends with this object.
class Sink {
public:
  Sink() {
    int fdIn[2] = {-1, -1};
    int fdOut[2] = {-1, -1};
    if (pipe(fdIn) != 0 || pipe(fdOut) != 0) {
      throw std::runtime_error("pipe");
    }
    m_pid = fork();
    if (m_pid == 0) {
      dup2(fdIn[0], 0);
      dup2(fdOut[1], 1);
      for (const int fd : {fdIn[0], fdIn[1], fdOut[0], fdOut[1]}) {
        close(fd);
      }
      execl("/usr/bin/python3", "python3", ORVA_TEST_SCRIPTS "/smtp_sink.py", nullptr);
      _exit(127);
    }
    close(fdIn[0]);
    close(fdOut[1]);
    m_fdIn = fdIn[1];
    m_pOut = fdopen(fdOut[0], "r");
  }
  ~Sink() {
    close(m_fdIn);
    fclose(m_pOut);
    waitpid(m_pid, nullptr, 0);
  }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  // The next line that it prints; waits for it.
  std::string line() {
    std::string strLine;
    for (int ch = std::fgetc(m_pOut); ch != EOF && ch != '\n'; ch = std::fgetc(m_pOut)) {
      strLine += static_cast<char>(ch);
    }
    return strLine;
  }

private:
  pid_t m_pid = -1;
  int m_fdIn = -1;
  FILE* m_pOut = nullptr;
};

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

  int send(const std::string& strTask, const std::string& strOutput) {
    PKLIBCSZHASH pHash = KLIBCSzHashAlloc(512);
    KLIBCSzHashSetValue(&pHash, "%TASK%", strTask.c_str());
    KLIBCSzHashSetValue(&pHash, "%OUT_PUT%", strOutput.c_str());
    const int iResult = ORVAMailSendMessageWithoutBlock("eOrvascheduler_complete_task", pHash, "admin@example.org", 0);
    KLIBCSzHashFree(pHash);
    return iResult;
  }
};

TEST_F(MailDelivery, ServerGetsTheWholeMessageForOneReceiver) {
  Sink sink;
  const std::string strPort = sink.line();
  ASSERT_FALSE(strPort.empty()) << "the mail server did not start";
  OrvaTest::writeFile("/etc/msmtprc",
                      "defaults\ntls off\nauth off\naccount default\nhost 127.0.0.1\nport " + strPort + "\n");
  OrvaTest::writeFile("/etc/orvainfo.conf",
                      "mailprogram=/usr/bin/msmtp\nmailfrom=scheduler@example.org\nmaillang=jpn\n");
  ASSERT_EQ(send("x\nBcc: evil@example.org", "first\n.\nRCPT TO:<evil@example.org>\n..two dots\nFrom here\n"), 0);
  Json::Value jMail;
  std::istringstream(sink.line()) >> jMail;
  EXPECT_EQ(jMail["from"].asString(), "scheduler@example.org");
  ASSERT_EQ(jMail["to"].size(), 1U);
  EXPECT_EQ(jMail["to"][0].asString(), "admin@example.org");
  OrvaTest::writeFile("/tmp/message.eml", jMail["message"].asString());
  const auto parsed = OrvaTest::runCommand(
      {"/bin/sh", "-c", "exec /usr/bin/python3 " ORVA_TEST_SCRIPTS "/parse_mail.py < /tmp/message.eml"});
  Json::Value jParsed;
  std::istringstream(parsed.strOut) >> jParsed;
  EXPECT_TRUE(jParsed["defects"].empty()) << jParsed["defects"].toStyledString();
  EXPECT_THAT(jParsed["body"].asString(),
              testing::HasSubstr("first\n.\nRCPT TO:<evil@example.org>\n..two dots\nFrom here\n"));
  for (const Json::Value& jHeader : jParsed["headers"]) {
    EXPECT_NE(jHeader[0].asString(), "Bcc");
  }
}

TEST_F(MailDelivery, ServerThatIsDownCostsNoMail) {
  OrvaTest::writeFile("/etc/msmtprc", "defaults\ntls off\nauth off\naccount default\nhost 127.0.0.1\nport 1\n");
  OrvaTest::writeFile("/etc/orvainfo.conf", "mailprogram=/usr/bin/msmtp\nmailfrom=scheduler@example.org\n");
  ASSERT_EQ(send("backup", "output\n"), 0);
  OrvaTest::waitForOrphans();
  EXPECT_THAT(OrvaTest::entries("/var/spool/orva/outbox"), testing::SizeIs(1));
  Sink sink;
  OrvaTest::writeFile("/etc/msmtprc",
                      "defaults\ntls off\nauth off\naccount default\nhost 127.0.0.1\nport " + sink.line() + "\n");
  EXPECT_EQ(OrvaTest::runCommand({ORVA_MAIL_FLUSH}).iStatus, 0);
  Json::Value jMail;
  std::istringstream(sink.line()) >> jMail;
  EXPECT_THAT(jMail["message"].asString(), testing::HasSubstr("Task backup has ended"));
}

}  // namespace

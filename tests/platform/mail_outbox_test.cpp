// Mail in the outbox: limits of number and age, and its delivery.

#include <csignal>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utime.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"

namespace fs = std::filesystem;
using OrvaTest::entries;
using OrvaTest::installMailProgram;
using OrvaTest::sendTaskMail;

namespace {

const std::string OUTBOX = "/var/spool/orva/outbox";
constexpr std::time_t HOUR = 3600;
constexpr std::time_t DAY = 24 * HOUR;

class MailOutbox : public OrvaTest::PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
    OrvaTest::adoptOrphans();
    installMailProgram(OrvaTest::KEEPING_MAIL_PROGRAM);
    fs::create_directories(OUTBOX);
    chmod(OUTBOX.c_str(), 0700);
  }

  void TearDown() override {
    OrvaTest::waitForOrphans();
    PlatformTest::TearDown();
  }

  // Adds a file with an older time.
  static void put(const std::string& strName, std::time_t age = 0,
                  const std::string& strContent = "a@b c@d\nSubject: x\n\nx\n") {
    const std::string strPath = OUTBOX + "/" + strName;
    OrvaTest::writeFile(strPath, strContent, 0600);
    const std::time_t then = std::time(nullptr) - age;
    const utimbuf times{then, then};
    ASSERT_EQ(utime(strPath.c_str(), &times), 0);
  }

  static std::string flush() { return OrvaTest::runCommand({ORVA_MAIL_FLUSH}).strOut; }
};

TEST_F(MailOutbox, SizeOfWaitingMailIsLimited) {
  put("1");
  fs::remove("/tmp/mailprogram");
  ASSERT_EQ(truncate((OUTBOX + "/1").c_str(), (64 << 20) - 100), 0);
  ASSERT_EQ(sendTaskMail("a@b"), 0);
  OrvaTest::waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::ElementsAre("1")) << "there is no space for another message";
  ASSERT_EQ(truncate((OUTBOX + "/1").c_str(), (64 << 20) - 10'000), 0);
  ASSERT_EQ(sendTaskMail("a@b"), 0);
  OrvaTest::waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::SizeIs(2));
}

TEST_F(MailOutbox, NextMailThatIsTakenEmptiesAFullOutbox) {
  constexpr int N_MAILS = 500;
  installMailProgram("#!/bin/sh\ncat > /dev/null\necho >> /tmp/taken\n");
  for (int i = 0; i < N_MAILS; ++i) {
    put(std::to_string(1000 + i));
  }
  ASSERT_EQ(sendTaskMail("a@b"), 0);
  OrvaTest::waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
  EXPECT_EQ(fs::file_size("/tmp/taken"), 1U + N_MAILS);
}

TEST_F(MailOutbox, RefusedMailTakesAlongWaitingMail) {
  put("1", 0, "a@b good@d\nx\n");
  installMailProgram("#!/bin/sh\n[ \"$5\" = good@d ] || exit 67\ncat > /tmp/taken\n");
  ASSERT_EQ(sendTaskMail("nobody@b"), 0);
  OrvaTest::waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
  EXPECT_EQ(OrvaTest::readFile("/tmp/taken"), "x\n");
}

TEST_F(MailOutbox, MailIsGivenUpAfterFiveDays) {
  installMailProgram("#!/bin/sh\nexit 75\n");
  put("old", 5 * DAY + HOUR);
  put("young", 5 * DAY - HOUR);
  EXPECT_EQ(flush(), "1 mail waiting\n");
  EXPECT_THAT(entries(OUTBOX), testing::ElementsAre("young"));
}

TEST_F(MailOutbox, OldMailIsStillDeliveredWhenTheProgramTakesIt) {
  put("old", 50 * DAY);
  EXPECT_EQ(flush(), "0 mails waiting\n");
  EXPECT_THAT(entries("/tmp/mail"), testing::ElementsAre("1.args", "1.eml"));
}

TEST_F(MailOutbox, MessageThatWasNeverFinishedIsClearedAwayAfterAnHour) {
  put(".new.old", 2 * HOUR);
  put(".new.fresh");
  put(".other", 2 * HOUR);
  EXPECT_EQ(flush(), "0 mails waiting\n");
  EXPECT_THAT(entries(OUTBOX), testing::ElementsAre(".new.fresh", ".other"));
  EXPECT_THAT(entries("/tmp/mail"), testing::IsEmpty());
}

TEST_F(MailOutbox, OldestMailIsDeliveredFirst) {
  put("0002", 0, "a@b second@d\nx\n");
  put("0001", 0, "a@b first@d\nx\n");
  put("0003", 0, "a@b third@d\nx\n");
  EXPECT_EQ(flush(), "0 mails waiting\n");
  EXPECT_THAT(OrvaTest::readFile("/tmp/mail/1.args"), testing::HasSubstr("first@d"));
  EXPECT_THAT(OrvaTest::readFile("/tmp/mail/3.args"), testing::HasSubstr("third@d"));
}

TEST_F(MailOutbox, SeveralFlushesAtOnceDeliverEachMailOnce) {
  constexpr int N_MAILS = 25;
  for (int i = 0; i < N_MAILS; ++i) {
    put(std::to_string(1000 + i));
  }
  for (int i = 0; i < 4; ++i) {
    if (fork() == 0) {
      execl(ORVA_MAIL_FLUSH, ORVA_MAIL_FLUSH, nullptr);
      _exit(127);
    }
  }
  OrvaTest::waitForOrphans();
  EXPECT_THAT(entries("/tmp/mail"), testing::SizeIs(2 * N_MAILS));
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
}

TEST_F(MailOutbox, ProcessThatIsKilledOnItsWayLosesNoMail) {
  ASSERT_EQ(mkfifo("/tmp/gate", 0600), 0);
  installMailProgram("#!/bin/sh\necho $$ > /tmp/gate\nexec sleep 1000\n");
  ASSERT_EQ(sendTaskMail("a@b", "backup", "kept all the same\n"), 0);
  const std::string strProgram = OrvaTest::readFile("/tmp/gate");
  // The mail program is running; the only child here is the process that started it.
  for (const pid_t pid : OrvaTest::children()) {
    kill(pid, SIGKILL);
  }
  kill(std::stoi(strProgram), SIGKILL);
  OrvaTest::waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::SizeIs(1));
  installMailProgram(OrvaTest::KEEPING_MAIL_PROGRAM);
  EXPECT_EQ(flush(), "0 mails waiting\n");
  EXPECT_THAT(OrvaTest::readFile("/tmp/mail/1.eml"), testing::HasSubstr("kept all the same"));
  fs::remove("/tmp/gate");
}

TEST_F(MailOutbox, ProgramThatReadsSlowlyGetsTheWholeMessage) {
  ASSERT_EQ(mkfifo("/tmp/gate", 0600), 0);
  installMailProgram("#!/bin/sh\nhead -c 100 > /tmp/mail.eml\ncat /tmp/gate > /dev/null\ncat >> /tmp/mail.eml\n");
  ASSERT_EQ(sendTaskMail("a@b", "backup", std::string(200'000, 'x') + "\nthe end\n"), 0);
  OrvaTest::writeFile("/tmp/gate", "go on\n", 0600);
  OrvaTest::waitForOrphans();
  const std::string strMail = OrvaTest::readFile("/tmp/mail.eml");
  EXPECT_THAT(strMail, testing::StartsWith("Date: "));
  EXPECT_THAT(strMail, testing::EndsWith("\nthe end\n\n"));
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
  fs::remove("/tmp/gate");
}

TEST_F(MailOutbox, FullDiskKeepsNoHalfMessageAndTheMailIsSentOnce) {
  fs::remove_all("/var/spool/orva");
  OrvaTest::mountTmpfs("/var/spool/orva", "size=64k,mode=755");
  ASSERT_EQ(sendTaskMail("a@b", "backup", std::string(200'000, 'x') + "\nthe end\n"), 0);
  OrvaTest::waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
  EXPECT_THAT(OrvaTest::readFile("/tmp/mail/1.eml"), testing::HasSubstr("the end"));
  OrvaTest::runCommand({"umount", "/var/spool/orva"});
}

}  // namespace

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <pthread.h>
#include <random>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"

namespace fs = std::filesystem;
using OrvaTest::entries;
using OrvaTest::installMailProgram;
using OrvaTest::KEEPING_MAIL_PROGRAM;
using OrvaTest::PlatformTest;
using OrvaTest::readFile;
using OrvaTest::waitForOrphans;

namespace {

constexpr const char* OUTBOX = "/var/spool/orva/outbox";
constexpr const char* TEMPLATE = "eOrvascheduler_complete_task";

class Mail : public PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
    OrvaTest::adoptOrphans();
    installMailProgram(KEEPING_MAIL_PROGRAM);
    fs::remove("/tmp/called");
  }

  static int send(const std::string& strTo, const std::string& strOutput = "all is well\n",
                  const char* szTemplate = TEMPLATE) {
    return OrvaTest::sendTaskMail(strTo, "backup", strOutput, szTemplate);
  }
};

TEST_F(Mail, TextsAreCutAtTheLimitThatIsTold) {
  EXPECT_EQ(ORVAMailTextMax(), 1 << 20);
}

TEST_F(Mail, MessageReachesTheMailProgramWithItsEnvelope) {
  ASSERT_EQ(send("admin@example.org"), 0);
  EXPECT_TRUE(waitForOrphans());
  EXPECT_EQ(readFile("/tmp/mail/1.args"), "-i\n-f\nscheduler@example.org\n--\nadmin@example.org\n");
  const std::string strMail = readFile("/tmp/mail/1.eml");
  EXPECT_THAT(strMail, testing::StartsWith("Date: "));
  EXPECT_THAT(strMail, testing::HasSubstr("\nTo: admin@example.org\n"));
  EXPECT_THAT(strMail, testing::HasSubstr("\nSubject: [" + OrvaTest::hostName() + "] backup ended\n"));
  EXPECT_THAT(strMail, testing::HasSubstr("\nall is well\n"));
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
  EXPECT_EQ(OrvaTest::fileMode(OUTBOX), 0700U);
}

// A host that prepares its children must tell them from those that deliver mail.
TEST_F(Mail, ForksForMailAreToldFromOthers) {
  static std::vector<int> forking;
  pthread_atfork([] { forking.push_back(ORVAMailIsForking()); }, nullptr, nullptr);
  ASSERT_EQ(send("admin@example.org"), 0);
  EXPECT_TRUE(waitForOrphans());
  EXPECT_THAT(forking, testing::ElementsAre(1));
  const pid_t pid = fork();
  if (pid == 0) {
    _exit(0);
  }
  EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
  EXPECT_THAT(forking, testing::ElementsAre(1, 0));
}

TEST_F(Mail, LanguageOfTheServerChoosesTheTemplateAndEnglishStandsIn) {
  OrvaTest::writeFile("/etc/orvainfo.conf", "maillang=ger\nmailprogram=/tmp/mailprogram\n");
  ASSERT_EQ(send("a@b"), 0);
  waitForOrphans();
  EXPECT_THAT(readFile("/tmp/mail/1.eml"),
              testing::HasSubstr("\nSubject: [" + OrvaTest::hostName() + "] backup beendet\n"));
  for (const char* const szLanguage : {"ita", "../enu", ""}) {
    OrvaTest::writeFile("/etc/orvainfo.conf", std::string("mailprogram=/tmp/mailprogram\nmaillang=") + szLanguage);
    fs::remove_all("/tmp/mail");
    ASSERT_EQ(send("a@b"), 0);
    waitForOrphans();
    EXPECT_THAT(readFile("/tmp/mail/1.eml"), testing::HasSubstr("] backup ended\n")) << szLanguage;
  }
}

// The library gives the code that it recorded, with its text in the server's language.
TEST_F(Mail, ResultTellsWhetherTheTaskEndedWell) {
  struct Case {
    const char* szLanguage;
    const char* szExitCode;
    const char* szResult;
  };
  for (const Case& test : {Case{"enu", "0 (ended normally)", "] backup ended\n"}, Case{"enu", "0", "] backup ended\n"},
                           Case{"enu", "0 (ended by a signal or with an error)",
                                "] backup failed: 0 (ended by a signal or with an error)\n"},
                           Case{"enu", "0 (some other text)", "] backup ended\n"},
                           Case{"enu", "3 (ended normally)", "] backup failed: 3 (ended normally)\n"},
                           Case{"enu", "10 (ended normally)", "] backup failed: 10 (ended normally)\n"},
                           Case{"enu", " (ended by a signal or with an error)", "] backup failed:  (ended by a signal"},
                           Case{"ger", "0 (normal beendet)", "[HOST] backup beendet\n"},
                           Case{"ger", "9 (normal beendet)", "[HOST] backup fehlgeschlagen: 9 (normal beendet)\n"}}) {
    OrvaTest::writeFile("/etc/orvainfo.conf",
                        std::string("mailprogram=/tmp/mailprogram\nmaillang=") + test.szLanguage + "\n");
    fs::remove_all("/tmp/mail");
    ASSERT_EQ(OrvaTest::sendTaskMail("a@b", "backup", "", TEMPLATE, test.szExitCode), 0);
    waitForOrphans();
    std::string strExpected = test.szResult;
    if (const std::size_t uHost = strExpected.find("HOST"); uHost != std::string::npos) {
      strExpected.replace(uHost, 4, OrvaTest::hostName());
    }
    EXPECT_THAT(readFile("/tmp/mail/1.eml"), testing::HasSubstr(strExpected)) << test.szExitCode;
  }
}

// Only a host knows the end of the script, the run and its owner.
TEST_F(Mail, HostTellsMoreAboutTheRun) {
  const std::pair<const char*, const char*> values[] = {{"%END%", "exit 128"},
                                                        {"%ENDED_WELL%", "0"},
                                                        {"%RUN%", "12"},
                                                        {"%OWNER%", "alice\nBcc: x@y"},
                                                        {"%TASK%", "other"}};
  for (const auto& [szKey, szValue] : values) {
    ORVAMailAddValue(szKey, szValue);
  }
  ASSERT_EQ(OrvaTest::sendTaskMail("a@b", "backup", "", TEMPLATE, "0 (ended normally)"), 0);
  waitForOrphans();
  const std::string strMail = readFile("/tmp/mail/1.eml");
  EXPECT_THAT(strMail, testing::HasSubstr("] backup failed: exit 128\n"));
  EXPECT_THAT(strMail, testing::HasSubstr("\nRun:      12\n"));
  EXPECT_THAT(strMail, testing::HasSubstr("\nEvent:    -\n")) << "not known";
  EXPECT_GT(strMail.find("\nBcc: x@y"), strMail.find("\n\n")) << "a value added a header";
  ORVAMailAddValue("%RUN%", nullptr);
  ORVAMailAddValue(nullptr, nullptr);
  fs::remove_all("/tmp/mail");
  ASSERT_EQ(OrvaTest::sendTaskMail("a@b", "backup", "", TEMPLATE, "0 (ended normally)"), 0);
  waitForOrphans();
  EXPECT_THAT(readFile("/tmp/mail/1.eml"), testing::HasSubstr("] backup ended\n")) << "all values are forgotten";
}

TEST_F(Mail, CallerCanGiveHostAndResultItself) {
  OrvaTest::writeFile("/usr/orva/share/mail/enu/own.mail", "Subject: s\n\n%HOST% %RESULT% %EXIT_CODE%\n");
  PKLIBCSZHASH pHash = KLIBCSzHashAlloc(8);
  KLIBCSzHashSetValue(&pHash, "%EXIT_CODE%", "0");
  KLIBCSzHashSetValue(&pHash, "%HOST%", "other");
  KLIBCSzHashSetValue(&pHash, "%RESULT%", "was stopped");
  EXPECT_EQ(ORVAMailSendMessageWithoutBlock("own", pHash, "a@b", 0), 0);
  KLIBCSzHashFree(pHash);
  waitForOrphans();
  EXPECT_THAT(readFile("/tmp/mail/1.eml"), testing::HasSubstr("\nother was stopped 0\n"));
}

TEST_F(Mail, SenderIsRootOfTheMailNameUnlessASettingSaysOtherwise) {
  OrvaTest::writeFile("/etc/mailname", "server.example.net\n");
  for (const char* const szSetting : {"", "mailfrom=-oQ/tmp/evil\n", "mailfrom=a b@c\n"}) {
    OrvaTest::writeFile("/etc/orvainfo.conf", std::string("mailprogram=/tmp/mailprogram\n") + szSetting);
    fs::remove_all("/tmp/mail");
    ASSERT_EQ(send("a@b"), 0);
    waitForOrphans();
    EXPECT_EQ(readFile("/tmp/mail/1.args"), "-i\n-f\nroot@server.example.net\n--\na@b\n");
    EXPECT_THAT(readFile("/tmp/mail/1.eml"), testing::HasSubstr("\nFrom: root@server.example.net\n"));
  }
}

TEST_F(Mail, SendmailIsTheMailProgramWithoutASetting) {
  OrvaTest::writeFile("/etc/orvainfo.conf", "maillang=enu\n");
  OrvaTest::writeFile("/usr/sbin/sendmail", KEEPING_MAIL_PROGRAM, 0755);
  ASSERT_EQ(send("a@b"), 0);
  waitForOrphans();
  EXPECT_THAT(entries("/tmp/mail"), testing::ElementsAre("1.args", "1.eml"));
  fs::remove("/usr/sbin/sendmail");
}

TEST_F(Mail, TemplateThatIsNoneIsRefused) {
  for (const char* const szTemplate : {"missing", "", "../log/eorvascheduler", "../../etc/passwd", "a.b"}) {
    EXPECT_LT(send("a@b", "x", szTemplate), 0) << szTemplate;
  }
  OrvaTest::writeFile("/usr/orva/share/mail/enu/headless.mail", "no header\n\nbody\n");
  OrvaTest::writeFile("/usr/orva/share/mail/enu/mute.mail", "Cut: x\n\nbody\n");
  EXPECT_LT(send("a@b", "x", "headless"), 0);
  EXPECT_LT(send("a@b", "x", "mute"), 0);
  EXPECT_LT(ORVAMailSendMessageWithoutBlock(nullptr, nullptr, nullptr, 0), 0);
  EXPECT_FALSE(waitForOrphans());
}

TEST_F(Mail, HostsLearnBeforehandWhichAddressesAreRefused) {
  for (const char* const szTo : {"root", "a@b", "a!b@x.org", "a..b@x.org", "a@x_y.org", "root%local", "-oops", ""}) {
    EXPECT_EQ(ORVAMailIsAddress(szTo), send(szTo) >= 0 ? 1 : 0) << szTo;
  }
  EXPECT_EQ(ORVAMailIsAddress("root"), 1);
  EXPECT_EQ(ORVAMailIsAddress("a!b@x.org"), 0);
  EXPECT_EQ(ORVAMailIsAddress(nullptr), 0);
  EXPECT_TRUE(waitForOrphans());
}

TEST_F(Mail, CallerGoesOnWhileTheMailProgramHangs) {
  ASSERT_EQ(mkfifo("/tmp/gate", 0600), 0);
  installMailProgram("#!/bin/sh\n: > /tmp/called\ncat /tmp/gate > /dev/null\n");
  const std::string strLong(3 << 20, 'x');
  ASSERT_EQ(send("a@b", strLong), 0) << "the message is larger than any pipe";
  // The program waits for this end of the pipe, so it cannot have ended before.
  const int fdGate = open("/tmp/gate", O_WRONLY);
  EXPECT_THAT(entries(OUTBOX), testing::SizeIs(1)) << "kept until it is taken";
  EXPECT_EQ(OrvaTest::fileMode(std::string(OUTBOX) + "/" + entries(OUTBOX).at(0)), 0600U);
  close(fdGate);
  EXPECT_TRUE(waitForOrphans());
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
  fs::remove("/tmp/gate");
}

TEST_F(Mail, CallerKeepsItsChildrenItsSignalsAndItsOutput) {
  const pid_t pidOwn = fork();
  if (pidOwn == 0) {
    _exit(42);
  }
  int fdPipe[2];
  ASSERT_EQ(pipe(fdPipe), 0);
  ASSERT_EQ(mkfifo("/tmp/gate", 0600), 0);
  installMailProgram("#!/bin/sh\nls -l /proc/$$/fd > /tmp/called\ncat /tmp/gate > /dev/null\n");
  const int fdKeptOut = dup(STDOUT_FILENO);
  dup2(fdPipe[1], STDOUT_FILENO);
  const int iResult = send("a@b");
  dup2(fdKeptOut, STDOUT_FILENO);
  close(fdKeptOut);
  close(fdPipe[1]);
  EXPECT_EQ(iResult, 0);
  const int fdGate = open("/tmp/gate", O_WRONLY);
  pollfd watched{fdPipe[0], POLLIN, 0};
  EXPECT_EQ(poll(&watched, 1, 20'000), 1) << "the courier and the mail program must not hold the caller's pipe";
  EXPECT_NE(watched.revents & POLLHUP, 0);
  close(fdPipe[0]);
  close(fdGate);
  int iStatus = 0;
  ASSERT_EQ(waitpid(pidOwn, &iStatus, 0), pidOwn);
  EXPECT_EQ(WEXITSTATUS(iStatus), 42);
  waitForOrphans();
  EXPECT_THAT(readFile("/tmp/called"), testing::Not(testing::HasSubstr("pipe:")));
  fs::remove("/tmp/gate");
}

TEST_F(Mail, ProgramThatDoesNotReadOrDiesLosesNoMail) {
  for (const char* const szScript :
       {"#!/bin/sh\nexec <&-\nexit 75\n", "#!/bin/sh\nkill -9 $$\n", "#!/bin/sh\nexit 1\n"}) {
    installMailProgram(szScript);
    ASSERT_EQ(send("a@b"), 0);
    waitForOrphans();
  }
  EXPECT_THAT(entries(OUTBOX), testing::SizeIs(3));
  installMailProgram(KEEPING_MAIL_PROGRAM);
  ASSERT_EQ(send("new@b"), 0);
  waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty()) << "the next mail also sends the waiting mail";
  EXPECT_THAT(entries("/tmp/mail"), testing::SizeIs(8));
  EXPECT_THAT(readFile("/tmp/mail/1.args"), testing::HasSubstr("new@b"));
}

TEST_F(Mail, MissingProgramKeepsTheMailForTheFlush) {
  fs::remove("/tmp/mailprogram");
  ASSERT_EQ(send("a@b", "kept text\n"), 0);
  waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::SizeIs(1));
  auto flushed = OrvaTest::runCommand({ORVA_MAIL_FLUSH});
  EXPECT_EQ(flushed.iStatus, 1);
  EXPECT_EQ(flushed.strOut, "1 mail waiting\n");
  installMailProgram(KEEPING_MAIL_PROGRAM);
  flushed = OrvaTest::runCommand({ORVA_MAIL_FLUSH});
  EXPECT_EQ(flushed.iStatus, 0);
  EXPECT_EQ(flushed.strOut, "0 mails waiting\n");
  EXPECT_THAT(readFile("/tmp/mail/1.eml"),
              testing::AllOf(testing::StartsWith("Date: "), testing::HasSubstr("kept text")));
  EXPECT_EQ(readFile("/tmp/mail/1.args"), "-i\n-f\nscheduler@example.org\n--\na@b\n");
  EXPECT_EQ(OrvaTest::runCommand({ORVA_MAIL_FLUSH, "now"}).iStatus, 2);
}

TEST_F(Mail, UnknownReceiverIsGivenUp) {
  installMailProgram("#!/bin/sh\nexit 67\n");
  ASSERT_EQ(send("a@b"), 0);
  waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
}

TEST_F(Mail, OutboxThatSomebodyElseOwnsIsNotUsedAndTheMailStillSent) {
  fs::create_directories(OUTBOX);
  ASSERT_EQ(chown(OUTBOX, 4711, 4711), 0);
  ASSERT_EQ(send("a@b"), 0);
  waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
  EXPECT_THAT(entries("/tmp/mail"), testing::SizeIs(2));
}

TEST_F(Mail, FullOutboxKeepsNoMore) {
  fs::create_directories(OUTBOX);
  chmod(OUTBOX, 0700);
  for (int i = 0; i < 500; ++i) {
    OrvaTest::writeFile(std::string(OUTBOX) + "/0000." + std::to_string(1000 + i), "a@b c@d\nx\n", 0600);
  }
  fs::remove("/tmp/mailprogram");
  ASSERT_EQ(send("a@b"), 0);
  waitForOrphans();
  EXPECT_THAT(entries(OUTBOX), testing::SizeIs(500));
}

TEST_F(Mail, OtherFilesInTheOutboxReachNobody) {
  fs::create_directories(OUTBOX);
  chmod(OUTBOX, 0700);
  const std::string strOutbox = OUTBOX;
  OrvaTest::writeFile(strOutbox + "/1", "", 0600);
  OrvaTest::writeFile(strOutbox + "/2", "-oQ/tmp a@b\nx\n", 0600);
  OrvaTest::writeFile(strOutbox + "/3", "a@b |/bin/sh\nx\n", 0600);
  OrvaTest::writeFile(strOutbox + "/.new.1", "a@b c@d\nunfinished\n", 0600);
  fs::create_symlink("/etc/shadow", strOutbox + "/4");
  EXPECT_EQ(OrvaTest::runCommand({ORVA_MAIL_FLUSH}).strOut, "0 mails waiting\n");
  EXPECT_THAT(entries(OUTBOX), testing::ElementsAre(".new.1", "4"));
  EXPECT_THAT(entries("/tmp/mail"), testing::IsEmpty());
}

TEST_F(Mail, ManyMailsAtOnceAllArriveOnce) {
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(send("user" + std::to_string(i) + "@b"), 0);
  }
  waitForOrphans();
  EXPECT_THAT(entries("/tmp/mail"), testing::SizeIs(40));
  EXPECT_THAT(entries(OUTBOX), testing::IsEmpty());
}

TEST_F(Mail, CallerThatIgnoresEndedChildrenMailsAllTheSame) {
  signal(SIGCHLD, SIG_IGN);
  EXPECT_EQ(send("a@b"), 0);
  // With this disposition the wait ends only when the last child has ended, with ECHILD.
  waitpid(-1, nullptr, 0);
  signal(SIGCHLD, SIG_DFL);
  waitForOrphans();
  EXPECT_THAT(entries("/tmp/mail"), testing::SizeIs(2));
}

// None of these addresses may reach the mail program.
TEST_F(Mail, TenThousandHostileAddressesAreRefused) {
  std::mt19937 random(7);
  const auto pick = [&random](const std::vector<std::string>& vecPiece) {
    return vecPiece[random() % vecPiece.size()];
  };
  const std::vector<std::string> vecStart = {"", "a", "-a", "|a", "/a", ":include:/a", "\"a", "<a", "a\\", "root"};
  const std::vector<std::string> vecPoison = {
      "\n", "\r",  "\r\nBcc: x@y", "\t", " ",  ",",   ";",    "|",    "`id`",     "$(x)", "@b@", "<",
      ">",  "(c)", "\"",           "\\", "!x", "%x@", "\x7F", "\xC3", "\xC3\xA9", "\x01", "\v",  "/",
      ":",  "*",   "[1]",          "..", "{",  "#",   "?",    "^",    "=\n",      "\x1B"};
  const std::vector<std::string> vecEnd = {"",    "@b",  "@b.example.org", "@b,c@d", "@b\n", "@-b",
                                           "@b-", "@.b", "@b..c",          "@"};
  for (int i = 0; i < 10'000; ++i) {
    const std::string strTo = pick(vecStart) + pick(vecPoison) + pick(vecEnd);
    ASSERT_LT(send(strTo), 0) << "[" << strTo << "]";
    ASSERT_EQ(KLIBCErrGet(), EINVAL);
  }
  EXPECT_FALSE(waitForOrphans());
  EXPECT_THAT(entries("/tmp/mail"), testing::IsEmpty());
}

TEST_F(Mail, OrdinaryAddressesAreTaken) {
  const std::vector<std::string> vecAddress = {"root", "o'brien@example.org", "a.b+c_d=e@x-y.example.org", "1@2",
                                               "_x@y"};
  for (const std::string& strAddress : vecAddress) {
    EXPECT_EQ(send(strAddress), 0) << strAddress;
  }
  waitForOrphans();
  EXPECT_THAT(entries("/tmp/mail"), testing::SizeIs(2 * vecAddress.size()));
}

}  // namespace

// The event file with several writers, where one acts between the steps of another.

#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

namespace fs = std::filesystem;

namespace {

const std::string EVENT_FILE = "/var/log/orva/event.jsonl";

class EventFile : public OrvaTest::PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
    fs::create_directories("/var/log/orva");
  }

  static pid_t startWriter() {
    const pid_t pid = fork();
    if (pid == 0) {
      _exit(ORVALogSet1(1, 1, 0x14400004, "late", "", "", "") == 0 ? 0 : 1);
    }
    return pid;
  }

  static int statusOf(pid_t pid) {
    int iStatus = -1;
    waitpid(pid, &iStatus, 0);
    return iStatus;
  }
};

TEST_F(EventFile, FileThatIsMovedAsideWhileAWriterWaitsForItGetsNoMoreLines) {
  OrvaTest::writeFile(EVENT_FILE, "{}\n");
  const int fdLocked = open(EVENT_FILE.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(flock(fdLocked, LOCK_EX), 0);
  const pid_t pidWriter = startWriter();
  ASSERT_TRUE(OrvaTest::waitUntilItWaitsForLock(pidWriter)) << "it has opened the file, and waits for its turn";
  fs::rename(EVENT_FILE, EVENT_FILE + ".1");
  // The writer inherited the descriptor: closing it here would not be enough.
  flock(fdLocked, LOCK_UN);
  close(fdLocked);
  EXPECT_EQ(statusOf(pidWriter), 0);
  EXPECT_EQ(OrvaTest::readFile(EVENT_FILE + ".1"), "{}\n");
  EXPECT_THAT(OrvaTest::readFile(EVENT_FILE), testing::HasSubstr("\"late\""));
}

TEST_F(EventFile, FileThatIsReplacedWhileAWriterWaitsForItGetsNoMoreLines) {
  OrvaTest::writeFile(EVENT_FILE, "{}\n");
  const int fdLocked = open(EVENT_FILE.c_str(), O_WRONLY | O_CLOEXEC);
  ASSERT_EQ(flock(fdLocked, LOCK_EX), 0);
  const pid_t pidWriter = startWriter();
  ASSERT_TRUE(OrvaTest::waitUntilItWaitsForLock(pidWriter));
  fs::rename(EVENT_FILE, EVENT_FILE + ".1");
  OrvaTest::writeFile(EVENT_FILE, "{\"of\":\"another writer\"}\n");
  // The writer inherited the descriptor: closing it here would not be enough.
  flock(fdLocked, LOCK_UN);
  close(fdLocked);
  EXPECT_EQ(statusOf(pidWriter), 0);
  EXPECT_EQ(OrvaTest::readFile(EVENT_FILE + ".1"), "{}\n");
  EXPECT_THAT(OrvaTest::readFile(EVENT_FILE),
              testing::AllOf(testing::StartsWith("{\"of\":\"another writer\"}\n"), testing::HasSubstr("\"late\"")));
}

}  // namespace

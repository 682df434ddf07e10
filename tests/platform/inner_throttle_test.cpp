// How often the notifier may send a key, with a clock that the test controls.

#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "notify/notifier.h"
#include "platform_fixture.h"
#include "support/files.h"

using orva::admitNotification;

namespace {

constexpr std::time_t NOW = 1'700'000'000;

class Throttle : public OrvaTest::PlatformTest {
protected:
  // The number of notices held back before the one sent now; -1 when this one is held back, too.
  static int ask(std::time_t now, const std::string& strKey = "key") {
    unsigned cSuppressed = 0;
    return admitNotification(strKey, now, cSuppressed) ? static_cast<int>(cSuppressed) : -1;
  }
};

TEST_F(Throttle, KeyIsSentOnceInTenMinutesAndTheNextCountsTheHeldBackOnes) {
  EXPECT_EQ(ask(NOW), 0);
  EXPECT_EQ(ask(NOW), -1);
  EXPECT_EQ(ask(NOW + 1), -1);
  EXPECT_EQ(ask(NOW + 599), -1);
  EXPECT_EQ(ask(NOW + 600), 3);
  EXPECT_EQ(ask(NOW + 600), -1) << "the ten minutes begin anew";
  EXPECT_EQ(ask(NOW + 1199), -1);
  EXPECT_EQ(ask(NOW + 1200), 2);
  EXPECT_EQ(ask(NOW + 99'999), 0) << "each one is counted once";
}

TEST_F(Throttle, KeysDoNotHoldEachOtherBack) {
  EXPECT_EQ(ask(NOW, "a"), 0);
  EXPECT_EQ(ask(NOW, "b"), 0);
  EXPECT_EQ(ask(NOW + 1, "a"), -1);
  EXPECT_EQ(ask(NOW + 600, "b"), 0);
}

TEST_F(Throttle, ClockThatWasSetBackSilencesNobody) {
  EXPECT_EQ(ask(NOW), 0);
  EXPECT_EQ(ask(NOW - 86400), 0);
  EXPECT_EQ(ask(NOW - 86400 + 599), -1) << "counted from the new time";
}

TEST_F(Throttle, DamagedStateAndStateThatCannotBeKeptSilenceNobody) {
  EXPECT_EQ(ask(NOW), 0);
  for (const char* const szDamage :
       {"", "damaged", "\xFF\xFE", "99999999999999999999 -3\n", "-99999999999999999999 1\n"}) {
    OrvaTest::writeFile("/var/lib/orva/notify/key", szDamage, 0600);
    EXPECT_EQ(ask(NOW + 1), 0) << szDamage;
  }
  std::filesystem::remove_all("/var/lib/orva/notify");
  OrvaTest::writeFile("/var/lib/orva/notify", "a file where the folder should be");
  EXPECT_EQ(ask(NOW), 0);
  EXPECT_EQ(ask(NOW), 0);
}

TEST_F(Throttle, OfManyAtTheSameMomentOneIsSent) {
  constexpr int N_PROCESSES = 16;
  EXPECT_EQ(ask(NOW - 600), 0);
  const int fdLocked = open("/var/lib/orva/notify/key", O_RDWR | O_CLOEXEC);
  ASSERT_EQ(flock(fdLocked, LOCK_EX), 0);
  std::vector<pid_t> vecPid;
  for (int i = 0; i < N_PROCESSES; ++i) {
    vecPid.push_back(fork());
    if (vecPid.back() == 0) {
      _exit(ask(NOW) >= 0 ? 1 : 0);
    }
  }
  for (const pid_t pid : vecPid) {
    EXPECT_TRUE(OrvaTest::waitUntilItWaitsForLock(pid)) << "each has its turn";
  }
  flock(fdLocked, LOCK_UN);
  close(fdLocked);
  int cSent = 0;
  for (int iStatus = 0; wait(&iStatus) > 0;) {
    cSent += WEXITSTATUS(iStatus);
  }
  EXPECT_EQ(cSent, 1);
  EXPECT_EQ(ask(NOW + 600), N_PROCESSES - 1);
}

}  // namespace

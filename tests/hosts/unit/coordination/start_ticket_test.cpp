/// Of several executions, a ticket lets one start.

#include "common/coordination/start_ticket.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;

namespace {

class StartTickets : public testing::Test {
protected:
  void SetUp() override { std::filesystem::remove_all(RUNTIME_FOLDER); }
  void TearDown() override {
    OrvaTest::endChildren();
    std::filesystem::remove_all(RUNTIME_FOLDER);
  }
};

constexpr int TICKETS = 1000;
constexpr int TAKERS = 4;

std::string nameOf(int iTicket) {
  return "eorva-fire-" + std::to_string(iTicket) + ".service";
}

/// Takes as many tickets as it can. \return how many.
[[noreturn]] void takeAll(int fdGo, int fdCount) {
  char c = 0;
  int cTaken = 0;
  // Until the parent closes it, so that all start at once.
  [[maybe_unused]] const ssize_t cb = read(fdGo, &c, 1);
  for (int i = 0; i < TICKETS; ++i) {
    cTaken += StartTicket::take(nameOf(i)) ? 1 : 0;
  }
  _exit(write(fdCount, &cTaken, sizeof cTaken) == sizeof cTaken ? 0 : 1);
}

}  // namespace

TEST_F(StartTickets, IsTakenOnce) {
  const StartTicket ticket(nameOf(1), {});
  EXPECT_EQ(OrvaTest::fileMode(TICKETS_FOLDER), 0700U);
  EXPECT_TRUE(StartTicket::take(ticket.name()));
  EXPECT_FALSE(StartTicket::take(ticket.name()));
  EXPECT_FALSE(ticket.withdraw());
}

TEST_F(StartTickets, ThatIsTakenBackCannotBeTaken) {
  const StartTicket ticket(nameOf(1), {});
  EXPECT_TRUE(ticket.withdraw());
  EXPECT_FALSE(StartTicket::take(ticket.name()));
}

TEST_F(StartTickets, ThatWasNeverIssuedCannotBeTaken) {
  EXPECT_FALSE(StartTicket::take(nameOf(1)));
}

TEST_F(StartTickets, HoldsTextsThatOnlyRootCanRead) {
  const std::vector<std::string> vecTexts = {"PASSWORD=a b\nc", "", "EMPTY=", std::string(200'000, 'x')};
  const StartTicket ticket(nameOf(1), vecTexts);
  EXPECT_EQ(OrvaTest::fileMode(std::string(TICKETS_FOLDER) + "/" + nameOf(1)), 0600U);
  EXPECT_EQ(StartTicket::take(ticket.name()), vecTexts);
}

TEST_F(StartTickets, NamesOfOtherFilesAreNone) {
  const StartTicket ticket(nameOf(1), {});
  OrvaTest::writeFile("/run/eorva/task-locks", "");
  for (const char* szName : {"", ".", "..", "../task-locks", "/run/eorva/task-locks", ".hidden"}) {
    EXPECT_THROW(StartTicket::take(szName), Failure) << szName;
  }
  EXPECT_TRUE(OrvaTest::fileExists("/run/eorva/task-locks"));
  EXPECT_THROW(StartTicket(nameOf(1), {}), Failure);
}

TEST_F(StartTickets, AThousandAreTakenOnceByFourTakers) {
  for (int i = 0; i < TICKETS; ++i) {
    const StartTicket ticket(nameOf(i), {});
  }
  int go[2];
  int counts[2];
  ASSERT_EQ(pipe(go), 0);
  ASSERT_EQ(pipe(counts), 0);
  for (int i = 0; i < TAKERS; ++i) {
    if (fork() == 0) {
      close(go[1]);
      takeAll(go[0], counts[1]);
    }
  }
  close(go[0]);
  close(go[1]);
  int cAll = 0;
  for (int i = 0; i < TAKERS; ++i) {
    int cTaken = 0;
    ASSERT_EQ(read(counts[0], &cTaken, sizeof cTaken), static_cast<ssize_t>(sizeof cTaken));
    cAll += cTaken;
  }
  close(counts[0]);
  close(counts[1]);
  EXPECT_EQ(cAll, TICKETS);
}

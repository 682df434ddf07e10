/// Executions that are started as services.

#include "common/executions/detached_start.h"

#include <filesystem>
#include <gmock/gmock.h>

#include "common/coordination/start_ticket.h"
#include "common/support/failure.h"
#include "fake_systemd.h"
#include "fresh_host.h"

using namespace Host;
using HostTest::FakeSystemd;
using HostTest::Fate;
using testing::ElementsAre;

namespace {

class DetachedService : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    std::filesystem::create_directories("/run/systemd/system");
    m_request.strName = "boot up";
    m_request.firedAt = 5;
  }

  void TearDown() override { std::filesystem::remove_all("/run/systemd"); }

  DetachedStart start() {
    return startDetached(m_request, [](const PreparedExecution&) { ADD_FAILURE() << "prepared here"; });
  }

  ExecutionRequest m_request;
};

}  // namespace

TEST_F(DetachedService, GetsTheRequestAndItsVariablesInATicket) {
  m_request.vecEnvironment = {{"KEY", "a secret"}};
  m_request.budget = std::chrono::seconds(60);
  m_request.blLeaveNothing = true;
  FakeSystemd systemd({});
  const DetachedStart started = start();
  systemd.stop();
  EXPECT_EQ(started.pid, 0);
  EXPECT_THAT(systemd.vecAsked, ElementsAre(started.strUnit));
  ASSERT_FALSE(systemd.vecCommand.empty());
  systemd.vecCommand.erase(systemd.vecCommand.begin());
  EXPECT_THAT(systemd.vecCommand, ElementsAre("fire", "--as-service", "--ticket", started.strUnit, "--fired-at", "5",
                                              "--budget", "60", "--leave-nothing", "--", "boot up"));
  EXPECT_EQ(StartTicket::take(started.strUnit), std::vector<std::string>{"KEY=a secret"});
}

TEST_F(DetachedService, ThatIsRefusedLeavesNoTicket) {
  FakeSystemd systemd({Fate::REFUSED});
  EXPECT_THROW(start(), Failure);
  systemd.stop();
  ASSERT_EQ(systemd.vecAsked.size(), 1U);
  EXPECT_EQ(StartTicket::take(systemd.vecAsked.front()), std::nullopt);
}

TEST_F(DetachedService, ThatHasTakenItsTicketHasStartedWhateverSystemdSays) {
  FakeSystemd systemd({Fate::REFUSED});
  systemd.fnAsked = [&] { EXPECT_TRUE(StartTicket::take(systemd.vecAsked.front()).has_value()); };
  const DetachedStart started = start();
  systemd.stop();
  EXPECT_THAT(systemd.vecAsked, ElementsAre(started.strUnit));
}

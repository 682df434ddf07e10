/// Without memory there is no answer, never a wrong one.

#include <gtest/gtest.h>

#include "common/state/state_document.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/tasks/task_graph.h"
#include "common/text/json_members.h"
#include "failing_new.h"
#include "fresh_host.h"
#include "stored.h"
#include "support/files.h"

using namespace Host;

namespace {

class Memory : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    const Session session(Session::Store::CREATE);
    HostTest::addTask(session, "a");
    HostTest::addTask(session, "b", "exit 1", objectOf({{"depend_on_task", "[a]"}}));
  }

  /// Compares what a function gives when one allocation fails with what it gives otherwise.
  template <typename Function>
  static void expectRightOrNothing(Function fnAnswer) {
    const auto right = fnAnswer();
    // Every allocation would take too long.
    constexpr unsigned STEP = 13;
    bool blReached = true;
    for (unsigned u = 0; blReached; u += STEP) {
      try {
        blReached = HostTest::withFailingNew(u, [&] { EXPECT_EQ(fnAnswer(), right) << "allocation " << u; });
      } catch (const std::exception&) {
        continue;
      }
    }
  }
};

}  // namespace

TEST_F(Memory, ADocumentIsCompleteOrThereIsNone) {
  expectRightOrNothing([] {
    const OpenStore session;
    return stateText(currentState(session));
  });
}

TEST_F(Memory, AGraphIsCompleteOrThereIsNone) {
  const OpenStore session;
  expectRightOrNothing([&] {
    const TaskGraph graph(listRelations(session, {"a", "b"}));
    return graph.planOf("bootup").size();
  });
}

// The runner tells the host when it can only wait for its children. The children are simulated.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

class RunWait : public RunsTest {
protected:
  RunWait() { fakes().pretendChildren(); }

  // A letter for each pause of the runner, for each call to the host, and for each start.
  static std::string course() {
    std::string strCourse;
    for (const Call& call : fakes().allCalls()) {
      strCourse += call.strText.starts_with("sleep(") ? "s" : "";
      strCourse += call.strText == "ORVARunWait()" ? "w" : "";
      strCourse += call.strText.starts_with("fork(") ? "f" : "";
    }
    return strCourse;
  }
  static void endAt(int iPass, std::size_t iChild) {
    if (fakes().sleeps().size() == static_cast<std::size_t>(iPass)) {
      fakes().endChild(fakes().pretendedChildren().at(iChild), exitInfo("normal", 0));
    }
  }
};

}  // namespace

TEST_F(RunWait, ComesAfterEachPauseWhileAChildIsRunning) {
  fakes().onSleep([](int) { endAt(3, 0); });
  EXPECT_EQ(runOne(store(scriptTask("a"))), 0);
  EXPECT_EQ(course(), "fswswsws");
}

TEST_F(RunWait, DoesNotDelayTasksThatMayStart) {
  store(dependant("b", "[a]"));
  store(scriptTask("a"));
  store(scriptTask("other"));
  fakes().onSleep([](int) {
    endAt(1, 0);
    endAt(3, 1);
    endAt(3, 2);
  });
  EXPECT_EQ(fire(), 0);
  // "b" starts after the second pause although "other" is running.
  EXPECT_EQ(course(), "ffswsfsws");
}

TEST_F(RunWait, IsNotAskedForWhenNoChildIsLeft) {
  fakes().pretendChildren(exitInfo("normal", 0));
  EXPECT_EQ(runOne(store(scriptTask("a"))), 0);
  EXPECT_EQ(course(), "fs");
}

/// The tasks that a firing has to know tell the same about the event as all tasks.

#include "common/tasks/event_relations.h"

#include <gmock/gmock.h>
#include <optional>
#include <random>
#include <set>
#include <sqlite3.h>

#include "common/reasons/reason.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/tasks/task_graph.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "stored.h"

using namespace Host;
using testing::ElementsAre;

namespace {

class EventRelations : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_session.emplace(Session::Store::CREATE);
  }

  Session& session() { return *m_session; }

  void add(const std::string& strName, const std::string& strEvent, const std::string& strDepend = "",
           bool blEnabled = true) {
    HostTest::addTask(session(), strName, "true",
                      objectOf({{"event", strEvent}, {"depend_on_task", strDepend}, {"enable", blEnabled}}));
  }

  std::vector<std::string> names(const std::string& strEvent) {
    std::vector<std::string> vecNames;
    for (const Json::Value& jTask : listEventRelations(session(), strEvent)) {
      vecNames.push_back(textOf(jTask, "task_name"));
    }
    return vecNames;
  }

  std::optional<Session> m_session;
};

/// All that a firing asks a graph.
std::string askedOf(const TaskGraph& graph, const std::string& strEvent) {
  std::string strTold;
  const std::vector<const GraphTask*> vecPlan = graph.planOf(strEvent);
  for (const GraphTask* pTask : vecPlan) {
    strTold += pTask->strName + "\n";
  }
  for (const std::string& strWhy : graph.whyUnsafe(vecPlan)) {
    strTold += strWhy + "\n";
  }
  Reasons reasons(graph);
  for (const GraphTask* pTask : graph.tasksOf(strEvent)) {
    for (const Reason& reason : reasons.of(*pTask)) {
      strTold += pTask->strName + recordOf(reason).toStyledString();
    }
  }
  return strTold;
}

}  // namespace

TEST_F(EventRelations, AreThoseOfItsTasks) {
  add("own", "ev");
  add("waits", "ev", "[own]");
  add("other", "another");
  add("waits for other", "another", "[other]");
  EXPECT_THAT(names("ev"), ElementsAre("own", "waits"));
  EXPECT_THAT(names("no event"), ElementsAre());
}

TEST_F(EventRelations, HaveWhatWaitsForItsTasksThroughOthers) {
  add("own", "ev");
  add("waits", "another", "[own]");
  add("waits longer", "a third", "[more][waits]");
  add("more", "a third");
  add("no part", "a third", "[more]");
  EXPECT_THAT(names("ev"), ElementsAre("more", "own", "waits", "waits longer"));
}

TEST_F(EventRelations, HaveWhatItsTasksWaitForThroughOthers) {
  add("own", "ev", "[first]");
  add("first", "another", "[before]");
  add("before", "another");
  EXPECT_THAT(names("ev"), ElementsAre("before", "first", "own"));
}

TEST_F(EventRelations, HaveNamesThatTheLibraryTakesForTheirs) {
  add("Own_a", "ev");
  add("own-a", "another");
  add("OWN_A", "another");
  add("o_n_a", "another");
  add("own-ab", "another");
  add("pattern", "another", "[own-a]");
  EXPECT_THAT(names("ev"), ElementsAre("OWN_A", "Own_a", "o_n_a", "own-a", "pattern"));
}

TEST_F(EventRelations, TellTheSameAsAllTasks) {
  std::minstd_rand random(7);
  const auto pick = [&random](const std::vector<std::string>& vecTexts) {
    return vecTexts[random() % vecTexts.size()];
  };
  const std::vector<std::string> vecNames = {"a", "b", "c", "A", "a_",  "ab", "_b",   "B",
                                             "d", "e", "f", "g", "a[b", "c]", "a__b", "%b"};
  const std::vector<std::string> vecEvents = {"ev", "other", "third"};
  const std::vector<std::string> vecDepends = {"", "", "[", "]", "[]", "x", "[[a]", "[a]b]"};
  for (int iRound = 0; iRound < 300; ++iRound) {
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(session().db(), "delete from task", nullptr, nullptr, nullptr));
    std::set<std::string> setAll;
    for (const std::string& strName : vecNames) {
      if (random() % 3 == 0) {
        continue;
      }
      std::string strDepend = pick(vecDepends);
      for (auto i = random() % 3; i > 0; --i) {
        strDepend += "[" + pick(vecNames) + "]";
      }
      add(strName, pick(vecEvents), strDepend, random() % 5 != 0);
      setAll.insert(strName);
    }
    const Json::Value jAll = listRelations(session(), setAll);
    const Json::Value jRelated = listEventRelations(session(), "ev");
    ASSERT_EQ(askedOf(TaskGraph(jAll), "ev"), askedOf(TaskGraph(jRelated), "ev")) << jAll << jRelated;
  }
}

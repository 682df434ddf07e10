/// The library can walk every graph that the rules allow: a thousand graphs whose names match each other as patterns.

#include "common/tasks/task_graph.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <json/writer.h>
#include <random>
#include <sqlite3.h>

#include "common/reasons/reason.h"
#include "common/store/session.h"
#include "common/tasks/dependency_list.h"
#include "fresh_host.h"
#include "processor_time.h"

using namespace Host;

namespace {

constexpr unsigned MAX_QUERIES = 10000;

/// Names that are sound by themselves; many of them stand for one another.
const std::vector<std::string> NAMES = {"a",   "A",   "a_",  "ab",  "aB",  "a_c",
                                        "abc", "a-c", "x_1", "xx1", "X_1", "two words"};

/// Ends what a walk asks of the store when it has asked too often.
struct QueryCount {
  sqlite3* pDb = nullptr;
  unsigned cQueries = 0;
};

int countQuery(unsigned, void* pContext, void*, void*) {
  auto* pCount = static_cast<QueryCount*>(pContext);
  if (++pCount->cQueries > MAX_QUERIES) {
    sqlite3_interrupt(pCount->pDb);
  }
  return 0;
}

class TaskGraphs : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_pSession = std::make_unique<Session>(Session::Store::CREATE);
    m_count.pDb = m_pSession->db();
  }

  Json::Value randomTasks(std::mt19937& random) const {
    std::vector<std::string> vecNames = NAMES;
    std::shuffle(vecNames.begin(), vecNames.end(), random);
    vecNames.resize(2 + random() % 5);
    Json::Value jTasks(Json::arrayValue);
    for (const std::string& strName : vecNames) {
      std::vector<std::string> vecWaitsFor;
      for (const std::string& strAwaited : vecNames) {
        if (strAwaited != strName && random() % 4 == 0) {
          vecWaitsFor.push_back(strAwaited);
        }
      }
      Json::Value jTask(Json::objectValue);
      jTask["task_name"] = strName;
      jTask["event"] = "bootup";
      jTask["owner"] = 0;
      jTask["enable"] = true;
      jTask["depend_on_task"] = writeDependencyList(vecWaitsFor);
      jTasks.append(jTask);
    }
    return jTasks;
  }

  void store(const Json::Value& jTasks) const {
    sqlite3_exec(m_pSession->db(), "BEGIN; DELETE FROM task;", nullptr, nullptr, nullptr);
    for (const Json::Value& jTask : jTasks) {
      Json::Value jOut;
      ASSERT_EQ(0, m_pSession->tasks()->recCreate(jTask, jOut));
    }
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(m_pSession->db(), "COMMIT;", nullptr, nullptr, nullptr));
  }

  /// Tells whether the library gets through a walk.
  bool walks(const std::string& strTask, bool blBottomUp) {
    m_count.cQueries = 0;
    sqlite3_trace_v2(m_pSession->db(), SQLITE_TRACE_STMT, &countQuery, &m_count);
    Json::Value jIn(Json::objectValue);
    jIn["task_name"] = strTask;
    Json::Value jOut(Json::arrayValue);
    const int iResult =
        recListRelateEx(m_pSession->tasks(), jIn, jOut, m_pSession->db(), blBottomUp, std::string(), true);
    sqlite3_trace_v2(m_pSession->db(), 0, nullptr, nullptr);
    return iResult == 0 && m_count.cQueries <= MAX_QUERIES;
  }

  bool walksAll(const Json::Value& jTasks) {
    return std::all_of(jTasks.begin(), jTasks.end(), [&](const Json::Value& jTask) {
      const std::string strTask = jTask["task_name"].asString();
      return walks(strTask, true) && walks(strTask, false);
    });
  }

  std::unique_ptr<Session> m_pSession;
  QueryCount m_count;
};

std::vector<std::string> namesOf(const Json::Value& jTasks) {
  std::vector<std::string> vecNames;
  for (const Json::Value& jTask : jTasks) {
    vecNames.push_back(jTask["task_name"].asString());
  }
  return vecNames;
}

}  // namespace

TEST_F(TaskGraphs, EveryWalkEndsInAThousandGraphsThatAreLetThrough) {
  std::mt19937 random(1);
  unsigned cLetThrough = 0;
  for (unsigned i = 0; cLetThrough < 1000; ++i) {
    ASSERT_LT(i, 40000U) << "hardly any graph is let through";
    const Json::Value jTasks = randomTasks(random);
    if (!TaskGraph(jTasks).whyEndless(namesOf(jTasks)).empty()) {
      continue;
    }
    ++cLetThrough;
    store(jTasks);
    ASSERT_TRUE(walksAll(jTasks)) << jTasks;
  }
}

TEST_F(TaskGraphs, SomeWalkFailsOrGoesOnWithoutEndInGraphsThatAreRefused) {
  std::mt19937 random(2);
  for (unsigned cRefused = 0; cRefused < 10;) {
    const Json::Value jTasks = randomTasks(random);
    if (TaskGraph(jTasks).whyEndless(namesOf(jTasks)).empty()) {
      continue;
    }
    ++cRefused;
    store(jTasks);
    EXPECT_FALSE(walksAll(jTasks)) << jTasks;
  }
}

namespace {

enum class Shape { CHAIN, CHAIN_BEHIND_DISABLED, EVENT_EACH };

/// Names with "_" are patterns for the store.
Json::Value manyTasks(unsigned cTasks, Shape shape) {
  Json::Value jTasks(Json::arrayValue);
  for (unsigned i = 0; i < cTasks; ++i) {
    Json::Value& jTask = jTasks.append(Json::objectValue);
    jTask["task_name"] = "link_" + std::to_string(i);
    jTask["event"] = shape == Shape::EVENT_EACH ? "event-" + std::to_string(i) : "bootup";
    jTask["enable"] = i > 0 || shape != Shape::CHAIN_BEHIND_DISABLED;
    jTask["depend_on_task"] =
        i == 0 || shape == Shape::EVENT_EACH ? std::string() : "[link_" + std::to_string(i - 1) + "]";
  }
  return jTasks;
}

double timeOfAll(unsigned cTasks, Shape shape) {
  const Json::Value jTasks = manyTasks(cTasks, shape);
  return HostTest::processorTime([&] {
    const TaskGraph graph(jTasks);
    Reasons reasons(graph);
    std::size_t cFound = 0;
    for (const Json::Value& jTask : jTasks) {
      const GraphTask& task = *graph.find(jTask["task_name"].asString());
      cFound += reasons.of(task).size() + graph.whyConfused(task.strName).size();
      cFound += graph.hasEndlessWalk() ? 1 : 0;
    }
    EXPECT_EQ(cFound, shape == Shape::CHAIN_BEHIND_DISABLED ? cTasks : 0U);
  });
}

}  // namespace

TEST(ManyTasks, CostAsMuchAsTheyAreMany) {
  for (const Shape shape : {Shape::CHAIN, Shape::CHAIN_BEHIND_DISABLED, Shape::EVENT_EACH}) {
    const double few = timeOfAll(1000, shape);
    // Four times as many: with squares, sixteen times the work.
    EXPECT_LT(timeOfAll(4000, shape), few * 9) << static_cast<int>(shape) << " " << few;
  }
}

TEST(ManyTasks, AreWalkedWithoutRecursion) {
  EXPECT_TRUE(TaskGraph(manyTasks(30'000, Shape::CHAIN)).hasEndlessWalk());
}

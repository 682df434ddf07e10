/// Programs get records as they are stored, with additional members.

#include "common/answers/task_answers.h"

#include <gtest/gtest.h>

#include "common/tasks/task_graph.h"

using namespace Host;

namespace {

Json::Value task(const char* szTask, const char* szEvent, const char* szDepend) {
  Json::Value jTask(Json::objectValue);
  jTask["task_name"] = szTask;
  jTask["event"] = szEvent;
  jTask["owner"] = 0;
  jTask["depend_on_task"] = szDepend;
  return jTask;
}

std::string compact(const Json::Value& jValue) {
  std::string strText;
  for (const Json::Value& jItem : jValue) {
    strText += jItem.asString() + " ";
  }
  return strText;
}

}  // namespace

TEST(TaskAnswers, NamesStandBesideTheStoredMembers) {
  const Json::Value jOut = taskForPrograms(task("b", "nightly", "[a][x y]"));
  EXPECT_EQ(jOut["owner"], 0);
  EXPECT_EQ(jOut["owner_name"], "root");
  EXPECT_EQ(compact(jOut["waits_for"]), "a x y ");
  EXPECT_EQ(jOut["depend_on_task"], "[a][x y]");
}

TEST(TaskAnswers, AnOwnerWithoutAUserIsANumber) {
  Json::Value jTask = task("a", "nightly", "");
  jTask["owner"] = 54321;
  EXPECT_EQ(ownerText(jTask), "54321");
  jTask["owner"] = Json::nullValue;
  EXPECT_EQ(ownerText(jTask), "-");
}

TEST(TaskAnswers, ATaskOfAGraphHasThoseThatWaitForIt) {
  Json::Value jTasks(Json::arrayValue);
  jTasks.append(task("a", "nightly", ""));
  jTasks.append(task("b", "nightly", "[a]"));
  const TaskGraph graph(jTasks);
  EXPECT_EQ(compact(graphNodeForPrograms(graph, jTasks[0])["needed_by"]), "b ");
  const Json::Value jLast = graphNodeForPrograms(graph, jTasks[1]);
  EXPECT_EQ(compact(jLast["waits_for"]), "a ");
  EXPECT_TRUE(jLast["needed_by"].isArray() && jLast["needed_by"].empty());
}

/// Values are checked before they are set, and the settings file has one grammar.

#include <gmock/gmock.h>

#include "common/config/configuration.h"
#include "common/config/settings.h"
#include "common/config/settings_file.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;

namespace {

class ChangeConfig : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    OrvaTest::writeFile(SETTINGS_PATH, "retention_runs=1\n");
    OrvaTest::writeFile(CONFIG_PATH, "{}");
    const Session session(Session::Store::CREATE);
    addTask(session, "a", 0);
  }

  static void addTask(const Session& session, const char* szTask, int iOwner) {
    Json::Value jTask(Json::objectValue);
    Json::Value jCreated;
    jTask["task_name"] = szTask;
    jTask["owner"] = iOwner;
    ASSERT_EQ(session.tasks()->recCreate(jTask, jCreated), 0);
  }
};

}  // namespace

TEST_F(ChangeConfig, SetsAllValuesOrNone) {
  changeConfig({{"retention_runs", "7"}, {"stop_grace", "3"}});
  EXPECT_EQ(configText("retention_runs"), "7");
  EXPECT_EQ(graceSetting(), std::chrono::seconds(3));
  EXPECT_THROW(changeConfig({{"retention_runs", "8"}, {"stop_grace", "never"}}), Failure);
  EXPECT_EQ(configText("retention_runs"), "7");
}

TEST_F(ChangeConfig, AnUnknownKeyIsWrongUsage) {
  EXPECT_THROW(changeConfig({{"retention_runs", "0"}, {"retention", "8"}}), UsageFailure);
  try {
    changeConfig({{"retention_runs", "0"}});
    FAIL() << "set to 0";
  } catch (const UsageFailure&) {
    FAIL() << "a known key is used rightly";
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("retention_runs must be a number"));
  }
}

TEST_F(ChangeConfig, OutputIsSwitchedOffForTasksOfOneOwnerOrWithConsent) {
  changeConfig({{"enable_output", "no"}});
  addTask(Session(), "b", 7001);
  EXPECT_THROW(changeConfig({{"enable_output", "no"}}), Failure);
  changeConfig({{"enable_output", "no"}}, true);
  changeConfig({{"enable_output", "no"}, {"shared_script", "yes"}});
}

TEST_F(ChangeConfig, AGraceThatCannotBeUsedIsTheDefault) {
  OrvaTest::writeFile(SETTINGS_PATH, "stop_grace=never\n");
  EXPECT_EQ(graceSetting(), std::chrono::seconds(10));
}

TEST(SettingsFile, TheLastLineOfAKeyWinsWithoutItsQuotes) {
  EXPECT_THAT(
      settingValues("a=1\n a = \"2 \" \r\n#a=3\n; a=4\nb='x'\nc=\"\nd=\"'e'\"\nf=g=h\nnothing\n=5\ni=\n"),
      ElementsAre(Pair("a", "2 "), Pair("b", "x"), Pair("c", "\""), Pair("d", "'e'"), Pair("f", "g=h"), Pair("i", "")));
}

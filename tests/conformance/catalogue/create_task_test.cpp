// recCreate: stores a task and writes an event log entry.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RecCreate : public CatalogueTest {};

}  // namespace

TEST_F(RecCreate, StoresTheRecordAndLogsTheEvent) {
  Json::Value jIn = json("{'task_name': 'a', 'event': 'bootup', 'depend_on_task': '[nobody]', 'enable': true}");
  Json::Value jOut;
  EXPECT_EQ(recCreate(m_pApi, jIn, jOut), 0);
  EXPECT_EQ(fakes().record("task", "a"), jIn);
  EXPECT_EQ(jOut, jIn);
  EXPECT_THAT(fakes().events(), ElementsAre("ORVALogSet1(1, 1, 0x14400004, a, , , )"));
}

TEST_F(RecCreate, ValidatesNothing) {
  Json::Value jIn = json("{'task_name': 'x;[y]', 'depend_on_task': '[broken', 'owner': 'nobody', 'unknown': 1}");
  const Json::Value jBefore = jIn;
  Json::Value jOut;
  EXPECT_EQ(recCreate(m_pApi, jIn, jOut), 0);
  EXPECT_EQ(jIn, jBefore);
  EXPECT_THAT(fakes().calls(), ElementsAre("recCreate(task, " + compactJson(jBefore) + ")", testing::_));
}

TEST_F(RecCreate, ResultOfTheStoreIsReturned) {
  for (const int iResult : {0, 1, 17}) {
    fakes().answer("recCreate", iResult, json("{'from': 'store'}"));
    Json::Value jIn = request("a");
    Json::Value jOut;
    EXPECT_EQ(recCreate(m_pApi, jIn, jOut), iResult);
    EXPECT_EQ(jOut, json("{'from': 'store'}"));
    EXPECT_EQ(fakes().events().size(), 1U);
    fakes().clearFaults();
    fakes().forgetCalls();
  }
}

TEST_F(RecCreate, RefusalOfTheStoreIsReturnedAsItIsAndNothingIsLogged) {
  for (const int iResult : {-1, -2, -17}) {
    fakes().answer("recCreate", iResult);
    Json::Value jIn = request("a");
    Json::Value jOut = json("{'old': true}");
    EXPECT_EQ(recCreate(m_pApi, jIn, jOut), iResult);
    EXPECT_EQ(jOut, json("{'old': true}"));
    fakes().clearFaults();
  }
  EXPECT_THAT(fakes().events(), IsEmpty());
}

TEST_F(RecCreate, NameThatIsTakenIsTheStoresRefusal) {
  putTask("a");
  Json::Value jIn = request("a");
  Json::Value jOut;
  EXPECT_EQ(recCreate(m_pApi, jIn, jOut), -1);
  EXPECT_THAT(fakes().events(), IsEmpty());
}

TEST_F(RecCreate, EventNamesWhateverTheRequestCallsTheTask) {
  const std::pair<std::string, std::string> CASES[] = {
      {"{'task_name': 17}", "17"}, {"{}", ""}, {"{'task_name': ['a']}", ""}, {"[]", ""}, {"'text'", ""}};
  for (const auto& [strRequest, strName] : CASES) {
    fakes().answer("recCreate", 0);
    Json::Value jIn = json(strRequest);
    Json::Value jOut;
    EXPECT_EQ(recCreate(m_pApi, jIn, jOut), 0);
    EXPECT_THAT(fakes().events(), ElementsAre("ORVALogSet1(1, 1, 0x14400004, " + strName + ", , , )"));
    EXPECT_EQ(jIn, json(strRequest));
    fakes().clearFaults();
    fakes().forgetCalls();
  }
}

TEST_F(RecCreate, FailsWithoutAHandle) {
  expectFailure("!pApi", LIB);
  Json::Value jIn = request("a");
  Json::Value jOut;
  EXPECT_EQ(recCreate(nullptr, jIn, jOut), -1);
  EXPECT_THAT(fakes().calls(), IsEmpty());
}

TEST_F(RecCreate, EachFailingCallStoresTheTaskOrFails) {
  const int cCalls = failEachCall([] {},
                                  [this] {
                                    Json::Value jIn = request("a");
                                    Json::Value jOut;
                                    const int iResult = recCreate(m_pApi, jIn, jOut);
                                    EXPECT_TRUE(iResult == 0 || fakes().faults() > 0);
                                    EXPECT_EQ(fakes().records("task").size(), iResult == 0 ? 1U : 0U);
                                  });
  EXPECT_EQ(cCalls, 2);
}

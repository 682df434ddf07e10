// recListRelate: lists the tasks that have a given relation to one task.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string RANGE_CHECK = "iRelateType > RTYPE_CANDIDATE || iRelateType < RTYPE_BOTTM_UP";

class ListRelate : public CatalogueTest {
protected:
  // A waits for B, B for C; D waits for A; E and F are unrelated; G belongs to another event.
  static void putGraph() {
    putTask("A", "[B]");
    putTask("B", "[C]");
    putTask("C");
    putTask("D", "[A]");
    putTask("E");
    putTask("F", "[E]");
    putTask("G", "", "shutdown");
  }

  int relate(const Json::Value& jRequest, Json::Value& jOut) {
    Json::Value jParam = jRequest;
    const int iResult = recListRelate(m_pApi, jParam, jOut, m_pDb);
    EXPECT_EQ(jParam, jRequest);
    return iResult;
  }

  std::vector<std::string> found(const Json::Value& jType, const std::string& strName = "A") {
    Json::Value jRequest = request(strName);
    jRequest["relate_type"] = jType;
    Json::Value jOut;
    EXPECT_EQ(relate(jRequest, jOut), 0);
    return names(jOut);
  }

  // Every failure ends with the request.
  void expectRefused(const std::string& strCheck, const Json::Value& jRequest) {
    expectFailure(strCheck, LIB);
    expectLine("error, jRecParam=" + compactJson(jRequest), LIB);
    Json::Value jOut;
    EXPECT_EQ(relate(jRequest, jOut), -1);
  }
};

}  // namespace

TEST_F(ListRelate, Type0ListsWhatTheTaskWaitsFor) {
  putGraph();
  EXPECT_THAT(found(RTYPE_BOTTM_UP), ElementsAre("B", "C"));
  EXPECT_THAT(found(0, "C"), IsEmpty());
}

TEST_F(ListRelate, Type1ListsWhatWaitsForTheTask) {
  putGraph();
  EXPECT_THAT(found(RTYPE_TOP_DOWN), ElementsAre("D"));
  EXPECT_THAT(found(1, "C"), ElementsAre("B", "A", "D"));
}

TEST_F(ListRelate, Type2ListsTheUnrelatedTasksOfTheSameEvent) {
  putGraph();
  EXPECT_THAT(found(RTYPE_CANDIDATE), ElementsAre("E", "F"));
  EXPECT_THAT(found(2, "E"), ElementsAre("A", "B", "C", "D"));
  EXPECT_THAT(found(2, "G"), IsEmpty());
}

TEST_F(ListRelate, TypesHaveTheirValues) {
  EXPECT_EQ(RTYPE_BOTTM_UP, 0);
  EXPECT_EQ(RTYPE_TOP_DOWN, 1);
  EXPECT_EQ(RTYPE_CANDIDATE, 2);
}

TEST_F(ListRelate, TypeIsReadAsA64BitInteger) {
  putGraph();
  for (const Json::Value& jType :
       {Json::Value(1), Json::Value(1U), Json::Value(1.0), Json::Value(1.9), Json::Value(true)}) {
    EXPECT_THAT(found(jType), ElementsAre("D"));
  }
  for (const Json::Value& jType : {Json::Value(), Json::Value(false), Json::Value(-0.5)}) {
    EXPECT_THAT(found(jType), ElementsAre("B", "C"));
  }
}

TEST_F(ListRelate, OnlyTheLow32BitsOfTheTypeCount) {
  putGraph();
  EXPECT_THAT(found(Json::Value(Json::Int64{1} << 32)), ElementsAre("B", "C"));
  EXPECT_THAT(found(Json::Value((Json::Int64{1} << 32) + 1)), ElementsAre("D"));
  EXPECT_THAT(found(Json::Value(-(Json::Int64{1} << 32) + 2)), ElementsAre("E", "F"));
}

TEST_F(ListRelate, TypeOutOfRangeFailsWithTheRange) {
  for (const Json::Int64 iType : {Json::Int64{3}, Json::Int64{-1}, Json::Int64{-4294967295} - 2,
                                  Json::Int64{2147483647}, Json::Int64{-2147483648}, Json::Int64{4294967295}}) {
    Json::Value jRequest = request("A");
    jRequest["relate_type"] = iType;
    expectRefused(RANGE_CHECK, jRequest);
  }
  EXPECT_THAT(fakes().calls(), IsEmpty());
}

TEST_F(ListRelate, TypeIsRequired) {
  for (const char* szRequest : {"{}", "{'task_name': 'A'}", "null", "[]", "'relate_type'", "17"}) {
    expectRefused("!jRecParam.isMember(\"relate_type\")", json(szRequest));
  }
}

TEST_F(ListRelate, TypeThatIsNoNumberFails) {
  for (const char* szType : {"'0'", "[]", "{}", "1e30"}) {
    Json::Value jRequest = request("A");
    jRequest["relate_type"] = json(szType);
    expectRefused("!jRecParam[\"relate_type\"].isInt64()", jRequest);
  }
}

TEST_F(ListRelate, NameIsRequiredForEveryType) {
  for (int iType = 0; iType <= 2; ++iType) {
    Json::Value jRequest(Json::objectValue);
    jRequest["relate_type"] = iType;
    expectRefused("!jRecParam.isMember(\"task_name\")", jRequest);
  }
}

TEST_F(ListRelate, FailedWalkEndsWithItsOwnLineAndTheRequest) {
  putTask("A", "[A]");
  for (int iType = 0; iType <= 1; ++iType) {
    Json::Value jRequest = request("A");
    jRequest["relate_type"] = iType;
    expectRefused("jOut[i][\"task_name\"].toString() == jRecParam[\"task_name\"].toString()", jRequest);
  }
}

TEST_F(ListRelate, HandlesAreCheckedForEveryType) {
  putTask("A");
  for (int iType = 0; iType <= 2; ++iType) {
    Json::Value jRequest = request("A");
    jRequest["relate_type"] = iType;
    for (const bool blApi : {false, true}) {
      expectFailure(blApi ? "!pDb" : "!pApi", LIB);
      expectLine("error, jRecParam=" + compactJson(jRequest), LIB);
      Json::Value jOut;
      EXPECT_EQ(recListRelate(blApi ? m_pApi : nullptr, jRequest, jOut, blApi ? nullptr : m_pDb), -1);
    }
  }
}

TEST_F(ListRelate, ResultMustBeAnArrayOrNull) {
  putTask("A");
  for (int iType = 0; iType <= 2; ++iType) {
    Json::Value jRequest = request("A");
    jRequest["relate_type"] = iType;
    expectFailure("jRecArrayOut.type() != Json::arrayValue && jRecArrayOut.type() != Json::nullValue", LIB);
    expectLine("error, jRecParam=" + compactJson(jRequest), LIB);
    Json::Value jOut = json("{'a': 1}");
    EXPECT_EQ(relate(jRequest, jOut), -1);
    EXPECT_EQ(jOut, json("{'a': 1}"));
  }
}

TEST_F(ListRelate, ResultOfAWalkReplacesAndCandidatesAreAppended) {
  putGraph();
  for (int iType = 0; iType <= 2; ++iType) {
    Json::Value jRequest = request("A");
    jRequest["relate_type"] = iType;
    Json::Value jOut = json("[{'task_name': 'before'}]");
    EXPECT_EQ(relate(jRequest, jOut), 0);
    EXPECT_EQ(names(jOut).front() == "before", iType == RTYPE_CANDIDATE);
    EXPECT_EQ(jOut.size(), iType == 0 ? 2U : iType == 1 ? 1U : 3U);
  }
}

TEST_F(ListRelate, CandidatesOfALonelyTaskAppendNothing) {
  putTask("A");
  Json::Value jRequest = json("{'task_name': 'A', 'relate_type': 2}");
  Json::Value jOut = json("[{'task_name': 'before'}]");
  EXPECT_EQ(relate(jRequest, jOut), 0);
  EXPECT_THAT(names(jOut), ElementsAre("before"));
}

TEST_F(ListRelate, CandidatesComeInTheOrderOfTheFirstComplementFromTheSecond) {
  putTask("A");
  fakes().answer("recList(task, " + byText("(event='bootup' ) and ( task_name!='A' ) "), 0,
                 json("[{'task_name': 'z'}, {'task_name': 'x'}, {'task_name': 'y'}]"));
  fakes()
      .answer("recList(task, " + byText("(event='bootup' ) and ( task_name!='A' ) "), 0,
              json("[{'task_name': 'y'}, {'task_name': 'z', 'n': 1}, {'task_name': 'z', 'n': 2}]"))
      .nth(2);
  Json::Value jOut;
  EXPECT_EQ(relate(json("{'task_name': 'A', 'relate_type': 2}"), jOut), 0);
  EXPECT_EQ(jOut, json("[{'task_name': 'z', 'n': 1}, {'task_name': 'y'}]"));
}

TEST_F(ListRelate, CandidatesNeedTheTaskAndItsEvent) {
  const Json::Value jRequest = json("{'task_name': 'A', 'relate_type': 2}");
  expectRefused("!jTask.isMember(\"event\")", jRequest);
  fakes().put("task", json("{'task_name': 'A'}"));
  expectRefused("!jTask.isMember(\"event\")", jRequest);
  for (const char* szEvent : {"null", "5", "['bootup']"}) {
    Json::Value jTask = request("A");
    jTask["event"] = json(szEvent);
    fakes().put("task", jTask);
    expectRefused("!jTask[\"event\"].isString()", jRequest);
  }
  fakes().fail("recGetOne");
  expectRefused("0 > pApi->recGetOne(jFilter, jTask)", jRequest);
}

TEST_F(ListRelate, CandidatesOfATaskWithoutAnEventNameAreItsPrerequisitesThatAreDependants) {
  putTask("A", "[B]", "");
  putTask("B", "", "");
  putTask("C", "[A]", "");
  putTask("D", "", "");
  EXPECT_THAT(found(2), IsEmpty()) << "a complement would hold D";
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains(testing::HasSubstr("(event="))));
}

TEST_F(ListRelate, CandidatesNeedTheirNames) {
  putTask("A");
  const std::string strOthers = "recList(task, " + byText("(event='bootup' ) and ( task_name!='A' ) ");
  const Json::Value jRequest = json("{'task_name': 'A', 'relate_type': 2}");
  fakes().answer(strOthers, 0, json("[{}]"));
  expectRefused("!jOut1[(size_t)i].isMember(\"task_name\")", jRequest);
  fakes().clearFaults();
  fakes().answer(strOthers, 0, json("[{'task_name': 'B'}]"));
  fakes().answer(strOthers, 0, json("[{'task_name': 'C'}, {'n': 1}, {'task_name': 'B'}]")).nth(2);
  expectRefused("!jOut2[(size_t)j].isMember(\"task_name\")", jRequest);
}

TEST_F(ListRelate, CandidatesFailWhenEitherWalkFails) {
  putTask("A");
  const Json::Value jRequest = json("{'task_name': 'A', 'relate_type': 2}");
  const std::pair<int, std::string> CASES[] = {{1, "0 > pApi->recList(jFilter, jOut)"},
                                               {2, "0 > pApi->recList(jFilter, jRecArrayOut)"},
                                               {3, "0 > pApi->recList(jFilter, jOut)"},
                                               {4, "0 > pApi->recList(jFilter, jRecArrayOut)"}};
  for (const auto& [iCall, strCheck] : CASES) {
    fakes().fail("recList", iCall);
    expectRefused(strCheck, jRequest);
    fakes().clearFaults();
  }
}

TEST_F(ListRelate, NothingIsWritten) {
  putGraph();
  for (int iType = 0; iType <= 2; ++iType) {
    found(iType);
  }
  EXPECT_THAT(fakes().calls(),
              testing::Each(testing::AnyOf(testing::StartsWith("recList("), testing::StartsWith("recGetOne("))));
}

TEST_F(ListRelate, EachFailingCallIsAFailure) {
  for (int iType = 0; iType <= 2; ++iType) {
    const int cCalls = failEachCall(putGraph, [&] {
      Json::Value jRequest = request("A");
      jRequest["relate_type"] = iType;
      Json::Value jOut;
      const int iResult = relate(jRequest, jOut);
      EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
    });
    EXPECT_GE(cCalls, 3);
  }
}

TEST_F(ListRelate, AStoreThatThrowsIsAFailureWithTheLineOfTheRequest) {
  putTask("A");
  for (const auto& [iType, szCall] : {std::pair{0, "recList"}, std::pair{2, "recGetOne"}}) {
    Json::Value jRequest = request("A");
    jRequest["relate_type"] = iType;
    fakes().before(szCall, [] { throw std::runtime_error("broken"); });
    expectLine("operation given up: broken", LIB);
    expectLine("error, jRecParam=", LIB).beginning();
    Json::Value jOut;
    EXPECT_EQ(relate(jRequest, jOut), -1) << szCall;
  }
}

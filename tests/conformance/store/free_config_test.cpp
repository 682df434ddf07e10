// freeConfig: closes the database and releases the store handles.

#include "fakes/eorva_test.h"

using namespace OrvaTest;
using testing::ElementsAre;

namespace {

class FreeConfig : public EorvaTest {
protected:
  ~FreeConfig() override {
    delete m_pApi;
    delete m_pApiResult;
    sqlite3_close(m_pDb);
  }

  void fill(bool blDb, bool blApi, bool blApiResult) {
    const Json::Value jNone(Json::objectValue);
    if (blDb) {
      sqlite3_open(":memory:", &m_pDb);
    }
    m_pApi = blApi ? new OrvaJsonDbApi(m_pDb, "task", jNone, "") : nullptr;
    m_pApiResult = blApiResult ? new OrvaJsonDbApi(m_pDb, "task_result", jNone, "") : nullptr;
    fakes().forgetCalls();
  }

  void expectNull() const {
    EXPECT_EQ(m_pDb, nullptr);
    EXPECT_EQ(m_pApi, nullptr);
    EXPECT_EQ(m_pApiResult, nullptr);
  }

  static std::vector<std::string> calledInOrder() {
    std::vector<std::string> calls;
    for (const Call& call : fakes().allCalls()) {
      calls.push_back(call.strText);
    }
    return calls;
  }

  sqlite3* m_pDb = nullptr;
  OrvaJsonDbApi* m_pApi = nullptr;
  OrvaJsonDbApi* m_pApiResult = nullptr;
};

}  // namespace

TEST_F(FreeConfig, ClosesTheDatabaseBeforeItDestroysTheHandles) {
  fill(true, true, true);
  EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
  expectNull();
  EXPECT_THAT(calledInOrder(), ElementsAre("sqlite3_close()", "~OrvaJsonDbApi(task)", "~OrvaJsonDbApi(task_result)"));
}

TEST_F(FreeConfig, AllThreeNullIsASuccessThatDoesNothing) {
  EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
  expectNull();
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(FreeConfig, NullIsSkipped) {
  for (int iSet = 1; iSet < 8; ++iSet) {
    const bool blDb = (iSet & 1) != 0;
    const bool blApi = (iSet & 2) != 0;
    const bool blApiResult = (iSet & 4) != 0;
    fill(blDb, blApi, blApiResult);
    std::vector<std::string> expected;
    if (blDb) {
      expected.emplace_back("sqlite3_close()");
    }
    if (blApi) {
      expected.emplace_back("~OrvaJsonDbApi(task)");
    }
    if (blApiResult) {
      expected.emplace_back("~OrvaJsonDbApi(task_result)");
    }
    EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
    expectNull();
    EXPECT_EQ(calledInOrder(), expected) << iSet;
  }
}

TEST_F(FreeConfig, SecondCallFindsNothingToRelease) {
  fill(true, true, true);
  EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
  fakes().forgetCalls();
  EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(FreeConfig, MissingAddressFailsAndReleasesNothing) {
  fill(true, true, true);
  expectFailure("!ppDb", UTIL);
  expectLine("freeConfig failed", UTIL);
  EXPECT_EQ(freeConfig(nullptr, &m_pApi, &m_pApiResult), -1);
  expectFailure("!ppApi", UTIL);
  expectLine("freeConfig failed", UTIL);
  EXPECT_EQ(freeConfig(&m_pDb, nullptr, &m_pApiResult), -1);
  expectFailure("!ppApiResult", UTIL);
  expectLine("freeConfig failed", UTIL);
  EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, nullptr), -1);
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
  EXPECT_NE(m_pDb, nullptr);
  EXPECT_NE(m_pApi, nullptr);
  EXPECT_NE(m_pApiResult, nullptr);
}

TEST_F(FreeConfig, AddressesAreCheckedInTheirOrder) {
  expectFailure("!ppDb", UTIL);
  expectLine("freeConfig failed", UTIL);
  EXPECT_EQ(freeConfig(nullptr, nullptr, nullptr), -1);
  expectFailure("!ppApi", UTIL);
  expectLine("freeConfig failed", UTIL);
  EXPECT_EQ(freeConfig(&m_pDb, nullptr, nullptr), -1);
}

TEST_F(FreeConfig, ConnectionThatSqliteRefusesToCloseIsAbandoned) {
  fill(true, true, true);
  sqlite3* const pDb = m_pDb;
  sqlite3_stmt* pStatement = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(pDb, "SELECT 1", -1, &pStatement, nullptr), SQLITE_OK);
  expectLine("close db failed", UTIL);
  EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
  expectNull();
  EXPECT_THAT(fakes().calls(), ElementsAre("~OrvaJsonDbApi(task)", "~OrvaJsonDbApi(task_result)"));
  EXPECT_EQ(sqlite3_finalize(pStatement), SQLITE_OK);
  EXPECT_EQ(sqlite3_close(pDb), SQLITE_OK);
}

TEST_F(FreeConfig, SetCanBeOpenedAgain) {
  installShareFiles();
  Json::Value jConfig;
  for (int iRound = 0; iRound < 2; ++iRound) {
    EXPECT_EQ(initConfig("task", jConfig, &m_pDb, &m_pApi), 0);
    EXPECT_EQ(initConfig("task_result", jConfig, &m_pDb, &m_pApiResult), 0);
    EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
    expectNull();
  }
}

TEST_F(FreeConfig, EachFailingCallLeavesNoHandle) {
  sqlite3* pDb = nullptr;
  const int cCalls = failEachCall(
      [&] {
        fill(true, true, true);
        pDb = m_pDb;
      },
      [&] {
        EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
        expectNull();
        if (fakes().faults() > 0) {
          sqlite3_close(pDb);
        }
      });
  EXPECT_EQ(cCalls, 1);
}

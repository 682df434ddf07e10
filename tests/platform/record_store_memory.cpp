// Lack of memory: every allocation of every operation fails once. Each time, the operation reports the failure and
// leaves the connection usable.

#include <cstdlib>
#include <functional>
#include <new>
#include <utility>

#include "record_store_fixture.h"

using testing::ElementsAre;
using testing::StartsWith;

namespace {

// Counts down to the allocation that fails; 0 means off.
long lUntilFailure = 0;

void* allocate(std::size_t cbSize) {
  const bool blFails = lUntilFailure == 1;
  lUntilFailure -= lUntilFailure > 0 ? 1 : 0;
  if (blFails) {
    throw std::bad_alloc();
  }
  void* pMemory = std::malloc(cbSize == 0 ? 1 : cbSize);
  if (pMemory == nullptr) {
    throw std::bad_alloc();
  }
  return pMemory;
}

class NoMemory : public RecordStore {
protected:
  void SetUp() override { add(task("a", R"({"status":{"running":[1]},"last_exit_info":{"exit_type":"normal"}})")); }

  // Fails the first allocation, then the second, and so on, until the operation succeeds.
  void failEach(const std::function<int()>& operation) {
    for (long lFailed = 1;; ++lFailed) {
      ASSERT_LT(lFailed, 10'000);
      lUntilFailure = lFailed;
      const int iResult = operation();
      const bool blReached = lUntilFailure == 0;
      lUntilFailure = 0;
      ASSERT_EQ(nullptr, sqlite3_next_stmt(m_pDb.get(), nullptr));
      ASSERT_NE(0, sqlite3_get_autocommit(m_pDb.get()));
      ASSERT_EQ("1", queryText(m_pDb.get(), "SELECT count(*) > 0 FROM sqlite_schema"));
      if (!blReached) {
        EXPECT_GE(iResult, 0);
        EXPECT_GT(lFailed, 1);
        return;
      }
      ASSERT_EQ(-1, iResult);
      ASSERT_EQ(ENOMEM, KLIBCErrGet());
      ASSERT_THAT(takeLogLines(), ElementsAre(StartsWith("3 orvaplatform: record store, table task, ")));
    }
  }

  // A new handle each time, so that the previous attempt leaves no state.
  std::unique_ptr<OrvaJsonDbApi> handle() {
    const long lPaused = std::exchange(lUntilFailure, 0);
    auto pHandle = std::make_unique<OrvaJsonDbApi>(m_pDb.get(), "task", installedDefinitions(), "");
    lUntilFailure = lPaused;
    return pHandle;
  }
};

}  // namespace

#pragma GCC visibility push(default)
void* operator new(std::size_t cbSize) {
  return allocate(cbSize);
}
void* operator new[](std::size_t cbSize) {
  return allocate(cbSize);
}
void operator delete(void* pMemory) noexcept {
  std::free(pMemory);
}
void operator delete[](void* pMemory) noexcept {
  std::free(pMemory);
}
void operator delete(void* pMemory, std::size_t /*cbSize*/) noexcept {
  std::free(pMemory);
}
void operator delete[](void* pMemory, std::size_t /*cbSize*/) noexcept {
  std::free(pMemory);
}
#pragma GCC visibility pop

TEST_F(NoMemory, WhileARecordIsRead) {
  const Json::Value jFilter = parse(R"({"task_name":"a"})");
  Json::Value jOut;
  failEach([&] {
    auto pHandle = handle();
    return pHandle->recGetOne(jFilter, jOut);
  });
  EXPECT_EQ("a", jOut["task_name"].asString());
}

TEST_F(NoMemory, WhileRecordsAreListedByAClause) {
  const Json::Value jFilter = parse(R"({"orvaSqlWhereFilter":"depend_on_task like '%[a]%' or task_name = 'a'"})");
  Json::Value jOut;
  failEach([&] {
    auto pHandle = handle();
    return pHandle->recList(jFilter, jOut);
  });
  EXPECT_EQ(1U, jOut.size());
}

TEST_F(NoMemory, WhileARecordIsChanged) {
  const Json::Value jFilter = parse(R"({"task_name":"a"})");
  const Json::Value jUpdate = task("a", R"({"status":{"running":[1,2,3]},"operation":"new"})");
  failEach([&] {
    auto pHandle = handle();
    return pHandle->recUpdateByFilter(jFilter, jUpdate);
  });
  EXPECT_EQ("new", queryText(m_pDb.get(), "SELECT operation FROM task"));
}

TEST_F(NoMemory, WhileARecordIsCreated) {
  const Json::Value jRecord = task("b", R"({"status":{"running":[1,2,3]}})");
  Json::Value jOut;
  failEach([&] {
    // The row may be stored if memory ran out while reading it back.
    sqlite3_exec(m_pDb.get(), "DELETE FROM task WHERE task_name = 'b'", nullptr, nullptr, nullptr);
    auto pHandle = handle();
    return pHandle->recCreate(jRecord, jOut);
  });
  EXPECT_EQ("b", jOut["task_name"].asString());
}

TEST_F(NoMemory, WhileAHandleIsBuilt) {
  failEach([&] {
    try {
      OrvaJsonDbApi api(m_pDb.get(), "task", installedDefinitions(), installedSql());
      return 0;
    } catch (const std::exception&) {
      return -1;
    }
  });
}

TEST_F(NoMemory, OfSqliteItself) {
  const sqlite3_int64 iLimit = sqlite3_hard_heap_limit64(sqlite3_memory_used() + 2000);
  Json::Value jTask = task("b");
  jTask["operation"] = std::string(100'000, 'x');
  Json::Value jOut = "untouched";
  EXPECT_EQ(-1, m_tasks.recCreate(jTask, jOut));
  sqlite3_hard_heap_limit64(0);
  EXPECT_EQ(0, iLimit);
  expectFailure("task, recCreate: out of memory");
  EXPECT_EQ(ENOMEM, KLIBCErrGet());
  EXPECT_EQ("untouched", jOut.asString());
  EXPECT_EQ("1", queryText(m_pDb.get(), "SELECT count(*) FROM task"));
}

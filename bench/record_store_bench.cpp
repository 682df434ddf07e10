// Compares each operation of the record store with plain SQLite: "NAME/store" and "NAME/raw" do the same work.

#include <benchmark/benchmark.h>

#include "database.h"
#include "raw_queries.h"

namespace {

constexpr int FEW_TASKS = 50;
constexpr int MANY_TASKS = 1000;
const char* const PATTERN = "depend_on_task like '%[task7]%'";

Json::Value filterFor(const char* szMember, const char* szValue) {
  Json::Value jFilter;
  jFilter[szMember] = szValue;
  return jFilter;
}

void insertStore(benchmark::State& state) {
  BenchDatabase database(1, 0);
  const Json::Value jRun = openRun("task0");
  for (auto _ : state) {
    Json::Value jOut;
    require(database.results().recCreate(jRun, jOut) == 0, "insert");
  }
}

void insertRaw(benchmark::State& state) {
  BenchDatabase database(1, 0);
  for (auto _ : state) {
    rawInsertRun(database.connection());
  }
}

void wholeUpdateStore(benchmark::State& state) {
  BenchDatabase database(FEW_TASKS, 0);
  const Json::Value jTask = wholeTask("task0", "");
  const Json::Value jFilter = filterFor("task_name", "task0");
  for (auto _ : state) {
    require(database.tasks().recUpdateByFilter(jFilter, jTask) == 1, "whole update");
  }
}

void wholeUpdateRaw(benchmark::State& state) {
  BenchDatabase database(FEW_TASKS, 0);
  for (auto _ : state) {
    rawUpdateWholeTask(database.connection());
  }
}

void pointUpdateStore(benchmark::State& state) {
  BenchDatabase database(FEW_TASKS, 0);
  const Json::Value jFilter = filterFor("task_name", "task0");
  Json::Value jUpdate;
  for (auto _ : state) {
    jUpdate["last_start_time"] = 1795168621;
    require(database.tasks().recUpdateByFilter(jFilter, jUpdate) == 1, "point update");
  }
}

void pointUpdateRaw(benchmark::State& state) {
  BenchDatabase database(FEW_TASKS, 0);
  for (auto _ : state) {
    rawUpdateStartTime(database.connection(), 1795168621);
  }
}

void pointReadStore(benchmark::State& state) {
  BenchDatabase database(FEW_TASKS, 0);
  const Json::Value jFilter = filterFor("task_name", "task0");
  for (auto _ : state) {
    Json::Value jOut;
    require(database.tasks().recGetOne(jFilter, jOut) == 0 && jOut.isObject(), "point read");
  }
}

void pointReadRaw(benchmark::State& state) {
  BenchDatabase database(FEW_TASKS, 0);
  for (auto _ : state) {
    rawReadTask(database.connection());
  }
}

void listStore(benchmark::State& state) {
  const int cRows = static_cast<int>(state.range(0));
  BenchDatabase database(1, cRows);
  const Json::Value jFilter = filterFor("task_name", "task0");
  for (auto _ : state) {
    Json::Value jOut;
    require(database.results().recList(jFilter, jOut) == 0 && static_cast<int>(jOut.size()) == cRows, "list");
  }
}

void listRaw(benchmark::State& state) {
  const int cRows = static_cast<int>(state.range(0));
  BenchDatabase database(1, cRows);
  for (auto _ : state) {
    require(rawListRuns(database.connection()) == cRows, "raw list");
  }
}

void likeStore(benchmark::State& state) {
  BenchDatabase database(MANY_TASKS, 0);
  const Json::Value jFilter = filterFor("orvaSqlWhereFilter", PATTERN);
  for (auto _ : state) {
    Json::Value jOut;
    require(database.tasks().recList(jFilter, jOut) == 0 && jOut.size() == 1, "like");
  }
}

void likeRaw(benchmark::State& state) {
  BenchDatabase database(MANY_TASKS, 0);
  for (auto _ : state) {
    require(rawListByPattern(database.connection(), PATTERN) == 1, "raw like");
  }
}

void both(const char* szName, void (*pStore)(benchmark::State&), void (*pRaw)(benchmark::State&)) {
  const std::string strName = szName;
  benchmark::RegisterBenchmark((strName + "/store").c_str(), pStore);
  benchmark::RegisterBenchmark((strName + "/raw").c_str(), pRaw);
}

void bothOfRows(const char* szName, int cRows) {
  const std::string strName = szName;
  benchmark::RegisterBenchmark((strName + "/store").c_str(), listStore)->Arg(cRows);
  benchmark::RegisterBenchmark((strName + "/raw").c_str(), listRaw)->Arg(cRows);
}

}  // namespace

int main(int cArguments, char** arguments) {
  both("insert", insertStore, insertRaw);
  both("whole_update", wholeUpdateStore, wholeUpdateRaw);
  both("point_update", pointUpdateStore, pointUpdateRaw);
  both("point_read", pointReadStore, pointReadRaw);
  bothOfRows("list", 1'000);
  bothOfRows("list", 10'000);
  both("like_query", likeStore, likeRaw);
  benchmark::Initialize(&cArguments, arguments);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

// Values are stored in columns and read back; a value of another type is refused with a log line.

#include <cmath>
#include <limits>

#include "record_store_fixture.h"

namespace {

struct Misfit {
  const char* szMember;
  Json::Value jValue;
  const char* szReason;
};

class Columns : public RecordStore {
protected:
  // A task's member after a write and a read.
  Json::Value roundTrip(const char* szMember, const Json::Value& jValue) {
    Json::Value jTask = task("t");
    jTask[szMember] = jValue;
    Json::Value jCreated;
    EXPECT_EQ(0, m_tasks.recCreate(jTask, jCreated));
    Json::Value jRead;
    EXPECT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"t"})"), jRead));
    EXPECT_EQ(jCreated, jRead);
    EXPECT_EQ(1, m_tasks.recDelete(jRead, true));
    return jRead;
  }

  void expectRefused(const Misfit& misfit) {
    Json::Value jTask = task("t");
    jTask[misfit.szMember] = misfit.jValue;
    Json::Value jOut;
    EXPECT_EQ(-1, m_tasks.recCreate(jTask, jOut));
    expectFailure(std::string("task, recCreate: ") + misfit.szReason);
    EXPECT_EQ("0", queryText(m_pDb.get(), "SELECT count(*) FROM task"));
  }
};

Json::Value nested(int iDepth) {
  Json::Value jValue(Json::arrayValue);
  for (int iLevel = 1; iLevel < iDepth; ++iLevel) {
    Json::Value jOuter(Json::arrayValue);
    jOuter.append(std::move(jValue));
    jValue = std::move(jOuter);
  }
  return jValue;
}

Json::Value objectWith(double dNumber) {
  Json::Value jObject;
  jObject["list"].append(dNumber);
  return jObject;
}

const Json::Int64 INT64_LEAST = std::numeric_limits<Json::Int64>::min();
const Json::Int64 INT64_MOST = std::numeric_limits<Json::Int64>::max();
const Json::UInt64 UINT64_MOST = std::numeric_limits<Json::UInt64>::max();

}  // namespace

TEST_F(Columns, IntegersOf64BitsComeBack) {
  for (const Json::Value& jNumber : {Json::Value(0), Json::Value(-1), Json::Value(INT64_LEAST), Json::Value(INT64_MOST),
                                     Json::Value(Json::UInt64{INT64_MOST}), Json::Value(Json::UInt(7))}) {
    EXPECT_EQ(jNumber.asInt64(), roundTrip("last_start_time", jNumber)["last_start_time"].asInt64());
  }
}

TEST_F(Columns, BooleansComeBackAsBooleans) {
  EXPECT_EQ(Json::Value(true), roundTrip("enable", true)["enable"]);
  EXPECT_EQ(Json::Value(false), roundTrip("enable", false)["enable"]);
}

TEST_F(Columns, TextsComeBackByteForByte) {
  using namespace std::string_literals;
  for (const std::string& strText : {""s, "plain"s, "it's \"quoted\" [x] %_"s, "a\0b\0"s, "\0"s, "\xff\xfe\x80"s,
                                     "gr\xc3\xbc\xc3\x9f"s, "line\nline\r\n"s, std::string(3'000'000, 'x')}) {
    EXPECT_EQ(Json::Value(strText), roundTrip("operation", strText)["operation"]);
  }
}

TEST_F(Columns, NamesOfAnyBytesAreFoundChangedAndDeleted) {
  using namespace std::string_literals;
  for (const std::string& strName :
       {"o'brien"s, "\"; DROP TABLE task; --"s, "100%"s, "_"s, "a\0b"s, "a\0c"s, "\0"s, "\xff"s, "[x]"s, "?1"s}) {
    add(task(strName));
  }
  for (const std::string& strName :
       {"o'brien"s, "\"; DROP TABLE task; --"s, "100%"s, "_"s, "a\0b"s, "a\0c"s, "\0"s, "\xff"s, "[x]"s, "?1"s}) {
    Json::Value jFilter;
    jFilter["task_name"] = strName;
    Json::Value jOut;
    ASSERT_EQ(0, m_tasks.recList(jFilter, jOut));
    ASSERT_EQ(1U, jOut.size());
    EXPECT_EQ(strName, jOut[0]["task_name"].asString());
    EXPECT_EQ(1, m_tasks.recUpdateByFilter(jFilter, parse(R"({"enable":true})")));
    EXPECT_EQ(1, m_tasks.recDelete(jFilter, true));
  }
}

TEST_F(Columns, JsonValuesComeBackAsTheyWere) {
  for (const char* szText : {"{}",
                             "[]",
                             "null",
                             "true",
                             "false",
                             "0",
                             "-7",
                             "1.5",
                             "1.0",
                             "-0.0",
                             "1e300",
                             "1e-300",
                             "0.1",
                             "\"\"",
                             "\"text\"",
                             "[[],{},null]",
                             R"({"running":[1,2,3]})",
                             R"({"":{"":""}})",
                             "18446744073709551615",
                             "-9223372036854775808",
                             R"({"a":[1,2.5,"x",null,true,{"b":"c"}]})"}) {
    const Json::Value jRead = roundTrip("status", parse(szText));
    ASSERT_TRUE(jRead.isMember("status")) << szText;
    EXPECT_EQ(text(parse(szText)), text(jRead["status"]));
    EXPECT_EQ(parse(szText).type(), jRead["status"].type()) << szText;
  }
}

TEST_F(Columns, JsonStringsAndNamesComeBackByteForByte) {
  using namespace std::string_literals;
  for (const std::string& strText :
       {"a\0b"s, "\xff\xfe\x80 \xc3"s, "\"\\/\b\f\n\r\t\x01\x1f\x7f"s, "\xe2\x82\xac"s, "\\u0000"s}) {
    Json::Value jStatus;
    jStatus[strText] = strText;
    EXPECT_EQ(jStatus, roundTrip("status", jStatus)["status"]);
  }
}

TEST_F(Columns, RealsComeBackExactly) {
  for (const double dNumber : {0.1, 1.0 / 3, 5e-324, 1.7976931348623157e308, 123456789012345680.0, -1e22, 2e-5}) {
    const Json::Value jRead = roundTrip("status", dNumber);
    EXPECT_EQ(dNumber, jRead["status"].asDouble());
    EXPECT_EQ(Json::realValue, jRead["status"].type());
  }
}

TEST_F(Columns, JsonOfManyLevelsComesBackAndDeeperIsRefused) {
  EXPECT_EQ(nested(500), roundTrip("status", nested(500))["status"]);
  expectRefused({"status", nested(501), "column status: it is nested deeper than 500 levels"});
  expectRefused({"status", nested(20'000), "column status: it is nested deeper than 500 levels"});
}

TEST_F(Columns, NullIsAValueInAJsonColumnAndAbsenceInAnyOther) {
  Json::Value jRead = roundTrip("status", Json::Value());
  EXPECT_TRUE(jRead.isMember("status"));
  EXPECT_TRUE(jRead["status"].isNull());
  EXPECT_FALSE(roundTrip("last_start_time", Json::Value()).isMember("last_start_time"));
  EXPECT_FALSE(roundTrip("description", Json::Value()).isMember("description"));
}

TEST_F(Columns, UpdateToNullTakesTheMemberAway) {
  add(task("a", R"({"last_start_time":5,"description":"x","status":{"running":[1]}})"));
  EXPECT_EQ(1, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"),
                                         parse(R"({"last_start_time":null,"description":null,"status":null})")));
  Json::Value jRead;
  ASSERT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jRead));
  EXPECT_FALSE(jRead.isMember("last_start_time"));
  EXPECT_FALSE(jRead.isMember("description"));
  EXPECT_TRUE(jRead.isMember("status"));
}

TEST_F(Columns, ValueThatDoesNotFitItsColumnIsRefusedByName) {
  for (const Misfit& misfit : std::vector<Misfit>{
           {"last_start_time", UINT64_MOST,
            "column last_start_time: 18446744073709551615 does not fit the type integer"},
           {"last_start_time", 1.5, "column last_start_time: 1.5 does not fit the type integer"},
           {"last_start_time", 5.0, "column last_start_time: 5.0 does not fit the type integer"},
           {"last_start_time", 1e300, "column last_start_time: 1e+300 does not fit the type integer"},
           {"last_start_time", "5", "column last_start_time: \"5\" does not fit the type integer"},
           {"last_start_time", true, "column last_start_time: true does not fit the type integer"},
           {"last_start_time", Json::Value(Json::objectValue),
            "column last_start_time: {} does not fit the type integer"},
           {"enable", 1, "column enable: 1 does not fit the type boolean"},
           {"enable", "true", "column enable: \"true\" does not fit the type boolean"},
           {"operation", 7, "column operation: 7 does not fit the type text"},
           {"operation", Json::Value(Json::arrayValue), "column operation: [] does not fit the type text"},
           {"status", std::nan(""), "column status: it holds a number that is not finite"},
           {"status", HUGE_VAL, "column status: it holds a number that is not finite"},
           {"status", objectWith(HUGE_VAL), "column status: it holds a number that is not finite"},
           {"enable", HUGE_VAL,
            "column enable: a value (it holds a number that is not finite) does not fit the type "
            "boolean"},
           {"enable", std::string(100, 'x'),
            "column enable: \"xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx... does not fit the type boolean"},
       }) {
    expectRefused(misfit);
    EXPECT_EQ(EINVAL, KLIBCErrGet());
  }
}

TEST_F(Columns, OwnerThatIsNoUserIdIsRefused) {
  const std::string strCheck = "CHECK constraint failed: typeof(owner) = 'integer' AND owner BETWEEN 0 AND 4294967294";
  for (const Misfit& misfit : std::vector<Misfit>{
           {"owner", Json::Value(), "NOT NULL constraint failed: task.owner"},
           {"owner", false, "column owner: false does not fit the type integer"},
           {"owner", 0.7, "column owner: 0.7 does not fit the type integer"},
           {"owner", "abc", "column owner: \"abc\" does not fit the type integer"},
           {"owner", "", "column owner: \"\" does not fit the type integer"},
           {"owner", "4294967296", "column owner: \"4294967296\" does not fit the type integer"},
           {"owner", Json::Int64{4294967295}, strCheck.c_str()},
           {"owner", Json::Int64{4294967296}, strCheck.c_str()},
           {"owner", -1, strCheck.c_str()},
           {"owner", Json::Value(Json::arrayValue), "column owner: [] does not fit the type integer"},
       }) {
    expectRefused(misfit);
  }
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recCreate(parse(R"({"task_name":"t"})"), jOut));
  expectFailure("task, recCreate: NOT NULL constraint failed: task.owner");
}

TEST_F(Columns, LogLineOfABadValueStaysOneLine) {
  expectRefused({"enable", "a\nb", "column enable: \"a\\u000ab\" does not fit the type boolean"});
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recList(parse("{\"a\\nEvil line\":1}"), jOut));
  expectFailure("task, recList: the filter's member a Evil line is not a column");
}

TEST_F(Columns, DamagedJsonComesBackAsNullAndIsNamed) {
  add(task("a", R"({"status":{},"last_exit_info":{}})"));
  for (const char* szDamage : {"'{\"running\":['", "''", "'{} x'", "'{\"a\":1,\"a\":2}'", "'/**/{}'", "'nonsense'"}) {
    runSql(m_pDb.get(), std::string("UPDATE task SET status = ") + szDamage);
    Json::Value jRead;
    EXPECT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jRead)) << szDamage;
    expectFailure("task, row a, column status: the value is not of type json and is ignored");
    EXPECT_TRUE(jRead.isMember("status"));
    EXPECT_TRUE(jRead["status"].isNull());
    EXPECT_TRUE(jRead["last_exit_info"].isObject());
    EXPECT_EQ(EBADMSG, KLIBCErrGet());
  }
}

TEST_F(Columns, DamageDeepInsideTheReaderIsNoException) {
  add(task("a"));
  runSql(m_pDb.get(), "UPDATE task SET status = replace(hex(zeroblob(5000)), '00', '[')");
  Json::Value jRead;
  EXPECT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jRead));
  expectFailure("task, row a, column status: the value is not of type json and is ignored");
}

TEST_F(Columns, ContentOfAnotherStorageClassIsDamageToo) {
  Database pDb = openDatabase(":memory:");
  OrvaJsonDbApi api(pDb.get(), "loose",
                    parse(R"({"loose":{"schema":1,"key":"id","columns":[{"name":"id","type":"integer"},
                        {"name":"flag","type":"boolean"},{"name":"number","type":"integer"},
                        {"name":"words","type":"text"},{"name":"value","type":"json"}]}})"),
                    "CREATE TABLE loose (id INTEGER PRIMARY KEY, flag, number, words, value); PRAGMA user_version = 1");
  for (const char* szContents : {"x'00', x'00', x'00', x'00'", "2, 'x', 7, 7", "1.5, 1.5, 1.5, 1.5"}) {
    runSql(pDb.get(), std::string("DELETE FROM loose; INSERT INTO loose VALUES (5, ") + szContents + ")");
    Json::Value jRead;
    EXPECT_EQ(0, api.recGetOne(parse("{}"), jRead));
    EXPECT_EQ(4U, takeLogLines().size());
    EXPECT_EQ(R"({"flag":null,"id":5,"number":null,"value":null,"words":null})", text(jRead));
  }
}

TEST_F(Columns, RecordWithoutAnyColumnGetsTheDefaults) {
  Database pDb = openDatabase(":memory:");
  OrvaJsonDbApi api(pDb.get(), "plain",
                    parse(R"({"plain":{"schema":1,"key":"id","columns":[{"name":"id","type":"integer"},
                        {"name":"words","type":"text"}]}})"),
                    "CREATE TABLE plain (id INTEGER PRIMARY KEY, words TEXT DEFAULT 'none'); PRAGMA user_version = 1");
  Json::Value jOut;
  EXPECT_EQ(0, api.recCreate(parse(R"({"colour":"red"})"), jOut));
  EXPECT_EQ(R"({"id":1,"words":"none"})", text(jOut));
}

TEST_F(Columns, EveryPatternOfAbsentMembersComesBack) {
  add(task("a"));
  const std::vector<std::string> members{"start_time", "stop_time", "pid",        "exit_info",
                                         "extra",      "boot_id",   "start_ticks"};
  Json::Value jExpected(Json::arrayValue);
  for (unsigned uSet = 0; uSet < (1U << members.size()); ++uSet) {
    Json::Value jRun = parse(R"({"task_name":"a"})");
    for (std::size_t iMember = 0; iMember < members.size(); ++iMember) {
      if ((uSet >> iMember & 1U) != 0) {
        jRun[members[iMember]] = members[iMember] == "boot_id" ? Json::Value("b") : Json::Value(uSet);
      }
    }
    Json::Value jOut;
    ASSERT_EQ(0, m_results.recCreate(jRun, jOut));
    jRun["result_id"] = uSet + 1;
    EXPECT_EQ(text(jRun), text(jOut));
    jExpected.append(jRun);
  }
  Json::Value jRead;
  ASSERT_EQ(0, m_results.recList(parse("{}"), jRead));
  EXPECT_EQ(text(jExpected), text(jRead));
}

TEST_F(Columns, RecordsOutliveTheirHandleAndMayBeChanged) {
  Json::Value jRead;
  {
    OrvaJsonDbApi api(m_pDb.get(), "task", installedDefinitions(), "");
    ASSERT_EQ(0, api.recCreate(task("a", R"({"status":{"running":[1]}})"), jRead));
  }
  Json::Value jCopy = jRead;
  jRead["status"]["running"].append(2);
  jRead["strExitCode_tmp"] = "x";
  jRead.removeMember("owner");
  EXPECT_EQ(R"({"running":[1]})", text(jCopy["status"]));
  EXPECT_EQ(1000, jCopy["owner"].asInt());
  EXPECT_FALSE(jRead.isMember("owner"));
}

TEST_F(Columns, OneDamagedRowDoesNotHideTheOthers) {
  add(task("a", R"({"status":{}})"));
  add(task("b", R"({"status":{}})"));
  add(task("c", R"({"status":{}})"));
  runSql(m_pDb.get(), "UPDATE task SET status = '{' WHERE task_name = 'b'");
  Json::Value jRead;
  EXPECT_EQ(0, m_tasks.recList(Json::Value(Json::objectValue), jRead));
  expectFailure("task, row b, column status: the value is not of type json and is ignored");
  ASSERT_EQ(3U, jRead.size());
  EXPECT_TRUE(jRead[0]["status"].isObject());
  EXPECT_TRUE(jRead[2]["status"].isObject());
}

// Rows with the same text share it. There are more texts, and longer ones, than the limit of shared texts.
TEST_F(Columns, ValuesRepeatedFromRowToRowComeBackByteForByte) {
  using namespace std::string_literals;
  std::vector<std::string> texts{""s,
                                 "a\0b"s,
                                 "a"s,
                                 "\0"s,
                                 std::string(31, 'x'),
                                 std::string(32, 'x'),
                                 std::string(33, 'x'),
                                 std::string(5000, 'x'),
                                 "\xff\xfe"s};
  for (int iText = 0; iText < 600; ++iText) {
    texts.push_back("text" + std::to_string(iText));
  }
  add(task("a"));
  Json::Value jExpected(Json::arrayValue);
  runSql(m_pDb.get(), "BEGIN");
  for (const std::string& strText : texts) {
    Json::Value jRun = parse(R"({"task_name":"a"})");
    jRun["trigger_event"] = strText;
    jRun["extra"][strText] = strText;
    jRun["extra"]["list"].append(strText);
    for (int iRow = 0; iRow < 3; ++iRow) {
      Json::Value jOut;
      ASSERT_EQ(0, m_results.recCreate(jRun, jOut));
      jRun["result_id"] = jOut["result_id"];
      jExpected.append(jRun);
      jRun.removeMember("result_id");
    }
  }
  runSql(m_pDb.get(), "COMMIT");
  Json::Value jRead;
  {
    OrvaJsonDbApi api(m_pDb.get(), "task_result", installedDefinitions(), "");
    ASSERT_EQ(0, api.recList(parse("{}"), jRead));
  }
  // The records outlive the handle and later reads.
  Json::Value jAgain;
  ASSERT_EQ(0, m_results.recList(parse("{}"), jAgain));
  EXPECT_TRUE(jExpected == jRead);
  EXPECT_TRUE(jExpected == jAgain);
}

// The platform's last error, as callers read it.

#include <thread>

#include "record_store_fixture.h"

namespace {

class LastError : public RecordStore {};

}  // namespace

TEST_F(LastError, IsEmptyWhereNothingFailedYet) {
  std::thread([] {
    EXPECT_EQ(0, KLIBCErrGet());
    EXPECT_STREQ("", KLIBCErrorGetFile());
    EXPECT_EQ(0, KLIBCErrorGetLine());
  }).join();
}

TEST_F(LastError, NamesCodeFileAndLine) {
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recList(parse(R"({"colour":1})"), jOut));
  takeLogLines();
  EXPECT_EQ(EINVAL, KLIBCErrGet());
  EXPECT_STREQ("filter.cpp", KLIBCErrorGetFile());
  EXPECT_GT(KLIBCErrorGetLine(), 1);
}

TEST_F(LastError, StaysUntilTheNextFailure) {
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recDelete(parse(R"({"task_name":"a"})"), true));
  EXPECT_EQ(0, m_tasks.recList(parse("{}"), jOut));
  EXPECT_EQ(ENOENT, KLIBCErrGet());
  add(task("a"));
  EXPECT_EQ(-1, m_tasks.recCreate(task("a"), jOut));
  EXPECT_EQ(EEXIST, KLIBCErrGet());
  takeLogLines();
}

TEST_F(LastError, BelongsToItsThread) {
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recDelete(parse(R"({"task_name":"a"})"), true));
  takeLogLines();
  std::thread([] { EXPECT_EQ(0, KLIBCErrGet()); }).join();
  EXPECT_EQ(ENOENT, KLIBCErrGet());
}

TEST_F(LastError, FailureLeavesErrnoAlone) {
  errno = 0x1400;
  std::string strOut;
  EXPECT_EQ(-1, ORVA_JSON_DB::convert2ReadableTime(0, strOut, 99));
  EXPECT_EQ(0x1400, errno);
  takeLogLines();
}

// openDb: opens a database, and creates it if it is missing.

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "fakes/eorva_test.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string DB_PATH = "/usr/orva/etc/eorvascheduler/eorvascheduler.db";
const std::string PRAGMA_CHECK = "SQLITE_OK != sqlite3_exec(pDb, \"PRAGMA foreign_keys = ON;\", NULL, NULL, &szErrMsg)";

// The first column of the first row.
int number(sqlite3* pDb, const std::string& strSql) {
  int iNumber = -1;
  const auto store = [](void* pNumber, int, char** columns, char**) {
    *static_cast<int*>(pNumber) = std::stoi(columns[0]);
    return 0;
  };
  EXPECT_EQ(sqlite3_exec(pDb, strSql.c_str(), store, &iNumber, nullptr), SQLITE_OK) << strSql;
  return iNumber;
}

void createDatabase() {
  sqlite3* pDb = nullptr;
  sqlite3_open(DB_PATH.c_str(), &pDb);
  sqlite3_exec(pDb, "CREATE TABLE kept (n); INSERT INTO kept VALUES (42);", nullptr, nullptr, nullptr);
  sqlite3_close(pDb);
}

class OpenDb : public EorvaTest {
protected:
  ~OpenDb() override { close(); }

  sqlite3* open(const std::string& strPath, bool blAsRoot) {
    close();
    return m_pDb = openDb(strPath, blAsRoot);
  }

  // A host with another effective user.
  static void pretendUser(uid_t uid) {
    fakes().answer("geteuid", static_cast<int>(uid));
    fakes().answer("seteuid(" + std::to_string(uid), 0);
  }

  void close() {
    EXPECT_EQ(sqlite3_close(m_pDb), SQLITE_OK);
    m_pDb = nullptr;
  }

  sqlite3* m_pDb = nullptr;
};

}  // namespace

TEST_F(OpenDb, EmptyPathGivesNullBeforeTheIdentityIsTouched) {
  for (const bool blAsRoot : {false, true}) {
    expectFailure("strPath.empty()", UTIL);
    EXPECT_EQ(open("", blAsRoot), nullptr);
  }
  EXPECT_THAT(fakes().systemCalls(), testing::IsEmpty());
}

TEST_F(OpenDb, MissingFileIsCreatedEmptyWithMode0700WhateverTheUmask) {
  for (const mode_t mask : {0U, 022U, 077U, 0777U}) {
    ::umask(mask);
    ASSERT_NE(open(DB_PATH, false), nullptr);
    EXPECT_EQ(fileMode(DB_PATH), 0700U);
    EXPECT_EQ(readFile(DB_PATH), "");
    close();
    ::unlink(DB_PATH.c_str());
  }
}

TEST_F(OpenDb, NewFileBelongsToRootAlthoughTheHostIsAnotherUser) {
  ASSERT_EQ(::seteuid(4001), 0);
  open(DB_PATH, true);
  const uid_t uidAfter = ::geteuid();
  ASSERT_EQ(::seteuid(0), 0);
  EXPECT_NE(m_pDb, nullptr);
  EXPECT_EQ(uidAfter, 4001U);
  EXPECT_EQ(fileOwner(DB_PATH).first, 0U);
  EXPECT_EQ(fileMode(DB_PATH), 0700U);
}

TEST_F(OpenDb, ExistingFileKeepsItsOwnerModeAndContent) {
  createDatabase();
  ASSERT_EQ(::chown(DB_PATH.c_str(), 4001, 4002), 0);
  ASSERT_EQ(::chmod(DB_PATH.c_str(), 0640), 0);
  ASSERT_NE(open(DB_PATH, true), nullptr);
  EXPECT_EQ(fileOwner(DB_PATH), std::make_pair(uid_t{4001}, gid_t{4002}));
  EXPECT_EQ(fileMode(DB_PATH), 0640U);
  EXPECT_EQ(number(m_pDb, "SELECT n FROM kept"), 42);
}

TEST_F(OpenDb, DatabaseThatMayNotBeExaminedIsNotOpenedAndNotEmptied) {
  createDatabase();
  fakes().fail("access").every().withErrno(EACCES);
  expectFailure("NULL == (fp = fopen(strPath.c_str(), \"w\"))", UTIL).withErrno(EEXIST);
  EXPECT_EQ(open(DB_PATH, false), nullptr);
  fakes().clearFaults();
  ASSERT_NE(open(DB_PATH, false), nullptr);
  EXPECT_EQ(number(m_pDb, "SELECT n FROM kept"), 42);
}

TEST_F(OpenDb, LinkThatLeadsToItselfIsNotOpened) {
  std::filesystem::create_directories(std::filesystem::path(DB_PATH).parent_path());
  std::filesystem::create_symlink(DB_PATH, DB_PATH);
  expectFailure("NULL == (fp = fopen(strPath.c_str(), \"w\"))", UTIL).withErrno(EEXIST);
  EXPECT_EQ(open(DB_PATH, false), nullptr);
}

TEST_F(OpenDb, NameThatIsTooLongIsNotOpened) {
  expectFailure("NULL == (fp = fopen(strPath.c_str(), \"w\"))", UTIL).withErrno(ENAMETOOLONG);
  EXPECT_EQ(open("/tmp/" + std::string(300, 'x'), false), nullptr);
}

TEST_F(OpenDb, DatabaseThatAnotherProcessCreatesMeanwhileIsNotEmptied) {
  createDatabase();
  ASSERT_EQ(::chmod(DB_PATH.c_str(), 0640), 0);
  fakes().fail("access").withErrno(ENOENT);
  ASSERT_NE(open(DB_PATH, false), nullptr);
  EXPECT_EQ(number(m_pDb, "SELECT n FROM kept"), 42);
  EXPECT_EQ(fileMode(DB_PATH), 0640U);
}

TEST_F(OpenDb, EnforcesForeignKeysAndSetsNoBusyTimeOut) {
  ASSERT_NE(open(DB_PATH, false), nullptr);
  EXPECT_EQ(number(m_pDb, "PRAGMA foreign_keys"), 1);
  EXPECT_EQ(number(m_pDb, "PRAGMA busy_timeout"), 0);
}

TEST_F(OpenDb, WithoutRootTheIdentityIsNotTouched) {
  ASSERT_NE(open(DB_PATH, false), nullptr);
  EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("seteuid("))));
}

TEST_F(OpenDb, HoldsTheNewFileAndRootsIdentityUntilTheConnectionIsMade) {
  pretendUser(4001);
  ASSERT_NE(open(DB_PATH, true), nullptr);
  EXPECT_THAT(fakes().systemCalls(),
              ElementsAre("geteuid()", "seteuid(0)", "access(" + DB_PATH + ", 0)", StartsWith("open(" + DB_PATH),
                          "chmod(" + DB_PATH + ", 0700)", "sqlite3_open(" + DB_PATH + ")",
                          "sqlite3_exec(PRAGMA foreign_keys = ON;)", StartsWith("close("), "seteuid(4001)"));
}

TEST_F(OpenDb, IdentityThatCannotBeSwitchedIsTakenBack) {
  pretendUser(4001);
  fakes().fail("seteuid(0)").withErrno(EPERM);
  expectFailure("0 > seteuid(0)", UTIL).withErrno(EPERM);
  EXPECT_EQ(open(DB_PATH, true), nullptr);
  EXPECT_THAT(fakes().systemCalls(), ElementsAre("geteuid()", "seteuid(0)", "seteuid(4001)"));
  EXPECT_FALSE(fileExists(DB_PATH));
}

TEST_F(OpenDb, FailureToGiveTheIdentityBackIsNotNoticed) {
  fakes().answer("geteuid", 4001);
  fakes().fail("seteuid(4001").withErrno(EPERM);
  EXPECT_NE(open(DB_PATH, true), nullptr);
}

TEST_F(OpenDb, FileThatCannotBeCreatedGivesNullAndTheIdentityBack) {
  for (const int iErrno : {EACCES, EROFS, ENOSPC, EEXIST}) {
    pretendUser(4001);
    fakes().fail("open(" + DB_PATH).withErrno(iErrno);
    expectFailure("NULL == (fp = fopen(strPath.c_str(), \"w\"))", UTIL).withErrno(iErrno);
    EXPECT_EQ(open(DB_PATH, true), nullptr);
    EXPECT_EQ(fakes().systemCalls().back(), "seteuid(4001)");
    EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("sqlite3_open"))));
    fakes().clearFaults();
  }
}

TEST_F(OpenDb, FolderThatIsMissingGivesNull) {
  expectFailure("NULL == (fp = fopen(strPath.c_str(), \"w\"))", UTIL).withErrno(ENOENT);
  EXPECT_EQ(open("/tmp/missing/new.db", true), nullptr);
}

TEST_F(OpenDb, ModeThatCannotBeSetGivesNullAfterTheFileIsClosed) {
  pretendUser(4001);
  fakes().fail("chmod").withErrno(EPERM);
  expectFailure("-1 == chmod(strPath.c_str(), 0700)", UTIL).withErrno(EPERM);
  EXPECT_EQ(open(DB_PATH, true), nullptr);
  EXPECT_THAT(fakes().systemCalls(), ElementsAre("geteuid()", "seteuid(0)", StartsWith("access("), StartsWith("open("),
                                                 StartsWith("chmod("), StartsWith("close("), "seteuid(4001)"));
}

TEST_F(OpenDb, HandleOfAFailedConnectionIsReturnedAsItIs) {
  const TempDir dir;
  expectFailure("open sqlite failed, path=" + dir.path() + ", errno=14", UTIL);
  ASSERT_NE(open(dir.path(), true), nullptr);
  EXPECT_EQ(sqlite3_errcode(m_pDb), SQLITE_CANTOPEN);
  EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("sqlite3_exec("))));
  EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("sqlite3_close("))));
}

TEST_F(OpenDb, NewFileIsClosedAndTheIdentityGivenBackAfterAFailedConnection) {
  pretendUser(4001);
  fakes().fail("sqlite3_open");
  expectFailure("open sqlite failed, path=" + DB_PATH + ", errno=14", UTIL);
  EXPECT_NE(open(DB_PATH, true), nullptr);
  EXPECT_EQ(fakes().systemCalls().back(), "seteuid(4001)");
}

TEST_F(OpenDb, SuccessWithoutAHandleGivesNull) {
  fakes().answer("sqlite3_open", SQLITE_OK, Json::Value());
  expectFailure("!pDb", UTIL);
  EXPECT_EQ(open(DB_PATH, true), nullptr);
  EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("sqlite3_exec("))));
}

TEST_F(OpenDb, ConnectionWithoutForeignKeysIsReturnedAfterTheReason) {
  fakes().fail("sqlite3_exec");
  expectFailure(PRAGMA_CHECK, UTIL);
  expectLine("szErrMsg=injected", UTIL);
  ASSERT_NE(open(DB_PATH, true), nullptr);
  EXPECT_EQ(number(m_pDb, "PRAGMA foreign_keys"), 0);
}

TEST_F(OpenDb, ErrorTextIsLoggedWhenAndOnlyWhenThereIsOne) {
  fakes().answer("sqlite3_exec", SQLITE_BUSY);
  expectFailure(PRAGMA_CHECK, UTIL);
  EXPECT_NE(open(DB_PATH, false), nullptr);
  fakes().clearFaults();
  fakes().answer("sqlite3_exec", SQLITE_OK, Json::Value("with %s in it"));
  expectLine("szErrMsg=with %s in it", UTIL);
  EXPECT_NE(open(DB_PATH, false), nullptr);
}

TEST_F(OpenDb, ErrorTextIsLoggedAfterTheIdentityIsGivenBack) {
  fakes().answer("geteuid", 4001);
  // The failure of this call shows only in the reason of the later line.
  fakes().fail("seteuid(4001").withErrno(EAGAIN);
  fakes().fail("sqlite3_exec");
  expectFailure(PRAGMA_CHECK, UTIL).withErrno(EIO);
  expectLine("szErrMsg=injected", UTIL).withErrno(EAGAIN);
  EXPECT_NE(open(DB_PATH, true), nullptr);
}

TEST_F(OpenDb, EachFailingCallGivesNullOrAHandleThatCanBeClosed) {
  const int cCalls = failEachCall([] { ::unlink(DB_PATH.c_str()); },
                                  [this] {
                                    const bool blOpened = open(DB_PATH, true) != nullptr;
                                    EXPECT_TRUE(blOpened || fakes().faults() > 0);
                                    fakes().clearFaults();
                                    close();
                                    EXPECT_EQ(::geteuid(), 0U);
                                  });
  EXPECT_EQ(cCalls, 8);
}

// loadFile: reads a whole file as text; and loadSqlCreate, which is loadFile for one path.

#include <cerrno>
#include <filesystem>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::string SQL_PATH = "/usr/orva/share/eorvascheduler/eorvascheduler-table-create.sql";

class LoadFile : public EorvaTest {
protected:
  // The file exists and cannot be read.
  void expectUnreadable(const std::string& strPath, int iErrno) {
    expectFailure("!in", UTIL).withErrno(iErrno);
    expectLine("strFilePath=" + strPath, UTIL);
    std::string strContent = "old";
    EXPECT_EQ(loadFile(strPath, strContent), -1) << strPath;
    EXPECT_EQ(strContent, "old") << strPath;
  }

  static void expectMissing(const std::string& strPath) {
    std::string strContent = "old";
    EXPECT_EQ(loadFile(strPath, strContent), 1) << strPath;
    EXPECT_EQ(strContent, "old") << strPath;
  }

  const TempDir m_dir;
  const std::string m_strPath = m_dir.path("file");
};
class LoadSqlCreate : public EorvaTest {};

}  // namespace

TEST_F(LoadFile, CopiesTheBytesAsTheyAre) {
  using namespace std::string_literals;
  for (const std::string& strBytes :
       {"one line"s, "two\nlines\n"s, "\r\n \t padded \r\n"s, "a\0b\xff\xfe\n"s, "\xef\xbb\xbf marked"s, "\0"s}) {
    writeFile(m_strPath, strBytes);
    std::string strContent = "something much longer that was there before";
    EXPECT_EQ(loadFile(m_strPath, strContent), 0);
    EXPECT_EQ(strContent, strBytes);
  }
}

TEST_F(LoadFile, EmptyFileGivesTheEmptyText) {
  writeFile(m_strPath, "");
  std::string strContent = "old";
  EXPECT_EQ(loadFile(m_strPath, strContent), 0);
  EXPECT_EQ(strContent, "");
}

TEST_F(LoadFile, SizeHasNoLimit) {
  std::string strBytes(5 * 1024 * 1024 + 3, 'x');
  strBytes.back() = 'y';
  writeFile(m_strPath, strBytes);
  std::string strContent;
  EXPECT_EQ(loadFile(m_strPath, strContent), 0);
  EXPECT_TRUE(strContent == strBytes);
}

TEST_F(LoadFile, MissingFileGives1LogsNothingAndLeavesTheText) {
  expectMissing(m_strPath);
  expectMissing(m_dir.path("folder/file"));
  expectMissing("");
}

TEST_F(LoadFile, NothingCanLieBelowAFileSoThatItIsMissing) {
  writeFile(m_strPath, "x");
  expectMissing(m_strPath + "/below");
}

TEST_F(LoadFile, DanglingLinkIsMissing) {
  std::filesystem::create_symlink(m_dir.path("nowhere"), m_strPath);
  expectMissing(m_strPath);
}

TEST_F(LoadFile, FileThatCannotBeExaminedIsMissing) {
  std::filesystem::create_symlink(m_strPath, m_strPath);
  expectMissing(m_strPath);
  expectMissing(m_dir.path(std::string(300, 'x')));
  fakes().fail("access").withErrno(EACCES);
  expectMissing(m_dir.path("nowhere"));
}

TEST_F(LoadFile, LinkIsFollowed) {
  writeFile(m_dir.path("target"), "text");
  std::filesystem::create_symlink("target", m_strPath);
  std::string strContent;
  EXPECT_EQ(loadFile(m_strPath, strContent), 0);
  EXPECT_EQ(strContent, "text");
}

TEST_F(LoadFile, FileThatMayNotBeOpenedFails) {
  writeFile(m_strPath, "text");
  for (const int iErrno : {EACCES, EMFILE, EIO}) {
    fakes().fail("open").withErrno(iErrno);
    expectUnreadable(m_strPath, iErrno);
  }
}

TEST_F(LoadFile, FolderFails) {
  expectUnreadable(m_dir.path(), EISDIR);
}

TEST_F(LoadFile, PipeWithoutAWriterFailsAtOnce) {
  ASSERT_EQ(::mkfifo(m_strPath.c_str(), 0600), 0);
  expectUnreadable(m_strPath, EINVAL);
}

TEST_F(LoadFile, DeviceFails) {
  expectUnreadable("/dev/zero", EINVAL);
}

TEST_F(LoadFile, ReadErrorFailsAndLeavesTheText) {
  writeFile(m_strPath, "text");
  fakes().fail("read").withErrno(EIO);
  expectUnreadable(m_strPath, EIO);
}

TEST_F(LoadFile, ReadGoesOnAfterASignal) {
  writeFile(m_strPath, "text");
  fakes().fail("read").withErrno(EINTR);
  std::string strContent;
  EXPECT_EQ(loadFile(m_strPath, strContent), 0);
  EXPECT_EQ(strContent, "text");
}

TEST_F(LoadFile, FileLargerThanMemoryFails) {
  writeFile(m_strPath, "");
  ASSERT_EQ(::truncate(m_strPath.c_str(), std::numeric_limits<off_t>::max()), 0);
  expectLine("operation given up: ", UTIL).beginning();
  std::string strContent = "old";
  EXPECT_EQ(loadFile(m_strPath, strContent), -1);
  EXPECT_EQ(strContent, "old");
}

TEST_F(LoadFile, EachFailingCallLeavesTheTextOrReadsItWhole) {
  const int cCalls = failEachCall([this] { writeFile(m_strPath, "text"); },
                                  [this] {
                                    std::string strContent = "old";
                                    const int iResult = loadFile(m_strPath, strContent);
                                    EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0));
                                    EXPECT_EQ(strContent, iResult == 0 ? "text" : "old");
                                  });
  EXPECT_GE(cCalls, 4);
}

TEST_F(LoadSqlCreate, ReadsTheInstalledText) {
  writeFile(SQL_PATH, "CREATE TABLE task (n);\r\n");
  std::string strSqlCreate = "old";
  EXPECT_EQ(loadSqlCreate(strSqlCreate), 0);
  EXPECT_EQ(strSqlCreate, "CREATE TABLE task (n);\r\n");
}

TEST_F(LoadSqlCreate, WithoutTheFileGives1AndLeavesTheText) {
  std::string strSqlCreate = "old";
  EXPECT_EQ(loadSqlCreate(strSqlCreate), 1);
  EXPECT_EQ(strSqlCreate, "old");
}

TEST_F(LoadSqlCreate, FailsOnUnreadableFiles) {
  std::filesystem::create_directories(SQL_PATH);
  expectFailure("!in", UTIL).withErrno(EISDIR);
  expectLine("strFilePath=" + SQL_PATH, UTIL);
  std::string strSqlCreate = "old";
  EXPECT_EQ(loadSqlCreate(strSqlCreate), -1);
  EXPECT_EQ(strSqlCreate, "old");
}

TEST_F(LoadSqlCreate, EachFailingCallLeavesTheTextOrReadsItWhole) {
  const int cCalls = failEachCall([] { writeFile(SQL_PATH, "CREATE"); },
                                  [] {
                                    std::string strSqlCreate = "old";
                                    const int iResult = loadSqlCreate(strSqlCreate);
                                    EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0));
                                    EXPECT_EQ(strSqlCreate, iResult == 0 ? "CREATE" : "old");
                                  });
  EXPECT_GE(cCalls, 4);
}

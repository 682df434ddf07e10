// Files by descriptor, in cases that the operations above them do not reach.

#include "support/file.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "fakes/eorva_test.h"

using namespace OrvaTest;
using namespace Orva;

namespace {

class File : public EorvaTest {
protected:
  const TempDir m_dir;
  const std::string m_strPath = m_dir.path("file");
};

}  // namespace

TEST_F(File, FileThatCannotBeExaminedIsMissing) {
  writeFile(m_strPath, "text");
  EXPECT_FALSE(isMissing(m_strPath));
  for (const int iErrno : {ENOENT, ENOTDIR, EACCES, ELOOP, EIO, ENAMETOOLONG, ENOMEM}) {
    fakes().fail("access").withErrno(iErrno);
    EXPECT_TRUE(isMissing(m_strPath)) << iErrno;
  }
}

TEST_F(File, RegularFileUnderALeaseIsWaitedFor) {
  writeFile(m_strPath, "text");
  fakes().fail("open(" + m_strPath).withErrno(EWOULDBLOCK);
  struct stat info{};
  const FileDescriptor file = openRegular(m_strPath, 0, info);
  ASSERT_TRUE(file.isOpen());
  std::string strContent;
  EXPECT_TRUE(readUpTo(file.get(), info.st_size, strContent));
  EXPECT_EQ(strContent, "text");
}

TEST_F(File, WithoutWaitingALeaseFailsAtOnce) {
  writeFile(m_strPath, "text");
  struct stat info{};
  {
    const Lease lease(m_strPath);
    EXPECT_FALSE(openRegular(m_strPath, 0, info, Leased::FAIL).isOpen());
    EXPECT_EQ(errno, EWOULDBLOCK);
  }
  EXPECT_TRUE(openRegular(m_strPath, 0, info, Leased::FAIL).isOpen());
}

TEST_F(File, AnythingElseThatWouldBlockIsNot) {
  ASSERT_EQ(::mkfifo(m_strPath.c_str(), 0600), 0);
  fakes().fail("open(" + m_strPath).withErrno(EWOULDBLOCK);
  struct stat info{};
  EXPECT_FALSE(openRegular(m_strPath, 0, info).isOpen());
  EXPECT_EQ(errno, EWOULDBLOCK);
}

TEST_F(File, LinkIsNotFollowedWhenTheCallerSaysSo) {
  writeFile(m_dir.path("target"), "text");
  ASSERT_EQ(::symlink("target", m_strPath.c_str()), 0);
  struct stat info{};
  EXPECT_FALSE(openRegular(m_strPath, O_NOFOLLOW, info).isOpen());
  EXPECT_EQ(errno, ELOOP);
}

TEST_F(File, IsReadToItsEndOrToTheGivenSize) {
  writeFile(m_strPath, "0123456789");
  const std::pair<off_t, std::string> CASES[] = {{0, ""}, {4, "0123"}, {10, "0123456789"}, {100, "0123456789"}};
  for (const auto& [cbMost, strExpected] : CASES) {
    struct stat info{};
    const FileDescriptor file = openRegular(m_strPath, 0, info);
    std::string strContent = "old";
    EXPECT_TRUE(readUpTo(file.get(), cbMost, strContent));
    EXPECT_EQ(strContent, strExpected);
  }
}

TEST_F(File, WriteGoesOnAfterASignal) {
  const FileDescriptor file(::open(m_strPath.c_str(), O_WRONLY | O_CREAT, 0600));
  fakes().fail("write").withErrno(EINTR);
  EXPECT_TRUE(writeAll(file.get(), "text"));
  EXPECT_EQ(readFile(m_strPath), "text");
  fakes().fail("write").withErrno(ENOSPC);
  EXPECT_FALSE(writeAll(file.get(), "more"));
  EXPECT_EQ(errno, ENOSPC);
}

TEST_F(File, CloseTellsOnceWhetherTheDataIsSafe) {
  FileDescriptor file(::open(m_strPath.c_str(), O_WRONLY | O_CREAT, 0600));
  fakes().fail("close").withErrno(EIO);
  EXPECT_FALSE(file.close());
  EXPECT_FALSE(file.isOpen());
  EXPECT_TRUE(file.close());
}

// The exit-code file of a child, and traps of other users with its name.

#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "close_run_fixture.h"

using namespace OrvaTest;

namespace {

constexpr uid_t OWNER = 4001;
constexpr uid_t STRANGER = 4002;

class ExitCodeFile : public CloseRun {
protected:
  void expectClosedWith(const std::string& strExitInfo) {
    EXPECT_EQ(close(), 0);
    EXPECT_EQ(storedRun()["exit_info"], json(strExitInfo));
    EXPECT_EQ(storedTask()["last_exit_info"], json(strExitInfo));
    EXPECT_EQ(storedRun()["stop_time"], 1767225600);
    EXPECT_EQ(storedTask()["status"], json("{'running': [99]}"));
  }

  void expectRefused() {
    expectNoExitInfo();
    expectClosedWith("{}");
    EXPECT_FALSE(fileExists(exitCodePath()));
  }
};

}  // namespace

TEST_F(ExitCodeFile, IsReadAndDeleted) {
  expectClosedWith("{'exit_type': 'normal', 'exit_code': 3}");
  EXPECT_FALSE(fileExists(exitCodePath()));
  EXPECT_EQ(fakes().systemCalls().back(), "unlink(" + exitCodePath() + ")");
}

TEST_F(ExitCodeFile, IsTakenAsItStands) {
  for (const char* szExitInfo : {"{}", "{'exit_type': 'continue'}", "{'exit_type': 'by_signal', 'exit_code': 9}",
                                 "{'exit_type': 'odd', 'note': [null]}"}) {
    prepare();
    leaveExitInfo(compactJson(json(szExitInfo)));
    expectClosedWith(szExitInfo);
  }
}

TEST_F(ExitCodeFile, MayBelongToTheTasksOwner) {
  ASSERT_EQ(::chown(exitCodePath().c_str(), OWNER, OWNER), 0);
  expectClosedWith("{'exit_type': 'normal', 'exit_code': 3}");
}

TEST_F(ExitCodeFile, UnderALeaseIsNotWaitedFor) {
  // Any user can have a lease on a file in this folder, and keep it up to the system's limit.
  const Lease lease(exitCodePath());
  expectNoExitInfo().withErrno(EWOULDBLOCK);
  expectClosedWith("{}");
  EXPECT_FALSE(fileExists(exitCodePath()));
}

TEST_F(ExitCodeFile, MissingClosesTheRunWithoutExitInformation) {
  std::filesystem::remove(exitCodePath());
  expectNoExitInfo().withErrno(ENOENT);
  expectClosedWith("{}");
}

TEST_F(ExitCodeFile, UnreadableIsDeletedAllTheSame) {
  for (const char* szCall : {"open", "fstat", "read"}) {
    prepare();
    fakes().fail(szCall).withErrno(EIO);
    expectRefused();
  }
}

TEST_F(ExitCodeFile, WithAnythingButAnObjectCountsAsUnreadable) {
  for (const char* szText : {"", "{", "[]", "[{\"exit_type\":\"normal\"}]", "\"normal\"", "3", "null", "true",
                             "{} trailing", "{\"exit_code\":1,\"exit_code\":2}"}) {
    SCOPED_TRACE(szText);
    prepare();
    leaveExitInfo(szText);
    expectRefused();
  }
}

TEST_F(ExitCodeFile, OfAStrangerCountsAsUnreadable) {
  ASSERT_EQ(::chown(exitCodePath().c_str(), STRANGER, STRANGER), 0);
  expectRefused();
}

TEST_F(ExitCodeFile, OfAnybodyButRootCountsAsUnreadableWhenTheTaskNamesNoOwner) {
  for (const char* szOwner : {"null", "'4001'", "-1", "{'4001': 'alice'}"}) {
    SCOPED_TRACE(szOwner);
    prepare();
    m_jTask["owner"] = json(szOwner);
    ASSERT_EQ(::chown(exitCodePath().c_str(), OWNER, OWNER), 0);
    expectRefused();
  }
}

TEST_F(ExitCodeFile, ThatIsALinkIsNotFollowed) {
  const TempDir folder;
  writeFile(folder.path("forged"), "{\"exit_type\": \"normal\", \"exit_code\": 0}");
  std::filesystem::remove(exitCodePath());
  std::filesystem::create_symlink(folder.path("forged"), exitCodePath());
  expectRefused();
  EXPECT_TRUE(fileExists(folder.path("forged")));
}

TEST_F(ExitCodeFile, WithASecondNameCountsAsUnreadable) {
  const TempDir folder;
  std::filesystem::create_hard_link(exitCodePath(), folder.path("other"));
  expectRefused();
  EXPECT_TRUE(fileExists(folder.path("other")));
}

TEST_F(ExitCodeFile, ThatIsAPipeHoldsNobodyUp) {
  std::filesystem::remove(exitCodePath());
  ASSERT_EQ(::mkfifo(exitCodePath().c_str(), 0666), 0);
  expectRefused();
}

TEST_F(ExitCodeFile, ThatIsAFolderStays) {
  std::filesystem::remove(exitCodePath());
  std::filesystem::create_directory(exitCodePath());
  expectNoExitInfo();
  expectClosedWith("{}");
  EXPECT_EQ(takeTemporaryFiles().size(), 1U);
}

TEST_F(ExitCodeFile, Above64KibibytesCountsAsUnreadable) {
  const std::string strInfo = "{\"exit_type\": \"normal\", \"exit_code\": 0}";
  leaveExitInfo(strInfo + std::string(64 * 1024 - strInfo.size(), ' '));
  expectClosedWith("{'exit_type': 'normal', 'exit_code': 0}");
  prepare();
  leaveExitInfo(strInfo + std::string(64 * 1024 - strInfo.size() + 1, ' '));
  expectRefused();
}

TEST_F(ExitCodeFile, ThatCannotBeDeletedIsNoFailure) {
  fakes().fail("unlink").withErrno(EPERM);
  expectClosedWith("{'exit_type': 'normal', 'exit_code': 3}");
  EXPECT_EQ(takeTemporaryFiles().size(), 1U);
}

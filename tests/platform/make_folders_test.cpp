#include <csignal>
#include <filesystem>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

namespace fs = std::filesystem;
using OrvaTest::fileMode;
using OrvaTest::PlatformTest;

namespace {

constexpr uid_t KEEP = static_cast<uid_t>(-1);

class MakeFolders : public PlatformTest {
protected:
  OrvaTest::TempDir m_dir;

  int make(const std::string& strPath, mode_t mode = 0777) {
    return ORVAFSMkdirP(strPath.c_str(), nullptr, 1, KEEP, KEEP, mode);
  }
};

TEST_F(MakeFolders, EveryMissingFolderGetsExactlyTheMode) {
  const mode_t maskBefore = umask(077);
  EXPECT_EQ(make(m_dir.path("a/b/c/")), 0);
  EXPECT_EQ(make(m_dir.path("d"), 0711), 0);
  umask(maskBefore);
  for (const char* const szFolder : {"a", "a/b", "a/b/c"}) {
    EXPECT_EQ(fileMode(m_dir.path(szFolder)), 0777U) << szFolder;
  }
  EXPECT_EQ(fileMode(m_dir.path("d")), 0711U);
  EXPECT_EQ(fileMode(m_dir.path()), 0755U) << "the existing file is unchanged";
}

TEST_F(MakeFolders, OpenParentsAreNotMadeWhenTheHostDoesNotWantThem) {
  ORVAFSRefuseOpenParents(1);
  EXPECT_LT(make(m_dir.path("a/b")), 0);
  EXPECT_FALSE(fs::exists(m_dir.path("a")));
  EXPECT_EQ(make(m_dir.path("a/")), 0);
  EXPECT_EQ(make(m_dir.path("a/b")), 0);
  EXPECT_EQ(fileMode(m_dir.path("a/b")), 0777U);
  EXPECT_EQ(make(m_dir.path("own/folder"), 0755), 0);
  ORVAFSRefuseOpenParents(0);
  EXPECT_EQ(make(m_dir.path("c/d")), 0);
}

TEST_F(MakeFolders, ExistingFolderIsLeftAsItIs) {
  fs::create_directory(m_dir.path("a"));
  chmod(m_dir.path("a").c_str(), 0500);
  ASSERT_EQ(chown(m_dir.path("a").c_str(), 4711, 4712), 0);
  EXPECT_EQ(ORVAFSMkdirP(m_dir.path("a").c_str(), nullptr, 1, 1, 1, 0777), 0);
  EXPECT_EQ(fileMode(m_dir.path("a")), 0500U);
  EXPECT_EQ(OrvaTest::fileOwner(m_dir.path("a")), std::pair(uid_t{4711}, gid_t{4712}));
}

TEST_F(MakeFolders, NewFoldersGetTheOwner) {
  EXPECT_EQ(ORVAFSMkdirP(m_dir.path("a/b").c_str(), nullptr, 1, 4711, 4712, 0700), 0);
  EXPECT_EQ(OrvaTest::fileOwner(m_dir.path("a/b")), std::pair(uid_t{4711}, gid_t{4712}));
  EXPECT_EQ(fileMode(m_dir.path("a")), 0700U);
}

TEST_F(MakeFolders, SpecialBitsAreKeptWithAnOwner) {
  EXPECT_EQ(ORVAFSMkdirP(m_dir.path("a").c_str(), nullptr, 1, 4711, 4712, 03775), 0);
  EXPECT_EQ(fileMode(m_dir.path("a")), 03775U);
}

TEST_F(MakeFolders, GroupThatTheParentHandsDownIsKept) {
  ASSERT_EQ(chown(m_dir.path().c_str(), 0, 4712), 0);
  ASSERT_EQ(chmod(m_dir.path().c_str(), 02755), 0);
  EXPECT_EQ(make(m_dir.path("a"), 0777), 0);
  EXPECT_EQ(fileMode(m_dir.path("a")), 02777U);
  EXPECT_EQ(OrvaTest::fileOwner(m_dir.path("a")).second, 4712U);
}

TEST_F(MakeFolders, MountPointsOnTheWayAreCrossed) {
  const std::string strVolume = m_dir.path("my volume");
  OrvaTest::mountTmpfs(strVolume);
  fs::create_directories(m_dir.path("bound"));
  ASSERT_EQ(mount(strVolume.c_str(), m_dir.path("bound").c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_EQ(make(m_dir.path("bound/a/b")), 0);
  EXPECT_EQ(fileMode(strVolume + "/a/b"), 0777U);
  ASSERT_EQ(mount(nullptr, m_dir.path("bound").c_str(), nullptr, MS_REMOUNT | MS_BIND | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(make(m_dir.path("bound/a/b")), 0) << "what exists needs no writing";
  EXPECT_LT(make(m_dir.path("bound/a/c")), 0);
  EXPECT_EQ(errno, EROFS);
  ASSERT_EQ(umount(m_dir.path("bound").c_str()), 0);
  ASSERT_EQ(umount(strVolume.c_str()), 0);
}

TEST_F(MakeFolders, WithoutLeafOnlyTheParentsAreMade) {
  EXPECT_EQ(ORVAFSMkdirP(m_dir.path("a/file").c_str(), nullptr, 0, KEEP, KEEP, 0755), 0);
  EXPECT_TRUE(fs::is_directory(m_dir.path("a")));
  EXPECT_FALSE(fs::exists(m_dir.path("a/file")));
}

TEST_F(MakeFolders, FileInTheWayIsAFailure) {
  OrvaTest::writeFile(m_dir.path("file"), "kept");
  EXPECT_LT(make(m_dir.path("file")), 0);
  EXPECT_EQ(errno, ENOTDIR);
  EXPECT_LT(make(m_dir.path("file/below")), 0);
  EXPECT_EQ(KLIBCErrGet(), ENOTDIR);
  EXPECT_EQ(OrvaTest::readFile(m_dir.path("file")), "kept");
}

TEST_F(MakeFolders, LinkIsCrossedNowhere) {
  const OrvaTest::TempDir elsewhere;
  fs::create_directory(elsewhere.path("real"));
  fs::create_directory_symlink(elsewhere.path(), m_dir.path("link"));
  fs::create_directory_symlink(elsewhere.path("missing"), m_dir.path("dangling"));
  for (const char* const szPath : {"link", "link/new", "link/real", "link/real/new", "dangling", "dangling/new"}) {
    EXPECT_LT(make(m_dir.path(szPath)), 0) << szPath;
    EXPECT_EQ(errno, ELOOP) << szPath;
  }
  EXPECT_THAT(OrvaTest::entries(elsewhere.path()), testing::ElementsAre("real"));
  EXPECT_THAT(OrvaTest::entries(elsewhere.path("real")), testing::IsEmpty());
}

TEST_F(MakeFolders, DotDotIsRefusedBeforeAnythingIsMade) {
  for (const char* const szPath : {"a/../b", "..", "a/.."}) {
    EXPECT_LT(make(m_dir.path(szPath)), 0) << szPath;
    EXPECT_EQ(errno, EINVAL);
  }
  EXPECT_THAT(OrvaTest::entries(m_dir.path()), testing::IsEmpty());
}

TEST_F(MakeFolders, DotsAndRepeatedSlashesAreSkipped) {
  EXPECT_EQ(make(m_dir.path(".//a/./b//")), 0);
  EXPECT_TRUE(fs::is_directory(m_dir.path("a/b")));
  EXPECT_EQ(make("/"), 0);
}

TEST_F(MakeFolders, BadArgumentsAreRefused) {
  EXPECT_LT(make("relative/path"), 0);
  EXPECT_LT(make(""), 0);
  EXPECT_LT(ORVAFSMkdirP(nullptr, nullptr, 1, KEEP, KEEP, 0755), 0);
  EXPECT_LT(ORVAFSMkdirP(m_dir.path("a").c_str(), "/tmp", 1, KEEP, KEEP, 0755), 0);
  EXPECT_LT(make(m_dir.path("a"), 0200777), 0);
  EXPECT_LT(make(m_dir.path(std::string(256, 'x'))), 0);
  EXPECT_EQ(errno, ENAMETOOLONG);
  EXPECT_THAT(OrvaTest::entries(m_dir.path()), testing::IsEmpty());
}

TEST_F(MakeFolders, PathLongerThanTheSystemTakesAtOnceIsMade) {
  std::string strPath = m_dir.path();
  for (int i = 0; i < 30; ++i) {
    strPath += "/" + std::string(200, static_cast<char>('a' + i % 26));
  }
  EXPECT_EQ(make(strPath), 0);
  EXPECT_EQ(make(strPath), 0);
}

TEST_F(MakeFolders, CreatorsAtTheSameMomentAllSucceed) {
  constexpr int N_PROCESSES = 8;
  constexpr int N_ROUNDS = 200;
  std::vector<pid_t> vecPid;
  for (int iProcess = 0; iProcess < N_PROCESSES; ++iProcess) {
    const pid_t pid = fork();
    if (pid == 0) {
      int cFailed = 0;
      for (int i = 0; i < N_ROUNDS; ++i) {
        cFailed += make(m_dir.path(std::to_string(i) + "/a/b/c/d")) == 0 ? 0 : 1;
      }
      _exit(cFailed == 0 ? 0 : 1);
    }
    vecPid.push_back(pid);
  }
  for (const pid_t pid : vecPid) {
    int iStatus = -1;
    waitpid(pid, &iStatus, 0);
    EXPECT_EQ(iStatus, 0);
  }
  for (int i = 0; i < N_ROUNDS; ++i) {
    EXPECT_EQ(fileMode(m_dir.path(std::to_string(i) + "/a/b/c/d")), 0777U);
  }
}

// Repeatedly replaces a path by a folder, a link to a folder of root, and nothing.
[[noreturn]] void keepPlanting(const std::string& strFolder, const std::string& strSecret) {
  for (unsigned u = 0; setuid(4711) == 0; ++u) {
    mkdir(strFolder.c_str(), 0777);
    rename(strFolder.c_str(), (strFolder + std::to_string(u)).c_str());
    if (symlink(strSecret.c_str(), strFolder.c_str()) == 0) {
      sched_yield();
      unlink(strFolder.c_str());
    }
  }
  _exit(1);
}

TEST_F(MakeFolders, FolderThatTurnsIntoALinkLeadsNowhere) {
  constexpr int N_TRIES = 2000;
  constexpr int N_LINKS = 20;
  constexpr int N_TRIES_MAX = 1'000'000;
  const OrvaTest::TempDir secret(0700);
  ASSERT_EQ(chmod(m_dir.path().c_str(), 0777), 0);
  const std::string strFolder = m_dir.path("task");
  const pid_t pid = fork();
  if (pid == 0) {
    keepPlanting(strFolder, secret.path());
  }
  int cLink = 0;
  for (int i = 0; i < N_TRIES || (cLink < N_LINKS && i < N_TRIES_MAX); ++i) {
    cLink += make(strFolder + "/new") < 0 && errno == ELOOP ? 1 : 0;
  }
  kill(pid, SIGKILL);
  waitpid(pid, nullptr, 0);
  EXPECT_THAT(OrvaTest::entries(secret.path()), testing::IsEmpty());
  EXPECT_GE(cLink, N_LINKS) << "the link was found too rarely to be sure";
}

}  // namespace

#include <cstring>
#include <filesystem>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"

namespace fs = std::filesystem;
using OrvaTest::defineShares;
using OrvaTest::mountTmpfs;
using OrvaTest::PlatformTest;

namespace {

constexpr unsigned long long MIB = 1024 * 1024;

class Volumes : public PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::writeFile("/etc/fstab", "");
    defineShares("");
  }

  void TearDown() override {
    for (const std::string& strTarget : m_vecMounted) {
      umount2(strTarget.c_str(), MNT_DETACH);
    }
    PlatformTest::TearDown();
  }

  void volume(const std::string& strTarget, const std::string& strOptions = "size=16m,mode=755") {
    mountTmpfs(strTarget, strOptions);
    m_vecMounted.insert(m_vecMounted.begin(), strTarget);
  }

  std::string availableVolume(unsigned long long cbMinimum) {
    char szVolume[4096] = "";
    const int iResult = VolumeAvailGet(cbMinimum, 0, szVolume, sizeof szVolume, 0);
    EXPECT_GE(iResult, 0);
    EXPECT_EQ(iResult > 0, szVolume[0] != '\0');
    return szVolume;
  }

  std::string tempFolder(const std::string& strVolume) {
    char szPath[4096] = "";
    return ORVAShareTmpPathGet(strVolume.c_str(), szPath, 4095) == 0 ? szPath : "";
  }

private:
  std::vector<std::string> m_vecMounted;
};

TEST_F(Volumes, VolumeThatHoldsAShareIsFound) {
  volume("/tmp/vol");
  fs::create_directory("/tmp/vol/logs");
  defineShares("[logs]\npath = /tmp/vol/logs\n");
  EXPECT_EQ(availableVolume(0x500000), "/tmp/vol");
  EXPECT_EQ(availableVolume(1ULL << 60), "");
}

TEST_F(Volumes, WithoutShareAMountInMemoryIsNoVolume) {
  volume("/srv/memory");
  EXPECT_NE(availableVolume(MIB), "/srv/memory");
}

TEST_F(Volumes, FreeSpaceIsThatOfAnUnprivilegedWriter) {
  volume("/tmp/vol", "size=8m");
  defineShares("[a]\npath = /tmp/vol\n");
  struct statvfs status{};
  ASSERT_EQ(statvfs("/tmp/vol", &status), 0);
  const unsigned long long cbFree = static_cast<unsigned long long>(status.f_bavail) * status.f_frsize;
  EXPECT_EQ(availableVolume(cbFree), "/tmp/vol");
  EXPECT_NE(availableVolume(cbFree + 1), "/tmp/vol");
}

TEST_F(Volumes, FullVolumeGivesWayToAnother) {
  volume("/tmp/full", "size=8m");
  volume("/tmp/other", "size=6m");
  defineShares("[a]\npath = /tmp/full\n[b]\npath = /tmp/other\n");
  EXPECT_EQ(availableVolume(5 * MIB), "/tmp/full") << "the volume with the most free space";
  OrvaTest::writeFile("/tmp/full/file", std::string(7 * MIB, 'x'));
  EXPECT_EQ(availableVolume(5 * MIB), "/tmp/other");
  OrvaTest::writeFile("/tmp/other/file", std::string(5 * MIB, 'x'));
  EXPECT_NE(availableVolume(5 * MIB), "/tmp/other");
}

TEST_F(Volumes, ReadOnlyVolumeIsNone) {
  volume("/tmp/vol", "size=8m");
  defineShares("[a]\npath = /tmp/vol\n");
  ASSERT_EQ(mount(nullptr, "/tmp/vol", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_NE(availableVolume(MIB), "/tmp/vol");
}

TEST_F(Volumes, ShareOfAnAbsentVolumeLendsItsMountPointToNobody) {
  volume("/tmp/outer", "size=8m");
  fs::create_directories("/tmp/outer/data");
  OrvaTest::writeFile("/etc/fstab", "/dev/none /tmp/outer/data ext4 nofail 0 2\n");
  defineShares("[a]\npath = /tmp/outer/data\n");
  EXPECT_NE(availableVolume(MIB), "/tmp/outer");
}

TEST_F(Volumes, MountPointMayHaveSpaces) {
  volume("/tmp/my volume");
  defineShares("[a]\npath = /tmp/my volume\n");
  EXPECT_EQ(availableVolume(MIB), "/tmp/my volume");
  EXPECT_EQ(tempFolder("/tmp/my volume"), "/tmp/my volume/@tmp");
}

TEST_F(Volumes, MountPointThatAShellWouldReadIsNoVolume) {
  for (const char* const szTarget : {"/tmp/a'b", "/tmp/a;b", "/tmp/$(a)", "/tmp/`a`", "/tmp/a\nb"}) {
    volume(szTarget, "size=64m");
    fs::remove("/tmp/link");
    fs::create_directory_symlink(szTarget, "/tmp/link");
    defineShares("[a]\npath = /tmp/link\n");
    EXPECT_EQ(KLIBShareIsAccessible("a"), 0) << szTarget;
    EXPECT_EQ(KLIBCErrGet(), EINVAL);
    EXPECT_NE(availableVolume(MIB), szTarget);
  }
}

TEST_F(Volumes, DiskWithoutShareIsTakenWhenNoShareHasRoom) {
  OrvaTest::runCommand({"truncate", "-s", "32M", "/tmp/disk"});
  ASSERT_EQ(OrvaTest::runCommand({"mkfs.ext4", "-q", "-F", "/tmp/disk"}).iStatus, 0);
  fs::create_directories("/srv/disk");
  const auto mounted = OrvaTest::runCommand({"mount", "-o", "loop", "/tmp/disk", "/srv/disk"});
  if (mounted.iStatus != 0) {
    fs::remove("/tmp/disk");
    GTEST_SKIP() << "no loop device here: " << mounted.strErrors;
  }
  volume("/tmp/vol", "size=8m");
  defineShares("[a]\npath = /tmp/vol\n");
  EXPECT_EQ(availableVolume(4 * MIB), "/tmp/vol") << "the volume of a share comes first, with less free space";
  EXPECT_EQ(availableVolume(16 * MIB), "/srv/disk");
  fs::create_directories("/srv/bound");
  ASSERT_EQ(mount("/srv/disk", "/srv/bound", nullptr, MS_BIND, nullptr), 0);
  EXPECT_EQ(availableVolume(16 * MIB), "/srv/disk") << "a bind mount is not a separate volume";
  umount("/srv/bound");
  ASSERT_EQ(OrvaTest::runCommand({"umount", "/srv/disk"}).iStatus, 0);
  EXPECT_EQ(availableVolume(16 * MIB), "") << "unmounted while the scheduler runs";
  fs::remove("/tmp/disk");
}

// The temporary folder of the root file system, in the test's own root.
std::string tempFolderOfRoot(mode_t modeOfVarTmp) {
  const std::string strRoot = "/tmp/root";
  fs::create_directories(strRoot + "/var/tmp");
  fs::create_directories(strRoot + "/proc");
  chmod((strRoot + "/var/tmp").c_str(), modeOfVarTmp);
  mount("proc", (strRoot + "/proc").c_str(), "proc", 0, nullptr);
  int fdPipe[2] = {-1, -1};
  EXPECT_EQ(pipe(fdPipe), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    char szPath[64] = "";
    const bool blFound = chroot(strRoot.c_str()) == 0 && chdir("/") == 0 && ORVAShareTmpPathGet("/", szPath, 64) == 0;
    const ssize_t cb = blFound ? write(fdPipe[1], szPath, strlen(szPath)) : 0;
    _exit(cb > 0 ? 0 : 1);
  }
  close(fdPipe[1]);
  char szPath[64] = "";
  EXPECT_GE(read(fdPipe[0], szPath, sizeof szPath - 1), 0);
  close(fdPipe[0]);
  waitpid(pid, nullptr, 0);
  umount((strRoot + "/proc").c_str());
  return szPath;
}

TEST_F(Volumes, TempFolderOfTheRootFileSystemIsVarTmpWhenThatIsOne) {
  volume("/tmp/root");
  EXPECT_EQ(tempFolderOfRoot(01777), "/var/tmp");
  EXPECT_FALSE(fs::exists("/tmp/root/@tmp"));
  EXPECT_EQ(tempFolderOfRoot(0755), "/@tmp");
  EXPECT_EQ(OrvaTest::fileMode("/tmp/root/@tmp"), 01777U);
}

TEST_F(Volumes, SmallBufferIsAFailure) {
  volume("/tmp/vol");
  defineShares("[a]\npath = /tmp/vol\n");
  char szVolume[16] = "untouched";
  EXPECT_LT(VolumeAvailGet(MIB, 0, szVolume, 8, 0), 0);
  EXPECT_STREQ(szVolume, "untouched");
  EXPECT_GT(VolumeAvailGet(MIB, 0, szVolume, 9, 0), 0);
  EXPECT_LT(VolumeAvailGet(MIB, 0, nullptr, 9, 0), 0);
  EXPECT_LT(VolumeAvailGet(MIB, 0, szVolume, 0, 0), 0);
}

TEST_F(Volumes, TempFolderIsMadeForEverybodyWhateverTheUmaskIs) {
  volume("/tmp/vol");
  const mode_t maskBefore = umask(077);
  EXPECT_EQ(tempFolder("/tmp/vol"), "/tmp/vol/@tmp");
  umask(maskBefore);
  EXPECT_EQ(OrvaTest::fileMode("/tmp/vol/@tmp"), 01777U);
  EXPECT_EQ(OrvaTest::fileOwner("/tmp/vol/@tmp"), std::pair(uid_t{0}, gid_t{0}));
  EXPECT_EQ(tempFolder("/tmp/vol"), "/tmp/vol/@tmp") << "a second time";
}

TEST_F(Volumes, UnfinishedTempFolderOfRootIsFinished) {
  volume("/tmp/vol");
  ASSERT_EQ(mkdir("/tmp/vol/@tmp", 0700), 0);
  EXPECT_EQ(tempFolder("/tmp/vol"), "/tmp/vol/@tmp");
  EXPECT_EQ(OrvaTest::fileMode("/tmp/vol/@tmp"), 01777U);
}

TEST_F(Volumes, PlantedTempFolderIsRefused) {
  volume("/tmp/vol", "size=8m,mode=1777");
  const OrvaTest::TempDir elsewhere(0700);
  fs::create_directory_symlink(elsewhere.path(), "/tmp/vol/@tmp");
  EXPECT_EQ(tempFolder("/tmp/vol"), "");
  EXPECT_EQ(OrvaTest::fileMode(elsewhere.path()), 0700U);
  fs::remove("/tmp/vol/@tmp");
  OrvaTest::writeFile("/tmp/vol/@tmp", "");
  EXPECT_EQ(tempFolder("/tmp/vol"), "");
  fs::remove("/tmp/vol/@tmp");
  ASSERT_EQ(mkdir("/tmp/vol/@tmp", 0777), 0);
  ASSERT_EQ(chown("/tmp/vol/@tmp", 4711, 4711), 0);
  EXPECT_EQ(tempFolder("/tmp/vol"), "");
  EXPECT_EQ(KLIBCErrGet(), EPERM);
}

TEST_F(Volumes, FolderThatIsNoMountPointHasNoTempFolder) {
  for (const char* const szVolume : {"", "tmp", "/nowhere", "/tmp/", "/tmp/../tmp", "/opt"}) {
    EXPECT_EQ(tempFolder(szVolume), "") << szVolume;
  }
  EXPECT_FALSE(fs::exists("/opt/@tmp"));
  char szPath[8] = "";
  EXPECT_LT(ORVAShareTmpPathGet(nullptr, szPath, 8), 0);
  EXPECT_LT(ORVAShareTmpPathGet("/tmp", nullptr, 8), 0);
  EXPECT_LT(ORVAShareTmpPathGet("/tmp", szPath, 8), 0) << "/tmp/@tmp and its NUL need 10";
}

TEST_F(Volumes, TempFolderOnAReadOnlyVolumeFails) {
  volume("/tmp/vol");
  ASSERT_EQ(mount(nullptr, "/tmp/vol", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(tempFolder("/tmp/vol"), "");
  EXPECT_EQ(errno, EROFS);
}

}  // namespace

#include <filesystem>
#include <sys/mount.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

namespace fs = std::filesystem;
using OrvaTest::defineShares;
using OrvaTest::PlatformTest;

namespace {

constexpr int VOLUME_UNUSABLE = 0x1400;

class Shares : public PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    fs::remove_all("/tmp/srv");
    OrvaTest::writeFile("/etc/fstab", "");
  }

  // The path; or the error code, which must be the same in errno and the last error.
  std::string pathOf(const std::string& strShare) {
    char szPath[4096] = "untouched";
    errno = 0;
    if (ORVASharePathGet(strShare.c_str(), szPath, sizeof szPath) == 0) {
      EXPECT_EQ(errno, 0);
      EXPECT_EQ(KLIBShareIsAccessible(strShare.c_str()), 1);
      return szPath;
    }
    const int iError = errno;
    EXPECT_EQ(KLIBCErrGet(), iError);
    EXPECT_STREQ(szPath, "untouched");
    EXPECT_EQ(KLIBShareIsAccessible(strShare.c_str()), 0);
    EXPECT_EQ(KLIBCErrGet(), iError);
    return iError == VOLUME_UNUSABLE ? "<unusable>" : "<" + std::string(strerror(iError)) + ">";
  }
};

TEST_F(Shares, DefinedShareGivesItsPath) {
  fs::create_directories("/tmp/srv/logs");
  fs::create_directories("/tmp/srv/with space");
  defineShares("# comment\n[logs]\npath = /tmp/srv/logs/\n\n[Ödland 1]\npath=\"/tmp/srv/with space\"\n");
  EXPECT_EQ(pathOf("logs"), "/tmp/srv/logs");
  EXPECT_EQ(pathOf("Ödland 1"), "/tmp/srv/with space");
}

TEST_F(Shares, UnknownAndImpossibleNamesAreNoShares) {
  defineShares("[logs]\npath = /tmp\n");
  for (const char* const szName : {"other", "LOGS", "", ".", "..", "logs/", "../logs", " logs", "lo\ngs", "lo\xFFgs"}) {
    EXPECT_EQ(pathOf(szName), "<No such file or directory>") << szName;
  }
  EXPECT_EQ(KLIBShareIsAccessible(nullptr), 0);
  EXPECT_LT(ORVASharePathGet(nullptr, nullptr, 0), 0);
}

TEST_F(Shares, NoDefinitionFileMeansNoShares) {
  fs::remove_all("/etc/orva");
  EXPECT_EQ(pathOf("logs"), "<No such file or directory>");
}

TEST_F(Shares, ShareWhosePathIsNoFolderCannotBeUsedThoughItsVolumeIsThere) {
  OrvaTest::writeFile("/tmp/srv/file", "");
  fs::create_symlink("loop", "/tmp/srv/loop");
  fs::create_symlink("/tmp/srv/gone", "/tmp/srv/dangling");
  defineShares(
      "[gone]\npath = /tmp/srv/gone\n[file]\npath = /tmp/srv/file\n[below]\npath = /tmp/srv/file/x\n"
      "[dangling]\npath = /tmp/srv/dangling\n[loop]\npath = /tmp/srv/loop\n");
  for (const char* const szName : {"gone", "file", "below", "dangling"}) {
    EXPECT_EQ(pathOf(szName), "<Not a directory>") << szName;
  }
  EXPECT_EQ(pathOf("loop"), "<Too many levels of symbolic links>");
}

// Without the mount, the folders of its shares are missing, too.
TEST_F(Shares, PathThatIsMissingBelowAnAbsentMountHasAnUnusableVolume) {
  fs::create_directories("/tmp/srv");
  fs::create_symlink("/tmp/srv/data/logs", "/tmp/srv/link");
  OrvaTest::writeFile("/etc/fstab", "/dev/none /tmp/srv/data ext4 nofail 0 2\n");
  defineShares("[deep]\npath = /tmp/srv/data/deep/logs\n[link]\npath = /tmp/srv/link\n");
  EXPECT_EQ(pathOf("deep"), "<unusable>") << "the mount point is missing too";
  EXPECT_EQ(pathOf("link"), "<unusable>") << "a link leads to the absent mount";
  OrvaTest::writeFile("/etc/fstab", "/dev/none /tmp/srv/data/deep ext4 nofail 0 2\n");
  EXPECT_EQ(pathOf("deep"), "<unusable>") << "and the folder above the mount point";
  OrvaTest::writeFile("/etc/fstab", "/dev/none /tmp/srv/data ext4 nofail 0 2\n");
  OrvaTest::mountTmpfs("/tmp/srv/data");
  EXPECT_EQ(pathOf("deep"), "<Not a directory>") << "the volume is there, the folder is missing";
  EXPECT_EQ(pathOf("link"), "<Not a directory>");
  ASSERT_EQ(umount("/tmp/srv/data"), 0);
}

TEST_F(Shares, EmptyFolderWhoseConfiguredMountIsAbsentIsUnusable) {
  fs::create_directories("/tmp/srv/data/logs");
  OrvaTest::writeFile("/etc/fstab", "/dev/none / ext4 defaults 0 1\n/dev/none /tmp/srv/data ext4 nofail 0 2\n");
  defineShares("[logs]\npath = /tmp/srv/data/logs\n");
  EXPECT_EQ(pathOf("logs"), "<unusable>");
  OrvaTest::mountTmpfs("/tmp/srv/data");
  EXPECT_EQ(pathOf("logs"), "<Not a directory>") << "mounted, but the folder is not on it";
  fs::create_directories("/tmp/srv/data/logs");
  EXPECT_EQ(pathOf("logs"), "/tmp/srv/data/logs");
  ASSERT_EQ(umount("/tmp/srv/data"), 0);
  EXPECT_EQ(pathOf("logs"), "<unusable>") << "unmounted while the scheduler runs";
}

TEST_F(Shares, ConfiguredMountPointMayHaveSpaces) {
  fs::create_directories("/tmp/srv/my data/logs");
  OrvaTest::writeFile("/etc/fstab", "/dev/none /tmp/srv/my\\040data ext4 nofail 0 2\n");
  defineShares("[logs]\npath = /tmp/srv/my data/logs\n");
  EXPECT_EQ(pathOf("logs"), "<unusable>");
  OrvaTest::mountTmpfs("/tmp/srv/my data");
  fs::create_directories("/tmp/srv/my data/logs");
  EXPECT_EQ(pathOf("logs"), "/tmp/srv/my data/logs");
  ASSERT_EQ(umount("/tmp/srv/my data"), 0);
}

TEST_F(Shares, VolumeOfTheDefinitionMustBeMounted) {
  fs::create_directories("/tmp/srv/v/logs");
  defineShares("[logs]\nvolume = /tmp/srv/v\npath = /tmp/srv/v/logs\n");
  EXPECT_EQ(pathOf("logs"), "<unusable>");
  OrvaTest::mountTmpfs("/tmp/srv/v");
  fs::create_directories("/tmp/srv/v/logs");
  EXPECT_EQ(pathOf("logs"), "/tmp/srv/v/logs");
  OrvaTest::mountTmpfs("/tmp/srv", "size=1m");
  EXPECT_EQ(pathOf("logs"), "<unusable>") << "another mount hides the volume";
  ASSERT_EQ(umount("/tmp/srv"), 0);
  ASSERT_EQ(umount("/tmp/srv/v"), 0);
}

TEST_F(Shares, NeighbourOfAConfiguredMountIsNotOnIt) {
  fs::create_directories("/tmp/srv/data2");
  OrvaTest::writeFile("/etc/fstab", "/dev/none /tmp/srv/data ext4 nofail 0 2\n/dev/none none swap sw 0 0\n");
  defineShares("[logs]\npath = /tmp/srv/data2\n");
  EXPECT_EQ(pathOf("logs"), "/tmp/srv/data2");
}

TEST_F(Shares, BindMountHoldsItsShare) {
  fs::create_directories("/tmp/srv/real/logs");
  fs::create_directories("/tmp/srv/bound");
  OrvaTest::writeFile("/etc/fstab", "/tmp/srv/real /tmp/srv/bound none bind 0 0\n");
  defineShares("[logs]\npath = /tmp/srv/bound/logs\n");
  EXPECT_EQ(pathOf("logs"), "<unusable>");
  ASSERT_EQ(mount("/tmp/srv/real", "/tmp/srv/bound", nullptr, MS_BIND, nullptr), 0);
  EXPECT_EQ(pathOf("logs"), "/tmp/srv/bound/logs");
  ASSERT_EQ(umount("/tmp/srv/bound"), 0);
}

TEST_F(Shares, LinksInADefinedPathAreResolved) {
  fs::create_directories("/tmp/srv/real/logs");
  fs::create_directory_symlink("real", "/tmp/srv/link");
  defineShares("[logs]\npath = /tmp/srv/link/logs\n");
  EXPECT_EQ(pathOf("logs"), "/tmp/srv/real/logs");
}

TEST_F(Shares, FaultyDefinitionCostsThatShareAlone) {
  defineShares(
      "[good]\npath = /tmp\n[relative]\npath = srv\n[dots]\npath = /srv/../etc\n[none]\n[twice]\npath = /a\n"
      "path = /b\n[typo]\npath = /tmp\nvolum = /\n[elsewhere]\npath = /tmp\nvolume = /mnt\n[a/b]\npath = /tmp\n"
      "[good]\npath = /usr\n[last]\npath = /tmp\n");
  EXPECT_EQ(pathOf("good"), "/tmp") << "the first definition of a name wins";
  EXPECT_EQ(pathOf("last"), "/tmp");
  for (const char* const szName : {"relative", "dots", "none", "twice", "typo", "elsewhere", "a/b"}) {
    EXPECT_EQ(pathOf(szName), "<No such file or directory>") << szName;
  }
}

// The real testparm reads a configuration with an include, a synonym and sections that are not shares.
TEST_F(Shares, SambaServerGivesItsShares) {
  fs::create_directories("/tmp/srv/a");
  fs::create_directories("/tmp/srv/b");
  OrvaTest::writeFile("/etc/orvainfo.conf", "sharesource = samba\n");
  OrvaTest::writeFile("/etc/samba/included.conf",
                      "[Public]\n  directory = /tmp/srv/a\n[off]\n  path = /tmp/srv/a\n"
                      "  available = no\n");
  OrvaTest::writeFile("/etc/samba/smb.conf",
                      "[global]\n  workgroup = X\n  include = /etc/samba/included.conf\n[homes]\n"
                      "  browseable = no\n[printers]\n  path = /tmp\n  printable = yes\n");
  EXPECT_EQ(pathOf("Public"), "/tmp/srv/a");
  for (const char* const szName : {"off", "homes", "printers", "global", "new"}) {
    EXPECT_EQ(pathOf(szName), "<No such file or directory>") << szName;
  }
  OrvaTest::writeFile("/etc/samba/smb.conf", "[new]\n  path = /tmp/srv/b\n[gone]\n  path = /tmp/srv/gone\n");
  EXPECT_EQ(pathOf("new"), "/tmp/srv/b") << "a changed configuration is read at once";
  EXPECT_EQ(pathOf("Public"), "<No such file or directory>");
  EXPECT_EQ(pathOf("gone"), "<Not a directory>");
  OrvaTest::writeFile("/etc/orvainfo.conf", "sharesource = nfs\n");
  EXPECT_EQ(pathOf("new"), "<No such file or directory>");
}

// Replaces testparm by a version that counts its calls; the destructor restores it.
class CountedTestparm {
public:
  CountedTestparm() {
    fs::rename("/usr/bin/testparm", "/usr/bin/testparm.real");
    works(true);
  }
  ~CountedTestparm() { fs::rename("/usr/bin/testparm.real", "/usr/bin/testparm"); }
  CountedTestparm(const CountedTestparm&) = delete;
  CountedTestparm& operator=(const CountedTestparm&) = delete;

  static void works(bool blWorks) {
    OrvaTest::writeFile("/usr/bin/testparm",
                        std::string("#!/bin/sh\necho >> /tmp/asked\n") +
                            (blWorks ? "exec /usr/bin/testparm.real \"$@\"\n" : "exit 1\n"),
                        0755);
  }
  static std::size_t calls() { return OrvaTest::fileExists("/tmp/asked") ? fs::file_size("/tmp/asked") : 0; }
};

TEST_F(Shares, SambaServerIsAskedAgainWhenItsConfigurationHasChangedOrItDidNotAnswer) {
  const CountedTestparm testparm;
  fs::create_directories("/tmp/srv/a");
  OrvaTest::writeFile("/etc/orvainfo.conf", "sharesource = samba\n");
  OrvaTest::writeFile("/etc/samba/smb.conf", "[a]\n  path = /tmp/srv/a\n");
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(pathOf("a"), "/tmp/srv/a");
  }
  EXPECT_EQ(testparm.calls(), 1U);
  OrvaTest::writeFile("/etc/samba/smb.conf.new", "[b]\n  path = /tmp/srv/a\n");
  fs::rename("/etc/samba/smb.conf.new", "/etc/samba/smb.conf");
  EXPECT_EQ(pathOf("b"), "/tmp/srv/a") << "replaced, as editors do";
  EXPECT_EQ(testparm.calls(), 2U);
  testparm.works(false);
  OrvaTest::writeFile("/etc/samba/smb.conf", "[c]\n  path = /tmp/srv/a\n");
  EXPECT_EQ(pathOf("c"), "<No such file or directory>");
  testparm.works(true);
  EXPECT_EQ(pathOf("c"), "/tmp/srv/a") << "a failure is not kept";
}

TEST_F(Shares, BufferThatIsTooSmallIsAFailure) {
  defineShares("[logs]\npath = /tmp\n");
  char szPath[5] = "";
  EXPECT_LT(ORVASharePathGet("logs", szPath, 4), 0);
  EXPECT_EQ(errno, ERANGE);
  EXPECT_EQ(ORVASharePathGet("logs", szPath, 5), 0);
  EXPECT_STREQ(szPath, "/tmp");
  EXPECT_LT(ORVASharePathGet("logs", szPath, -1), 0);
}

}  // namespace

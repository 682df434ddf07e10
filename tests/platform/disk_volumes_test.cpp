// Shares and volumes on a real disk: a file with ext4 in it, mounted through a loop device.

#include <fcntl.h>
#include <filesystem>
#include <sys/mount.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"

namespace fs = std::filesystem;
using OrvaTest::runCommand;

namespace {

constexpr unsigned long long MIB = 1024 * 1024;
constexpr int VOLUME_UNUSABLE = 0x1400;
constexpr const char* IMAGE = "/tmp/disk.img";
constexpr const char* VOLUME = "/srv/my disk";
constexpr const char* FOLDER = "/srv/my disk/logs";

class DiskVolume : public OrvaTest::PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    runCommand({"truncate", "-s", "64M", IMAGE});
    // A tenth of it is reserved for root.
    ASSERT_EQ(runCommand({"mkfs.ext4", "-q", "-F", "-m", "10", IMAGE}).iStatus, 0);
    fs::create_directories(FOLDER);
    OrvaTest::writeFile("/etc/fstab", std::string(IMAGE) + " /srv/my\\040disk ext4 loop,nofail 0 2\n");
    OrvaTest::defineShares(std::string("[logs]\npath = ") + FOLDER + "\n");
    const auto mounted = runCommand({"mount", "-o", "loop", IMAGE, VOLUME});
    if (mounted.iStatus != 0) {
      GTEST_SKIP() << "no loop device here: " << mounted.strErrors;
    }
    fs::create_directories(FOLDER);
  }

  void TearDown() override {
    umount2(VOLUME, MNT_DETACH);
    fs::remove(IMAGE);
    PlatformTest::TearDown();
  }

  // 0 when the share is available, else the error code.
  static int errorOfShare() {
    char szPath[64] = "";
    if (ORVASharePathGet("logs", szPath, sizeof szPath) == 0) {
      EXPECT_STREQ(szPath, FOLDER);
      EXPECT_EQ(KLIBShareIsAccessible("logs"), 1);
      return 0;
    }
    EXPECT_EQ(KLIBShareIsAccessible("logs"), 0);
    return errno;
  }

  static std::string availableVolume(unsigned long long cbMinimum) {
    char szVolume[64] = "";
    EXPECT_GE(VolumeAvailGet(cbMinimum, 0, szVolume, sizeof szVolume, 0), 0);
    return szVolume;
  }

  static struct statvfs room() {
    struct statvfs status{};
    EXPECT_EQ(statvfs(VOLUME, &status), 0);
    return status;
  }
};

TEST_F(DiskVolume, RoomThatIsKeptForRootDoesNotCount) {
  const struct statvfs status = room();
  const unsigned long long cbUser = static_cast<unsigned long long>(status.f_bavail) * status.f_frsize;
  const unsigned long long cbRoot = static_cast<unsigned long long>(status.f_bfree) * status.f_frsize;
  ASSERT_GT(cbRoot, cbUser + 4 * MIB) << "the disk of this test reserves space for root";
  EXPECT_EQ(availableVolume(cbUser), VOLUME);
  EXPECT_EQ(availableVolume(cbUser + 1), "");
  PORVASHARE pShare = nullptr;
  ASSERT_EQ(ORVAShareGet("logs", &pShare), 0);
  EXPECT_EQ(pShare->cbFree, cbUser);
  EXPECT_STREQ(pShare->szVolume, VOLUME);
  ORVAShareFree(pShare);
}

TEST_F(DiskVolume, FullDiskIsNoVolumeAndItsShareStaysUsable) {
  // Root can still write when other users cannot.
  OrvaTest::writeFile(std::string(VOLUME) + "/ballast",
                      std::string(static_cast<std::size_t>(room().f_bavail) * room().f_frsize, 'x'));
  EXPECT_EQ(availableVolume(1), "");
  EXPECT_EQ(availableVolume(5 * MIB), "");
  EXPECT_EQ(errorOfShare(), 0);
  fs::remove(std::string(VOLUME) + "/ballast");
  EXPECT_EQ(availableVolume(5 * MIB), VOLUME);
}

TEST_F(DiskVolume, DiskThatBecomesReadOnlyIsNoVolume) {
  ASSERT_EQ(mount(nullptr, VOLUME, nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(availableVolume(1), "");
  EXPECT_EQ(errorOfShare(), 0) << "what is there can still be read";
  ASSERT_EQ(mount(nullptr, VOLUME, nullptr, MS_REMOUNT, nullptr), 0);
  EXPECT_EQ(availableVolume(MIB), VOLUME);
}

TEST_F(DiskVolume, DiskThatIsTakenAwayUnderAWriterIsUnusableAtOnceAndCollectsNothing) {
  const int fdOutput = open((std::string(FOLDER) + "/output.log").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_GE(fdOutput, 0);
  ASSERT_EQ(umount(VOLUME), -1) << "a disk in use is not taken away by mistake";
  EXPECT_EQ(errno, EBUSY);
  EXPECT_EQ(errorOfShare(), 0);
  ASSERT_EQ(umount2(VOLUME, MNT_DETACH), 0);
  EXPECT_EQ(write(fdOutput, "late", 4), 4) << "a run that has its file goes on";
  EXPECT_EQ(errorOfShare(), VOLUME_UNUSABLE);
  EXPECT_EQ(availableVolume(1), "");
  EXPECT_TRUE(fs::is_empty(FOLDER)) << "the empty folder below the mount point";
  close(fdOutput);
  ASSERT_EQ(runCommand({"mount", "-o", "loop", IMAGE, VOLUME}).iStatus, 0);
  EXPECT_EQ(errorOfShare(), 0) << "back again";
  EXPECT_EQ(OrvaTest::readFile(std::string(FOLDER) + "/output.log"), "late");
}

TEST_F(DiskVolume, PieceOfADiskThatIsBoundElsewhereHoldsAShareOfItsOwn) {
  fs::create_directories("/srv/bound");
  ASSERT_EQ(mount(FOLDER, "/srv/bound", nullptr, MS_BIND, nullptr), 0);
  OrvaTest::writeFile("/etc/fstab", "/srv/my\\040disk/logs /srv/bound none bind 0 0\n");
  OrvaTest::defineShares("[bound]\npath = /srv/bound\n");
  EXPECT_EQ(availableVolume(MIB), "/srv/bound") << "the volume of a share comes first";
  char szPath[64] = "";
  EXPECT_EQ(ORVAShareTmpPathGet("/srv/bound", szPath, sizeof szPath), 0);
  EXPECT_STREQ(szPath, "/srv/bound/@tmp");
  ASSERT_EQ(umount("/srv/bound"), 0);
  EXPECT_EQ(ORVASharePathGet("bound", szPath, sizeof szPath), -1);
  EXPECT_EQ(errno, VOLUME_UNUSABLE);
}

}  // namespace

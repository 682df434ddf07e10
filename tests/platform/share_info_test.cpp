// Information about shares for hosts.

#include <filesystem>
#include <memory>
#include <sys/mount.h>
#include <sys/statvfs.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

namespace fs = std::filesystem;
using OrvaTest::defineShares;
using OrvaTest::PlatformTest;

namespace {

constexpr int VOLUME_UNUSABLE = 0x1400;

class ShareInfo : public PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    fs::remove_all("/tmp/srv");
    OrvaTest::writeFile("/etc/fstab", "");
  }

  static std::vector<std::string> texts(PKLIBCSZLIST pList) {
    std::vector<std::string> vecText;
    for (int i = 0; i < pList->nItem; ++i) {
      vecText.emplace_back(KLIBCSzListGet(pList, i));
    }
    KLIBCSzListFree(pList);
    return vecText;
  }

  // Names, then errors.
  static std::pair<std::vector<std::string>, std::vector<std::string>> list() {
    PKLIBCSZLIST pShares = KLIBCSzListAlloc(4);
    PKLIBCSZLIST pFaults = KLIBCSzListAlloc(4);
    const int cShare = ORVAShareList(&pShares, &pFaults);
    auto vecShare = texts(pShares);
    EXPECT_EQ(cShare, static_cast<int>(vecShare.size()));
    return {vecShare, texts(pFaults)};
  }

  using SharePtr = std::unique_ptr<ORVASHARE, decltype(&ORVAShareFree)>;

  static SharePtr get(const std::string& strName) {
    PORVASHARE pShare = nullptr;
    EXPECT_EQ(ORVAShareGet(strName.c_str(), &pShare), 0) << strName;
    return {pShare, &ORVAShareFree};
  }
};

TEST_F(ShareInfo, SharesAreListedInTheirOrder) {
  defineShares("[two words]\npath = /tmp\n[a]\npath = /nowhere\n");
  EXPECT_EQ(list().first, (std::vector<std::string>{"two words", "a"}));
  fs::remove("/etc/orva/shares.conf");
  EXPECT_THAT(list().first, testing::IsEmpty());
  EXPECT_THAT(list().second, testing::IsEmpty());
}

TEST_F(ShareInfo, EveryFaultOfTheDefinitionFileIsToldWithItsLine) {
  defineShares(
      "stray = 1\n[good]\npath = /tmp\n[relative]\npath = srv\n[none]\n[twice]\npath = /a\npath = /b\n"
      "[typo]\npath = /tmp\nvolum = /\n[elsewhere]\npath = /tmp\nvolume = /mnt\n[a/b]\npath = /tmp\n[good]\n"
      "path = /usr\nword\n[open\n");
  const auto [vecShare, vecFault] = list();
  EXPECT_THAT(vecShare, testing::ElementsAre("good"));
  EXPECT_THAT(
      vecFault,
      testing::UnorderedElementsAre(
          "/etc/orva/shares.conf:1: \"stray\" is in no section",
          "/etc/orva/shares.conf:5: share \"relative\": \"srv\" is not an absolute path without \".\" and \"..\"",
          "/etc/orva/shares.conf:6: share \"none\": \"path\" is missing",
          "/etc/orva/shares.conf:9: share \"twice\": \"path\" occurs twice",
          "/etc/orva/shares.conf:12: share \"typo\": unknown key \"volum\"",
          "/etc/orva/shares.conf:13: share \"elsewhere\": the path is not on the volume",
          "/etc/orva/shares.conf:16: share \"a/b\": \"a/b\" cannot be the name of a share",
          "/etc/orva/shares.conf:18: share \"good\": is already defined",
          "/etc/orva/shares.conf:20: neither a section nor KEY = VALUE: \"word\"",
          "/etc/orva/shares.conf:21: not a section: \"[open\""));
}

TEST_F(ShareInfo, PathThatAShellWouldActOnIsNoShare) {
  for (const char* const szPath :
       {"/tmp/it's", "/tmp/$(id)", "/tmp/a;b", "/tmp/`id`", "/tmp/a|b", "/tmp/a\"b", "/tmp/*"}) {
    defineShares(std::string("[a]\npath = ") + szPath + "\n");
    const auto [vecShare, vecFault] = list();
    EXPECT_THAT(vecShare, testing::IsEmpty()) << szPath;
    EXPECT_THAT(vecFault, testing::ElementsAre(std::string("/etc/orva/shares.conf:2: share \"a\": \"") + szPath +
                                               "\" has a character that is special to a shell"));
  }
}

TEST_F(ShareInfo, SourceThatCannotBeReadIsToldToo) {
  fs::create_directories("/etc/orva/shares.conf");
  EXPECT_THAT(list().second, testing::ElementsAre("cannot read shares from /etc/orva/shares.conf: Is a directory"));
  OrvaTest::writeFile("/etc/orvainfo.conf", "sharesource = nfs\n");
  EXPECT_THAT(list().second,
              testing::ElementsAre("the setting sharesource is \"nfs\"; it must be \"file\" or \"samba\""));
  fs::remove("/etc/orva/shares.conf");
}

TEST_F(ShareInfo, UsableShareShowsItsVolumeAndItsRoom) {
  OrvaTest::mountTmpfs("/tmp/srv/my volume", "size=8m,mode=755");
  fs::create_directories("/tmp/srv/my volume/logs");
  fs::create_directory_symlink("my volume/logs", "/tmp/srv/link");
  defineShares("[logs]\npath = /tmp/srv/link/\n");
  const auto pShare = get("logs");
  EXPECT_STREQ(pShare->szName, "logs");
  EXPECT_STREQ(pShare->szPath, "/tmp/srv/link");
  EXPECT_STREQ(pShare->szVolume, "/tmp/srv/my volume");
  EXPECT_EQ(pShare->iError, 0);
  struct statvfs status{};
  ASSERT_EQ(statvfs("/tmp/srv/my volume", &status), 0);
  EXPECT_EQ(pShare->cbFree, static_cast<unsigned long long>(status.f_bavail) * status.f_frsize);
  ASSERT_EQ(mount(nullptr, "/tmp/srv/my volume", nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
  EXPECT_EQ(get("logs")->cbFree, 0U) << "nobody can write there";
  ASSERT_EQ(umount("/tmp/srv/my volume"), 0);
}

TEST_F(ShareInfo, UnusableShareShowsWhy) {
  OrvaTest::writeFile("/etc/fstab", "/dev/none /tmp/srv/data ext4 nofail 0 2\n");
  fs::create_directories("/tmp/srv/data/logs");
  defineShares("[absent]\npath = /tmp/srv/data/logs\n[gone]\npath = /tmp/srv/gone\n");
  const auto pAbsent = get("absent");
  EXPECT_EQ(pAbsent->iError, VOLUME_UNUSABLE);
  EXPECT_STREQ(pAbsent->szVolume, "/tmp/srv/data");
  EXPECT_EQ(pAbsent->cbFree, 0U);
  EXPECT_EQ(get("gone")->iError, ENOTDIR);
}

TEST_F(ShareInfo, UnknownShareAndMissingPlaceForTheAnswerAreFailures) {
  defineShares("[logs]\npath = /tmp\n");
  auto* pShare = reinterpret_cast<PORVASHARE>(1);
  EXPECT_LT(ORVAShareGet("other", &pShare), 0);
  EXPECT_EQ(pShare, nullptr);
  EXPECT_EQ(KLIBCErrGet(), ENOENT);
  EXPECT_LT(ORVAShareGet(nullptr, &pShare), 0);
  EXPECT_LT(ORVAShareGet("logs", nullptr), 0);
  EXPECT_LT(ORVAShareList(nullptr, nullptr), 0);
  PKLIBCSZLIST pShares = KLIBCSzListAlloc(0);
  EXPECT_EQ(ORVAShareList(&pShares, nullptr), 1) << "faults go to the log";
  EXPECT_THAT(texts(pShares), testing::ElementsAre("logs"));
  ORVAShareFree(nullptr);
}

}  // namespace

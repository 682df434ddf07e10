#include "platform_fixture.h"
#include "settings/section_file.h"
#include "shares/samba_shares.h"
#include "shares/share_list.h"
#include "support/mount_table.h"

namespace {

TEST(SectionFile, EveryFaultIsReportedWithItsLine) {
  std::vector<std::string> vecFault;
  const auto vecSection = orva::parseSections("k = v\n[a]\n k = v \n=v\nword\n[]\nl = v\n[b\n\n[ c d ]\nm=\n",
                                              [&vecFault](int iLine, const std::string& strFault) {
                                                vecFault.push_back(std::to_string(iLine) + ": " + strFault);
                                              });
  EXPECT_THAT(vecFault,
              testing::ElementsAre("1: \"k\" is in no section", "4: neither a section nor KEY = VALUE: \"=v\"",
                                   "5: neither a section nor KEY = VALUE: \"word\"", "6: not a section: \"[]\"",
                                   "7: \"l\" is in no section", "8: not a section: \"[b\""));
  ASSERT_EQ(vecSection.size(), 2U);
  EXPECT_EQ(vecSection[0].vecEntry.at(0).strValue, "v");
  EXPECT_EQ(vecSection[1].strName, "c d");
  EXPECT_EQ(vecSection[1].vecEntry.at(0).strValue, "");
}

TEST(ShareList, NamesAreChecked) {
  for (const char* const szName : {"a", "logs", "two words", "日本", "a.b", "...", "$x"}) {
    EXPECT_TRUE(orva::isShareName(szName)) << szName;
  }
  for (const char* const szName : {"", ".", "..", "a/b", "/", " a", "a ", "a\tb", "a\x7F", "\xFF"}) {
    EXPECT_FALSE(orva::isShareName(szName)) << szName;
  }
  EXPECT_TRUE(orva::isShareName(std::string(80, 'x')));
  EXPECT_FALSE(orva::isShareName(std::string(81, 'x')));
}

TEST(SambaShares, OnlyFoldersOfTheirOwnAreShares) {
  std::vector<std::string> vecShare;
  std::vector<std::string> vecFault;
  for (const orva::Share& share : orva::parseTestparm(
           "# Global parameters\n[global]\n\tpath = /x\n\n[homes]\n\tpath = /home/x\n[printers]\n"
           "\tpath = /spool\n\tprintable = Yes\n[print$]\n\tpath = /drivers\n[two words]\n\tpath = /srv/a b\n"
           "\tread only = No\n[gone]\n\tavailable = No\n\tpath = /srv/gone\n[own]\n\tpath = /srv/%U\n"
           "[lp]\n\tPath = /spool\n\tprintable = YES\n[no path]\n\tguest ok = Yes\n[R&D]\n\tpath = /srv/R&D\n"
           "[last]\n\tpath = /srv/last\n",
           [&vecFault](const std::string& strFault) { vecFault.push_back(strFault); })) {
    vecShare.push_back(share.strName + "=" + share.strPath);
  }
  EXPECT_THAT(vecShare, testing::ElementsAre("two words=/srv/a b", "last=/srv/last"));
  EXPECT_THAT(vecFault, testing::ElementsAre("/etc/samba/smb.conf: share \"R&D\": \"/srv/R&D\" has a character "
                                             "that is special to a shell"));
}

TEST(MountTable, FolderHoldsItselfAndFoldersBelow) {
  EXPECT_TRUE(orva::isWithin("/a", "/a"));
  EXPECT_TRUE(orva::isWithin("/a/b", "/a"));
  EXPECT_TRUE(orva::isWithin("/a", "/"));
  EXPECT_FALSE(orva::isWithin("/ab", "/a"));
  EXPECT_FALSE(orva::isWithin("/", "/a"));
}

TEST(MountTable, RootIsMountedAndHoldsAFolderOfItsOwn) {
  const auto vecMount = orva::currentMounts();
  const auto mount = orva::mountHolding(vecMount, "/tmp");
  ASSERT_TRUE(mount.has_value());
  EXPECT_EQ(mount->strTarget, "/tmp");
  EXPECT_TRUE(orva::isReachable(*mount));
  EXPECT_EQ(orva::mountHolding(vecMount, "/root")->strTarget, "/");
}

}  // namespace

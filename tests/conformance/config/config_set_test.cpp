// configInit and configSet: write sections of the configuration file.

#include <sys/stat.h>

#include "config_fixture.h"

using namespace OrvaTest;

namespace {

class ConfigInit : public EorvaTest {};
class ConfigSet : public EorvaTest {};

}  // namespace

TEST_F(ConfigInit, CreatesTheSectionWhenThereIsNoFile) {
  EXPECT_EQ(configInit(), 0);
  EXPECT_EQ(storedConfig(), json("{'eorvascheduler': {'type': 'eorvascheduler'}}"));
  EXPECT_EQ(fileMode(CONFIG_PATH), 0644U);
  EXPECT_EQ(filesInFolder().size(), 1U);
}

TEST_F(ConfigInit, CreatesWithTheSameModeUnderATightUmask) {
  ::umask(077);
  EXPECT_EQ(configInit(), 0);
  EXPECT_EQ(fileMode(CONFIG_PATH), 0644U);
}

TEST_F(ConfigInit, LeavesAnExistingFileAsItIs) {
  for (const std::string strContent : {"{\"a\":1}", "", "{not json"}) {
    writeFile(CONFIG_PATH, strContent, 0600);
    EXPECT_EQ(configInit(), 0);
    EXPECT_EQ(readFile(CONFIG_PATH), strContent);
    EXPECT_EQ(fileMode(CONFIG_PATH), 0600U);
  }
  EXPECT_THAT(fakes().systemCalls(), testing::Each(testing::StartsWith("access(")));
}

TEST_F(ConfigInit, LeavesAFileThatItMayNotExamineAsItIs) {
  for (const int iErrno : {EACCES, EIO}) {
    fakes().fail("access").withErrno(iErrno);
    EXPECT_EQ(configInit(), 0);
    EXPECT_FALSE(fileExists(CONFIG_PATH));
  }
}

TEST_F(ConfigInit, FailsOnALinkThatLeadsToItself) {
  std::filesystem::create_symlink(CONFIG_PATH, CONFIG_PATH);
  expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL).withErrno(ELOOP);
  expectFailure("0 > configGet(jNull, jConfig)", UTIL).withErrno(ELOOP);
  expectFailure("0 > configSet(jIn)", UTIL).withErrno(ELOOP);
  EXPECT_EQ(configInit(), -1);
  EXPECT_TRUE(std::filesystem::is_symlink(CONFIG_PATH));
}

TEST_F(ConfigInit, FailsWhenTheSectionCannotBeStored) {
  fakes().fail("rename").withErrno(EROFS);
  expectFailure("!jConfig.toFile(EORVA_SCHEDULER_CONFIG_PATH, true)", UTIL).withErrno(EROFS);
  expectFailure("0 > configSet(jIn)", UTIL);
  EXPECT_EQ(configInit(), -1);
  EXPECT_THAT(filesInFolder(), testing::IsEmpty());
}

TEST_F(ConfigInit, EachFailingCallLeavesTheWholeSectionOrNoFile) {
  const int cCalls = failEachCall([] { std::filesystem::remove(CONFIG_PATH); },
                                  [] {
                                    const int iResult = configInit();
                                    EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0));
                                    if (fileExists(CONFIG_PATH)) {
                                      EXPECT_EQ(storedConfig(), json("{'eorvascheduler': {'type': 'eorvascheduler'}}"));
                                    }
                                    EXPECT_LE(filesInFolder().size(), 1U);
                                  });
  EXPECT_GE(cCalls, 9);
}

TEST_F(ConfigSet, FailsOnOtherTypesThanAnObject) {
  for (const Json::Value& jWrong : {Json::Value(), json("[]"), Json::Value("type"), Json::Value(1.5)}) {
    Json::Value jIn = jWrong;
    expectFailure("jIn.type() != Json::objectValue", UTIL);
    EXPECT_EQ(configSet(jIn), -1);
  }
  EXPECT_FALSE(fileExists(CONFIG_PATH));
}

TEST_F(ConfigSet, FailsWithoutAType) {
  Json::Value jIn = json("{'output_path': 'logs'}");
  expectFailure("!jIn.isMember(\"type\")", UTIL);
  EXPECT_EQ(configSet(jIn), -1);
  EXPECT_FALSE(fileExists(CONFIG_PATH));
}

TEST_F(ConfigSet, FailsOnATypeThatIsNoString) {
  for (const char* szType : {"1", "null", "{}", "[]", "false"}) {
    Json::Value jIn = json(std::string("{'type': ") + szType + "}");
    expectFailure("!jIn[\"type\"].isString()", UTIL);
    EXPECT_EQ(configSet(jIn), -1);
  }
  EXPECT_FALSE(fileExists(CONFIG_PATH));
}

TEST_F(ConfigSet, OnAMissingFileStoresOnlyTheGivenSection) {
  Json::Value jIn = json("{'type': 'other', 'n': {'deep': [1, 2.5, null, true]}}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(storedConfig(), json("{'other': {'type': 'other', 'n': {'deep': [1, 2.5, null, true]}}}"));
  EXPECT_EQ(fileMode(CONFIG_PATH), 0644U);
  EXPECT_EQ(filesInFolder().size(), 1U);
}

TEST_F(ConfigSet, DropsTheKeysThatTheNewSectionLacksAndKeepsOtherSections) {
  storeConfig();
  Json::Value jIn = json("{'type': 'eorvascheduler', 'enable_output': false}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(storedConfig()["eorvascheduler"], json("{'type': 'eorvascheduler', 'enable_output': false}"));
  EXPECT_EQ(storedConfig()["other"], json(CONFIG)["other"]);
  EXPECT_EQ(jIn, json("{'type': 'eorvascheduler', 'enable_output': false}"));
}

TEST_F(ConfigSet, LinkInPlaceOfTheFileIsKeptAndItsFileReplaced) {
  const TempDir dir;
  writeFile(dir.path("elsewhere.json"), quoted(CONFIG));
  std::filesystem::create_symlink(dir.path("elsewhere.json"), CONFIG_PATH);
  Json::Value jIn = json("{'type': 'other', 'n': 2}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(CONFIG_PATH));
  EXPECT_EQ(json(readFile(dir.path("elsewhere.json")))["other"], jIn);
}

TEST_F(ConfigSet, LinkThatLeadsNowhereIsKeptAndItsFileCreated) {
  const TempDir dir;
  std::filesystem::create_symlink(dir.path("elsewhere.json"), dir.path("link"));
  std::filesystem::create_symlink(dir.path("link"), CONFIG_PATH);
  Json::Value jIn = json("{'type': 'other', 'n': 2}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(CONFIG_PATH));
  EXPECT_TRUE(std::filesystem::is_symlink(dir.path("link")));
  EXPECT_EQ(json(readFile(dir.path("elsewhere.json")))["other"], jIn);
}

TEST_F(ConfigSet, LinkIntoAFolderThatIsNotThereIsKept) {
  // For example, the file's volume is not mounted yet. No file must replace the link meanwhile.
  std::filesystem::create_symlink("not-mounted/elsewhere.json", CONFIG_PATH);
  expectFailure("!jConfig.toFile(EORVA_SCHEDULER_CONFIG_PATH, true)", UTIL).withErrno(ENOENT);
  Json::Value jIn = json("{'type': 'other'}");
  EXPECT_EQ(configSet(jIn), -1);
  EXPECT_EQ(std::filesystem::read_symlink(CONFIG_PATH), "not-mounted/elsewhere.json");
  EXPECT_EQ(filesInFolder().size(), 1U);
}

TEST_F(ConfigSet, LinkThatCannotBeReadIsKept) {
  const TempDir dir;
  std::filesystem::create_symlink(dir.path("elsewhere.json"), CONFIG_PATH);
  fakes().fail("readlink").withErrno(EIO);
  expectFailure("!jConfig.toFile(EORVA_SCHEDULER_CONFIG_PATH, true)", UTIL).withErrno(EIO);
  Json::Value jIn = json("{'type': 'other'}");
  EXPECT_EQ(configSet(jIn), -1);
  EXPECT_TRUE(std::filesystem::is_symlink(CONFIG_PATH));
}

TEST_F(ConfigSet, StoresUnderAnyName) {
  Json::Value jIn = json("{'type': ''}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(storedConfig(), json("{'': {'type': ''}}"));
}

TEST_F(ConfigSet, SetsTheModeAfterEveryWrite) {
  writeFile(CONFIG_PATH, quoted(CONFIG), 0600);
  Json::Value jIn = json("{'type': 'other'}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(fileMode(CONFIG_PATH), 0644U);
  EXPECT_EQ(fakes().systemCalls().back(), call("chmod") + ", 0644)");
}

TEST_F(ConfigSet, FailsOnADamagedFileAndLeavesItAsItIs) {
  storeConfig("{damaged");
  Json::Value jIn = json("{'type': 'eorvascheduler'}");
  expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
  expectFailure("0 > configGet(jNull, jConfig)", UTIL);
  EXPECT_EQ(configSet(jIn), -1);
  EXPECT_EQ(readFile(CONFIG_PATH), "{damaged");
}

TEST_F(ConfigSet, WritesToADocumentThatIsNull) {
  storeConfig("null");
  Json::Value jIn = json("{'type': 'eorvascheduler'}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(json(readFile(CONFIG_PATH)), json("{'eorvascheduler': {'type': 'eorvascheduler'}}"));
}

TEST_F(ConfigSet, FailsOnADocumentThatCannotHaveSections) {
  for (const char* szContent : {"[1]", "'text'", "7"}) {
    storeConfig(szContent);
    const std::string strBefore = readFile(CONFIG_PATH);
    Json::Value jIn = json("{'type': 'eorvascheduler'}");
    expectFailure("0 > configGet(jNull, jConfig)", UTIL);
    EXPECT_EQ(configSet(jIn), -1) << szContent;
    EXPECT_EQ(readFile(CONFIG_PATH), strBefore);
  }
}

TEST_F(ConfigSet, AFailedWriteLeavesTheOldFileWhole) {
  for (const char* szCall : {"mkostemp", "write", "fchmod", "fsync", "rename"}) {
    storeConfig();
    fakes().fail(szCall).withErrno(ENOSPC);
    Json::Value jIn = json("{'type': 'eorvascheduler'}");
    expectFailure("!jConfig.toFile(EORVA_SCHEDULER_CONFIG_PATH, true)", UTIL).withErrno(ENOSPC);
    EXPECT_EQ(configSet(jIn), -1) << szCall;
    EXPECT_EQ(storedConfig(), json(CONFIG)) << szCall;
    EXPECT_EQ(filesInFolder().size(), 1U) << szCall;
  }
}

TEST_F(ConfigSet, AFailedModeIsAFailureAlthoughTheFileIsWritten) {
  storeConfig();
  fakes().fail(call("chmod")).withErrno(EPERM);
  Json::Value jIn = json("{'type': 'other', 'n': 2}");
  expectFailure("0 > chmod(EORVA_SCHEDULER_CONFIG_PATH, 0644)", UTIL).withErrno(EPERM);
  EXPECT_EQ(configSet(jIn), -1);
  EXPECT_EQ(storedConfig()["other"], json("{'type': 'other', 'n': 2}"));
}

TEST_F(ConfigSet, EachFailingCallLeavesTheOldFileOrTheNewOne) {
  const int cCalls = failEachCall([] { storeConfig(); },
                                  [] {
                                    Json::Value jIn = json("{'type': 'other', 'n': 2}");
                                    const int iResult = configSet(jIn);
                                    const bool blNew = storedConfig()["other"] == jIn;
                                    EXPECT_TRUE(blNew || storedConfig() == json(CONFIG));
                                    EXPECT_TRUE(iResult == 0 || fakes().faults() > 0);
                                    EXPECT_TRUE(blNew || iResult == -1);
                                    EXPECT_EQ(filesInFolder().size(), 1U);
                                  });
  EXPECT_GE(cCalls, 8);
}

// sharePath2VolumePath and errorNotify: paths that begin with a share's name.

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

constexpr int ERR_VOLUME_UNUSABLE = 0x1400;
const std::string NOTIFY =
    "0 != KLIBCExec(SZCMD_DAR_ORVAKBVNOTIFY, \"@administrators\", \"taskscheduler_notify_user_share_volume_error\", "
    "NULL, NULL)";
const std::string NOTIFIER =
    "KLIBCExec(/usr/orva/bin/orvakbvnotify, @administrators, taskscheduler_notify_user_share_volume_error, NULL, NULL)";

class SharePath2VolumePath : public EorvaTest {
protected:
  int translate(const std::string& strSharePath) {
    std::string strIn = strSharePath;
    m_strVolumePath = "untouched";
    const int iResult = sharePath2VolumePath(strIn, m_strVolumePath);
    EXPECT_EQ(strIn, strSharePath);
    return iResult;
  }

  std::string m_strVolumePath;
};

class ErrorNotify : public EorvaTest {};

}  // namespace

TEST_F(SharePath2VolumePath, PutsTheSharesPathInPlaceOfItsName) {
  fakes().shares["media"] = "/volume1/media";
  const std::vector<std::pair<std::string, std::string>> paths = {{"media", "/volume1/media"},
                                                                  {"media/a", "/volume1/media/a"},
                                                                  {"media/a/b c", "/volume1/media/a/b c"},
                                                                  {"media/a//b", "/volume1/media/a//b"},
                                                                  {"media/../x", "/volume1/media/../x"}};
  for (const auto& [strSharePath, strVolumePath] : paths) {
    EXPECT_EQ(translate(strSharePath), 0) << strSharePath;
    EXPECT_EQ(m_strVolumePath, strVolumePath);
  }
}

TEST_F(SharePath2VolumePath, KeepsASlashAtTheEnd) {
  fakes().shares["media"] = "/volume1/media";
  EXPECT_EQ(translate("media/"), 0);
  EXPECT_EQ(m_strVolumePath, "/volume1/media/");
  EXPECT_EQ(translate("media/a/"), 0);
  EXPECT_EQ(m_strVolumePath, "/volume1/media/a/");
}

TEST_F(SharePath2VolumePath, AsksForTheShareOnly) {
  EXPECT_EQ(translate("logs/a/b"), 0);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("ORVASharePathGet(logs, 4096)"));
}

TEST_F(SharePath2VolumePath, FailsOnAnEmptyPath) {
  expectFailure("strShare.empty()", UTIL);
  EXPECT_EQ(translate(""), -1);
  EXPECT_EQ(m_strVolumePath, "untouched");
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(SharePath2VolumePath, ASlashInFrontNamesTheEmptyShare) {
  expectLine("ORVASharePathGet failed, share=", UTIL);
  EXPECT_EQ(translate("/logs"), -1);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("ORVASharePathGet(, 4096)"));
}

TEST_F(SharePath2VolumePath, FailsOnAnUnknownShareAndTellsNobody) {
  expectLine("ORVASharePathGet failed, share=gone", UTIL);
  EXPECT_EQ(translate("gone/a"), -1);
  EXPECT_EQ(m_strVolumePath, "untouched");
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("ORVASharePathGet(gone, 4096)"));
}

TEST_F(SharePath2VolumePath, AnEmptyPathOfTheShareIsAFailure) {
  fakes().answer("ORVASharePathGet", 0, Json::Value(""));
  expectLine("ORVASharePathGet failed, share=logs", UTIL);
  EXPECT_EQ(translate("logs"), -1);
  EXPECT_EQ(m_strVolumePath, "untouched");
}

TEST_F(SharePath2VolumePath, TellsTheAdministratorsOnceThatAVolumeIsUnusable) {
  for (const bool blNegative : {true, false}) {
    fakes().forgetCalls();
    fakes().answer("ORVASharePathGet", blNegative ? -1 : 0, Json::Value("")).withErrno(ERR_VOLUME_UNUSABLE);
    expectLine("ORVASharePathGet failed, share=logs", UTIL).withErrno(ERR_VOLUME_UNUSABLE);
    EXPECT_EQ(translate("logs/a"), -1);
    EXPECT_EQ(m_strVolumePath, "untouched");
    EXPECT_THAT(fakes().calls(), testing::ElementsAre("ORVASharePathGet(logs, 4096)", NOTIFIER));
  }
}

TEST_F(SharePath2VolumePath, TellsNobodyOfAnyOtherReason) {
  for (const int iErrno : {EIO, ENOENT, ERR_VOLUME_UNUSABLE + 1}) {
    fakes().fail("ORVASharePathGet").withErrno(iErrno);
    expectLine("ORVASharePathGet failed, share=logs", UTIL).withErrno(iErrno);
    EXPECT_EQ(translate("logs"), -1);
  }
  EXPECT_THAT(fakes().calls(), testing::Each(testing::StartsWith("ORVASharePathGet")));
}

TEST_F(SharePath2VolumePath, TakesNoReasonFromAnEarlierFailure) {
  fakes().fail("ORVASharePathGet");
  expectLine("ORVASharePathGet failed, share=logs", UTIL).withErrno(0);
  errno = ERR_VOLUME_UNUSABLE;
  EXPECT_EQ(translate("logs"), -1);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("ORVASharePathGet(logs, 4096)"));
}

TEST_F(SharePath2VolumePath, TakesNoReasonFromALookupThatSucceeded) {
  fakes().answer("ORVASharePathGet", 0, Json::Value("/volume1/logs")).withErrno(ERR_VOLUME_UNUSABLE);
  EXPECT_EQ(translate("logs"), 0);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("ORVASharePathGet(logs, 4096)"));
}

TEST_F(SharePath2VolumePath, LogsAFailingNotifierAndGoesOn) {
  fakes().fail("ORVASharePathGet").withErrno(ERR_VOLUME_UNUSABLE);
  fakes().answer("KLIBCExec", 1);
  expectLine("ORVASharePathGet failed, share=logs", UTIL);
  expectFailure(NOTIFY, UTIL);
  EXPECT_EQ(translate("logs"), -1);
}

TEST_F(SharePath2VolumePath, CutsLongPathsAt4095Bytes) {
  fakes().shares["s"] = "/volume1/share";
  const std::string strIn = "s/" + std::string(5000, 'a');
  EXPECT_EQ(translate(strIn), 0);
  EXPECT_EQ(m_strVolumePath, "/volume1/share/" + std::string(4095 - 15, 'a'));
  EXPECT_EQ(translate("s/" + std::string(4079, 'b') + "c"), 0);
  EXPECT_EQ(m_strVolumePath, "/volume1/share/" + std::string(4079, 'b') + "c");
}

TEST_F(SharePath2VolumePath, CutsWhatItReadsBeforeItLooksForTheShare) {
  // With a share's path of one byte, the input is cut and not the result.
  fakes().shares["share"] = "/";
  EXPECT_EQ(translate("share/" + std::string(5000, 'a')), 0);
  EXPECT_EQ(m_strVolumePath, "//" + std::string(4095 - 6, 'a'));
  const std::string strLong(4096, 'n');
  const std::string strCut(4095, 'n');
  expectLine("ORVASharePathGet failed, share=" + strCut, UTIL);
  EXPECT_EQ(translate(strLong + "/a"), -1);
  EXPECT_EQ(fakes().calls().back(), "ORVASharePathGet(" + strCut + ", 4096)");
}

TEST_F(SharePath2VolumePath, EachFailingCallLeavesThePath) {
  const int cCalls = failEachCall([] {},
                                  [this] {
                                    const int iResult = translate("logs/a");
                                    EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
                                    EXPECT_EQ(m_strVolumePath == "untouched", fakes().faults() > 0);
                                  });
  EXPECT_EQ(cCalls, 1);
}

TEST_F(ErrorNotify, RunsTheNotifierForTheAdministrators) {
  EXPECT_EQ(errorNotify(), 0);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre(NOTIFIER));
}

TEST_F(ErrorNotify, FailsOnEveryResultButZero) {
  for (const int iResult : {-1, 1, 127, 256}) {
    fakes().answer("KLIBCExec", iResult).withErrno(ENOENT);
    expectFailure(NOTIFY, UTIL).withErrno(ENOENT);
    EXPECT_EQ(errorNotify(), -1) << iResult;
  }
}

TEST_F(ErrorNotify, EachFailingCallIsAFailure) {
  const int cCalls = failEachCall([] {},
                                  [] {
                                    const int iResult = errorNotify();
                                    EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
                                  });
  EXPECT_EQ(cCalls, 1);
}

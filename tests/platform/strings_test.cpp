#include <memory>

#include "orva_platform.h"

#include "platform_fixture.h"

using OrvaTest::PlatformTest;
using testing::ElementsAre;

namespace {

class Strings : public PlatformTest {};

std::vector<std::string> items(PKLIBCSZLIST pList) {
  std::vector<std::string> vecItem;
  for (int i = 0; i < pList->nItem; ++i) {
    vecItem.emplace_back(KLIBCSzListGet(pList, i));
  }
  return vecItem;
}

std::vector<std::string> split(const char* szText, const char* szSeparators) {
  PKLIBCSZLIST pList = KLIBCSzListAlloc(512);
  const int cPiece = KLIBCStrTok(szText, szSeparators, &pList);
  std::vector<std::string> vecItem = items(pList);
  EXPECT_EQ(cPiece, static_cast<int>(vecItem.size()));
  KLIBCSzListFree(pList);
  return vecItem;
}

TEST_F(Strings, SplitKeepsEmptyPieces) {
  EXPECT_THAT(split("a@x,,b@y", ","), ElementsAre("a@x", "", "b@y"));
  EXPECT_THAT(split(",", ","), ElementsAre("", ""));
  EXPECT_THAT(split("", ","), ElementsAre(""));
  EXPECT_THAT(split("alone", ","), ElementsAre("alone"));
  EXPECT_THAT(split("a b;c", " ;"), ElementsAre("a", "b", "c"));
  EXPECT_THAT(split("a,b", ""), ElementsAre("a,b"));
}

TEST_F(Strings, SplitAppendsToTheList) {
  PKLIBCSZLIST pList = KLIBCSzListAlloc(0);
  EXPECT_EQ(pList->nItem, 0);
  EXPECT_EQ(KLIBCStrTok("a,b", ",", &pList), 2);
  EXPECT_EQ(KLIBCStrTok("c", ",", &pList), 1);
  EXPECT_THAT(items(pList), ElementsAre("a", "b", "c"));
  KLIBCSzListFree(pList);
}

TEST_F(Strings, IndexOutsideTheListGivesNull) {
  PKLIBCSZLIST pList = KLIBCSzListAlloc(1);
  KLIBCStrTok("a", ",", &pList);
  EXPECT_EQ(KLIBCSzListGet(pList, -1), nullptr);
  EXPECT_EQ(KLIBCSzListGet(pList, 1), nullptr);
  EXPECT_EQ(KLIBCSzListGet(nullptr, 0), nullptr);
  KLIBCSzListFree(pList);
  KLIBCSzListFree(nullptr);
}

TEST_F(Strings, BadArgumentsOfTheSplitAreRefused) {
  PKLIBCSZLIST pList = KLIBCSzListAlloc(1);
  PKLIBCSZLIST pNone = nullptr;
  EXPECT_LT(KLIBCStrTok(nullptr, ",", &pList), 0);
  EXPECT_LT(KLIBCStrTok("a", nullptr, &pList), 0);
  EXPECT_LT(KLIBCStrTok("a", ",", nullptr), 0);
  EXPECT_LT(KLIBCStrTok("a", ",", &pNone), 0);
  EXPECT_EQ(pList->nItem, 0);
  EXPECT_EQ(KLIBCErrGet(), EINVAL);
  KLIBCSzListFree(pList);
}

TEST_F(Strings, WildSizeIsOnlyAHint) {
  PKLIBCSZLIST pList = KLIBCSzListAlloc(2147483647);
  ASSERT_NE(pList, nullptr);
  KLIBCSzListFree(pList);
  PKLIBCSZHASH pHash = KLIBCSzHashAlloc(2147483647);
  ASSERT_NE(pHash, nullptr);
  KLIBCSzHashFree(pHash);
  EXPECT_EQ(KLIBCSzListAlloc(-1), nullptr);
  EXPECT_EQ(KLIBCSzHashAlloc(-1), nullptr);
}

TEST_F(Strings, HashTakesKeysAndRefusesInvalidOnes) {
  PKLIBCSZHASH pHash = KLIBCSzHashAlloc(512);
  PKLIBCSZHASH pNone = nullptr;
  EXPECT_EQ(KLIBCSzHashSetValue(&pHash, "%TASK%", "backup"), 0);
  EXPECT_EQ(KLIBCSzHashSetValue(&pHash, "%TASK%", ""), 0);
  EXPECT_LT(KLIBCSzHashSetValue(&pHash, "", "x"), 0);
  EXPECT_LT(KLIBCSzHashSetValue(&pHash, nullptr, "x"), 0);
  EXPECT_LT(KLIBCSzHashSetValue(&pHash, "%TASK%", nullptr), 0);
  EXPECT_LT(KLIBCSzHashSetValue(&pNone, "%TASK%", "x"), 0);
  EXPECT_LT(KLIBCSzHashSetValue(nullptr, "%TASK%", "x"), 0);
  KLIBCSzHashFree(pHash);
  KLIBCSzHashFree(nullptr);
}

}  // namespace

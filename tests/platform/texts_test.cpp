#include <filesystem>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

using ORVA::UIX::LocalizedStringParser;
using OrvaTest::PlatformTest;

namespace {

class Texts : public PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    std::filesystem::remove_all("/tmp/texts");
  }

  Json::Value parse(const std::string& strText) {
    OrvaTest::writeFile("/tmp/texts/a.strings", strText);
    return LocalizedStringParser::ParseTexts("/tmp/texts");
  }
};

TEST_F(Texts, SectionsAndKeysAreRead) {
  const Json::Value jTexts = parse(
      "# comment\n[schedule]\nnormal = \"ended \\\"well\\\"\\n\\tnow\\\\\"\nplain = as it is \n"
      "; comment\n[notify]\nkey = \"日本語\"\n");
  EXPECT_EQ(jTexts["schedule"]["normal"].asString(), "ended \"well\"\n\tnow\\");
  EXPECT_EQ(jTexts["schedule"]["plain"].asString(), "as it is");
  EXPECT_EQ(jTexts["notify"]["key"].asString(), "日本語");
  EXPECT_EQ(jTexts.size(), 2U);
}

TEST_F(Texts, BadLineCostsItselfAlone) {
  const Json::Value jTexts = parse(
      "stray = 1\n[a]\nopen = \"x\nescape = \"\\q\"\nnothing\nlatin = \"\xE9\"\nafter = \"x\" y\n"
      "good = \"y\"\n[broken\nlost = 1\n[b]\nk = v\n");
  EXPECT_EQ(jTexts["a"].getMemberNames(), std::vector<std::string>{"good"});
  EXPECT_EQ(jTexts["b"]["k"].asString(), "v");
  EXPECT_EQ(jTexts.size(), 2U) << "lines after a broken section are in no section";
}

TEST_F(Texts, FilesAreReadInTheOrderOfTheirNames) {
  OrvaTest::writeFile("/tmp/texts/b.strings", "[s]\nk = second\n");
  OrvaTest::writeFile("/tmp/texts/.c.strings", "[s]\nk = hidden\n");
  OrvaTest::writeFile("/tmp/texts/d.txt", "[s]\nk = other\n");
  EXPECT_EQ(parse("[s]\nk = first\nl = kept\n")["s"]["k"].asString(), "second");
  EXPECT_EQ(LocalizedStringParser::ParseTexts("/tmp/texts")["s"]["l"].asString(), "kept");
}

TEST_F(Texts, MissingFolderAndFolderWithoutTextsAreEmpty) {
  EXPECT_TRUE(LocalizedStringParser::ParseTexts("/tmp/texts").empty());
  OrvaTest::writeFile("/tmp/texts/enu/a.strings", "[s]\nk = v\n");
  EXPECT_TRUE(LocalizedStringParser::ParseTexts("/tmp/texts").empty());
  EXPECT_TRUE(LocalizedStringParser::ParseTexts("").empty());
}

}  // namespace

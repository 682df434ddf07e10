#include <random>

#include "mail/encoding.h"
#include "platform_fixture.h"
#include "texts/utf8.h"

using OrvaTest::PlatformTest;

namespace {

TEST(Utf8, WellFormedTextIsKnownFromTheRest) {
  for (const char* const szText : {"", "a", "é", "日", "😀", "\xED\x9F\xBF", "\xEE\x80\x80", "\xF4\x8F\xBF\xBF"}) {
    EXPECT_TRUE(orva::isUtf8(szText)) << szText;
  }
  for (const char* const szText :
       {"\x80", "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xC3",
        "\xE2\x82", "\xF0\x9F\x98", "\xC3(", "\xE2(\xA1", "\xFF"}) {
    EXPECT_FALSE(orva::isUtf8(szText)) << szText;
  }
}

TEST(Utf8, EveryStrayByteBecomesOneReplacement) {
  EXPECT_EQ(orva::repairedUtf8("a\xFF\xC3z\xE2\x82"), "a\uFFFD\uFFFDz\uFFFD\uFFFD");
  EXPECT_EQ(orva::repairedUtf8("日本"), "日本");
}

TEST(Utf8, PrefixCutsNoCharacter) {
  EXPECT_EQ(orva::utf8Prefix("日本", 6), "日本");
  EXPECT_EQ(orva::utf8Prefix("日本", 5), "日");
  EXPECT_EQ(orva::utf8Prefix("日本", 2), "");
}

TEST(Base64, KnownTexts) {
  EXPECT_EQ(orva::base64(""), "");
  EXPECT_EQ(orva::base64("f"), "Zg==");
  EXPECT_EQ(orva::base64("fo"), "Zm8=");
  EXPECT_EQ(orva::base64("foo"), "Zm9v");
  EXPECT_EQ(orva::base64("\xFF\xFE\xFD\xFC"), "//79/A==");
  EXPECT_EQ(orva::base64Lines(std::string(58, 'a')).find('\n'), 76U);
}

TEST(QuotedPrintable, SpecialCharactersAreEncoded) {
  EXPECT_EQ(orva::quotedPrintable("a=b\n"), "a=3Db\n");
  EXPECT_EQ(orva::quotedPrintable("end \ntab\t\n"), "end=20\ntab=09\n");
  EXPECT_EQ(orva::quotedPrintable(".\n..\n"), "=2E\n=2E.\n");
  EXPECT_EQ(orva::quotedPrintable("From here\nFromage\n"), "=46rom here\nFromage\n");
  EXPECT_EQ(orva::quotedPrintable("é\r\n\n"), "=C3=A9=0D\n\n");
  EXPECT_EQ(orva::quotedPrintable("no end"), "no end\n");
}

TEST(QuotedPrintable, NoLineIsLongerThanSeventySix) {
  std::mt19937 random(3);
  for (int i = 0; i < 300; ++i) {
    std::string strText;
    for (unsigned u = 0; u < 400; ++u) {
      strText += random() % 4 != 0 ? "a. "[random() % 3] : static_cast<char>(random() % 256);
    }
    const std::string strEncoded = orva::quotedPrintable(strText);
    for (std::size_t uStart = 0; uStart < strEncoded.size();) {
      const std::size_t uEnd = strEncoded.find('\n', uStart);
      ASSERT_LE(uEnd - uStart, 76U);
      ASSERT_NE(strEncoded[uStart], '.');
      uStart = uEnd + 1;
    }
  }
}

TEST(EncodedHeader, ShortPlainTextStaysAsItIs) {
  EXPECT_EQ(orva::encodedHeader("Task backup has ended"), "Task backup has ended");
}

TEST(EncodedHeader, LineBreaksBecomeBlanks) {
  EXPECT_EQ(orva::encodedHeader("a\r\nBcc: x@y"), "a  Bcc: x@y");
}

TEST(EncodedHeader, OtherTextIsEncodedInFoldedWords) {
  EXPECT_EQ(orva::encodedHeader("é"), "=?UTF-8?B?w6k=?=");
  EXPECT_EQ(orva::encodedHeader("=?x?="), "=?UTF-8?B?PT94Pz0=?=");
  std::string strLong;
  for (int i = 0; i < 60; ++i) {
    strLong += "日";
  }
  std::string strLine = "Subject: " + orva::encodedHeader(strLong);
  for (std::size_t uEnd = 0; (uEnd = strLine.find('\n')) != std::string::npos; strLine.erase(0, uEnd + 1)) {
    EXPECT_LE(uEnd, 76U);
  }
}

}  // namespace

#include <filesystem>
#include <sys/stat.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

using OrvaTest::PlatformTest;

namespace {

class KeyValue : public PlatformTest {
protected:
  void write(const std::string& strText) { OrvaTest::writeFile("/tmp/settings", strText); }

  // The value, or a word for a result without a value.
  std::string get(const char* szKey, int cbValue = 128) {
    std::string strBuffer(static_cast<std::size_t>(cbValue) + 1, '!');
    const int iResult = KLIBCFileGetKeyValue("/tmp/settings", szKey, strBuffer.data(), cbValue);
    EXPECT_EQ(strBuffer.back(), '!') << "written beyond the buffer";
    if (iResult < 0) {
      EXPECT_EQ(strBuffer.find_first_not_of('!'), std::string::npos) << "untouched on failure";
      return "<failed>";
    }
    const std::string strValue = strBuffer.c_str();
    EXPECT_TRUE(iResult == 1 || strValue.empty());
    return iResult == 1 ? strValue : "<absent>";
  }
};

TEST_F(KeyValue, LineIsReadWithBlanksQuotesAndComments) {
  write(
      "# comment\n; another\n\n  maillang = ger  \nname=\"two words\"\nsingle='it''s'\nempty=\nmark=a # b\n"
      "uneven=\"x\nequal=a=b\r\n#hidden=1\n");
  EXPECT_EQ(get("maillang"), "ger");
  EXPECT_EQ(get("name"), "two words");
  EXPECT_EQ(get("single"), "it''s");
  EXPECT_EQ(get("empty"), "");
  EXPECT_EQ(get("mark"), "a # b");
  EXPECT_EQ(get("uneven"), "\"x");
  EXPECT_EQ(get("equal"), "a=b");
  EXPECT_EQ(get("hidden"), "<absent>");
  EXPECT_EQ(get("MAILLANG"), "<absent>");
  EXPECT_EQ(get("mail"), "<absent>");
}

TEST_F(KeyValue, LastLineOfAKeyHoldsAndNeedsNoLineEnd) {
  write("k=1\nk=2\nother=3\nk=last");
  EXPECT_EQ(get("k"), "last");
}

TEST_F(KeyValue, LongLineIsReadWhole) {
  write("long=" + std::string(100000, 'x') + "\nk=v\n");
  EXPECT_EQ(get("long", 100001), std::string(100000, 'x'));
  EXPECT_EQ(get("k"), "v");
}

TEST_F(KeyValue, ValueThatDoesNotFitIsAFailure) {
  write("k=12345678\n");
  EXPECT_EQ(get("k", 9), "12345678");
  EXPECT_EQ(get("k", 8), "<failed>");
  EXPECT_EQ(KLIBCErrGet(), ERANGE);
  EXPECT_EQ(get("absent", 1), "<absent>");
}

TEST_F(KeyValue, ValueWithANulIsAFailure) {
  write(std::string("k=a\0b\n", 6));
  EXPECT_EQ(get("k"), "<failed>");
}

TEST_F(KeyValue, FileThatIsNoneOrNoRegularOneIsAFailure) {
  std::filesystem::remove("/tmp/settings");
  EXPECT_EQ(get("k"), "<failed>");
  EXPECT_EQ(KLIBCErrGet(), ENOENT);
  std::filesystem::create_directory("/tmp/settings");
  EXPECT_EQ(get("k"), "<failed>");
  EXPECT_EQ(KLIBCErrGet(), EISDIR);
  std::filesystem::remove("/tmp/settings");
  ASSERT_EQ(mkfifo("/tmp/settings", 0600), 0);
  EXPECT_EQ(get("k"), "<failed>") << "a pipe must not block the caller";
  std::filesystem::remove("/tmp/settings");
}

TEST_F(KeyValue, BadArgumentsAreRefused) {
  char szValue[8] = "";
  EXPECT_LT(KLIBCFileGetKeyValue(nullptr, "k", szValue, 8), 0);
  EXPECT_LT(KLIBCFileGetKeyValue("/tmp/settings", nullptr, szValue, 8), 0);
  EXPECT_LT(KLIBCFileGetKeyValue("/tmp/settings", "", szValue, 8), 0);
  EXPECT_LT(KLIBCFileGetKeyValue("/tmp/settings", "k", nullptr, 8), 0);
  EXPECT_LT(KLIBCFileGetKeyValue("/tmp/settings", "k", szValue, 0), 0);
  EXPECT_LT(KLIBCFileGetKeyValue("/tmp/settings", "k", szValue, -1), 0);
}

}  // namespace

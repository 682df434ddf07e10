// JSON documents as files and as one line of text.

#include "store/json_file.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <limits>
#include <sys/stat.h>
#include <unistd.h>

#include "fakes/eorva_test.h"

using namespace OrvaTest;
using Orva::fromFile;
using Orva::toFile;
using Orva::toString;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

const std::string DOCUMENT = R"({"":0,"a":[1,-2.5,null,true,"\"\\\n"],"big":18446744073709551615,"u":"Grüße €"})";

class JsonFile : public EorvaTest {
protected:
  void expectNoDocument(const std::string& strPath) {
    Json::Value jOut = json("{'old': true}");
    EXPECT_FALSE(fromFile(jOut, strPath));
    EXPECT_TRUE(jOut.isNull());
  }

  Json::Value read() {
    Json::Value jOut;
    EXPECT_TRUE(fromFile(jOut, m_strPath));
    return jOut;
  }

  std::ptrdiff_t filesInFolder() const {
    return std::distance(std::filesystem::directory_iterator(m_dir.path()), std::filesystem::directory_iterator());
  }

  const TempDir m_dir;
  const std::string m_strPath = m_dir.path("document.json");
};

class FromFile : public JsonFile {};
class ToFile : public JsonFile {};
class ToString : public EorvaTest {};

}  // namespace

TEST_F(FromFile, ParsesAWholeDocumentOfAnyKind) {
  for (const char* szText : {"{}", "[]", "null", "17", "'text'", "true", " \n{'a' : [1 , {'b':null}]}\t\n"}) {
    const Json::Value jExpected = json(szText);
    std::string strText = szText;
    std::replace(strText.begin(), strText.end(), '\'', '"');
    writeFile(m_strPath, strText);
    Json::Value jOut = json("{'old': true}");
    EXPECT_TRUE(fromFile(jOut, m_strPath)) << szText;
    EXPECT_EQ(jOut, jExpected) << szText;
  }
}

TEST_F(FromFile, CommentsAreSkipped) {
  writeFile(m_strPath, "// one\n{\"a\": /* two */ 1}\n// three\n");
  EXPECT_EQ(read(), json("{'a': 1}"));
}

TEST_F(FromFile, LeavesNullOnTextsThatAreNoDocument) {
  using namespace std::string_literals;
  for (const std::string& strText :
       {""s, " \n"s, "{"s, "[1"s, "{\"a\"}"s, "no json"s, "{} {}"s, "{} x"s, "17 18"s, "{\"a\":1,\"a\":2}"s,
        "{\"a\":{\"b\":1,\"b\":1}}"s, "{}\0"s, "{}\0{}"s, "{\"a\":\"\0\"}"s}) {
    writeFile(m_strPath, strText);
    SCOPED_TRACE(strText);
    expectNoDocument(m_strPath);
  }
}

TEST_F(FromFile, LeavesNullOnANestingThatTheParserWillNotFollow) {
  writeFile(m_strPath, std::string(5000, '[') + std::string(5000, ']'));
  expectNoDocument(m_strPath);
  writeFile(m_strPath, "{}");
  EXPECT_EQ(read(), json("{}"));
}

TEST_F(FromFile, LeavesNullWithoutAFile) {
  expectNoDocument(m_strPath);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(FromFile, ReadsRegularFilesOnly) {
  expectNoDocument(m_dir.path());
  expectNoDocument("/dev/null");
  ASSERT_EQ(::mkfifo(m_strPath.c_str(), 0600), 0);
  expectNoDocument(m_strPath);
}

TEST_F(FromFile, FollowsALink) {
  writeFile(m_dir.path("target"), "{\"a\": 1}");
  std::filesystem::create_symlink("target", m_strPath);
  EXPECT_EQ(read(), json("{'a': 1}"));
}

TEST_F(FromFile, EachFailingCallLeavesNullOrTheWholeDocument) {
  const int cCalls = failEachCall([this] { writeFile(m_strPath, "{\"a\": 1}"); },
                                  [this] {
                                    Json::Value jOut;
                                    const bool blRead = fromFile(jOut, m_strPath);
                                    EXPECT_TRUE(blRead || fakes().faults() > 0);
                                    EXPECT_EQ(jOut, blRead ? json("{'a': 1}") : Json::Value());
                                  });
  EXPECT_GE(cCalls, 3);
}

TEST_F(ToFile, WrittenValuesAreReadBackUnchanged) {
  Json::Value jValue;
  ASSERT_TRUE(Orva::parseJson(DOCUMENT, jValue));
  for (const bool blStyled : {false, true}) {
    EXPECT_TRUE(toFile(jValue, m_strPath, blStyled));
    EXPECT_EQ(read(), jValue);
    EXPECT_EQ(read()["a"][1].asDouble(), -2.5);
  }
}

TEST_F(ToFile, StyleIsIndentedLinesOrOneLine) {
  const Json::Value jValue = json("{'a': {'b': 1}}");
  EXPECT_TRUE(toFile(jValue, m_strPath, false));
  EXPECT_EQ(readFile(m_strPath), "{\"a\":{\"b\":1}}\n");
  EXPECT_TRUE(toFile(jValue, m_strPath, true));
  const std::string strStyled = readFile(m_strPath);
  EXPECT_THAT(strStyled, testing::HasSubstr("\n    \"b\" : 1\n"));
  EXPECT_EQ(strStyled.back(), '\n');
}

TEST_F(ToFile, IsSyncedAndReadyBeforeItTakesTheTargetsName) {
  ASSERT_TRUE(toFile(json("{}"), m_strPath, true));
  std::vector<std::string> calls = fakes().systemCalls();
  std::erase_if(calls, [](const std::string& strCall) {
    return strCall.starts_with("umask(") || strCall.starts_with("lstat(") || strCall.starts_with("geteuid(");
  });
  EXPECT_THAT(calls, ElementsAre(StartsWith("mkostemp(" + m_strPath + "."), StartsWith("write("), StartsWith("fchmod("),
                                 StartsWith("fsync("), StartsWith("close("), StartsWith("rename(" + m_strPath + ".")));
  EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(ToFile, NewFileGetsTheModeThatTheUmaskLeaves) {
  const std::pair<mode_t, mode_t> CASES[] = {{022, 0644}, {077, 0600}, {0, 0666}};
  for (const auto& [mask, mode] : CASES) {
    ::unlink(m_strPath.c_str());
    ::umask(mask);
    EXPECT_TRUE(toFile(json("{}"), m_strPath, true));
    EXPECT_EQ(fileMode(m_strPath), mode);
    EXPECT_EQ(::umask(022), mask) << "the umask is as it was";
  }
}

TEST_F(ToFile, OwnFileKeepsItsMode) {
  writeFile(m_strPath, "old", 0600);
  EXPECT_TRUE(toFile(json("{}"), m_strPath, true));
  EXPECT_EQ(fileMode(m_strPath), 0600U);
}

TEST_F(ToFile, ModeOfAStrangersFileIsNotTakenOver) {
  writeFile(m_strPath, "planted");
  ASSERT_EQ(::chown(m_strPath.c_str(), 4001, 4001), 0);
  ASSERT_EQ(::chmod(m_strPath.c_str(), 0666), 0);
  EXPECT_TRUE(toFile(json("{}"), m_strPath, true));
  EXPECT_EQ(fileMode(m_strPath), 0644U);
  EXPECT_EQ(fileOwner(m_strPath).first, 0U);
}

TEST_F(ToFile, LinkIsReplacedNotFollowed) {
  writeFile(m_dir.path("target"), "precious");
  std::filesystem::create_symlink("target", m_strPath);
  EXPECT_TRUE(toFile(json("{'a': 1}"), m_strPath, true));
  EXPECT_EQ(readFile(m_dir.path("target")), "precious");
  EXPECT_FALSE(std::filesystem::is_symlink(m_strPath));
  EXPECT_EQ(read(), json("{'a': 1}"));
}

TEST_F(ToFile, ValueThatWouldNotReadBackIsRefused) {
  writeFile(m_strPath, "{\"old\":true}");
  Json::Value jDeep;
  for (int iDepth = 0; iDepth < 1500; ++iDepth) {
    Json::Value jArray(Json::arrayValue);
    jArray.append(std::move(jDeep));
    jDeep = std::move(jArray);
  }
  const Json::Value values[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                                jDeep};
  for (const Json::Value& jValue : values) {
    errno = 0;
    EXPECT_FALSE(toFile(jValue, m_strPath, true));
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(readFile(m_strPath), "{\"old\":true}");
  }
  EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(ToFile, FolderThatIsMissingIsAFailure) {
  EXPECT_FALSE(toFile(json("{}"), m_dir.path("missing/file"), true));
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(ToFile, EachFailingCallLeavesTheOldFileOrTheNewOneAndNoDraft) {
  const int cCalls = failEachCall([this] { writeFile(m_strPath, "{\"old\":true}"); },
                                  [this] {
                                    const bool blWritten = toFile(json("{'new': 1}"), m_strPath, false);
                                    EXPECT_TRUE(blWritten || fakes().faults() > 0);
                                    EXPECT_EQ(readFile(m_strPath), blWritten ? "{\"new\":1}\n" : "{\"old\":true}");
                                    EXPECT_EQ(filesInFolder(), 1);
                                  });
  EXPECT_GE(cCalls, 6);
}

TEST_F(ToString, IsOneCompactLineWithoutANewline) {
  EXPECT_EQ(toString(json("{'b': [1, 2.5, null], 'a': {'c': true}}")), R"({"a":{"c":true},"b":[1,2.5,null]})");
  EXPECT_EQ(toString(Json::Value("two\nlines")), R"("two\nlines")");
  Json::Value jValue;
  ASSERT_TRUE(Orva::parseJson(DOCUMENT, jValue));
  EXPECT_EQ(toString(jValue), DOCUMENT);
}

TEST_F(ToString, EveryValueHasALine) {
  const std::pair<Json::Value, std::string> CASES[] = {{Json::Value(), "null"},
                                                       {json("{}"), "{}"},
                                                       {json("[]"), "[]"},
                                                       {Json::Value(""), "\"\""},
                                                       {std::numeric_limits<double>::quiet_NaN(), "NaN"},
                                                       {std::numeric_limits<double>::infinity(), "Infinity"}};
  for (const auto& [jValue, strExpected] : CASES) {
    EXPECT_EQ(toString(jValue), strExpected);
  }
}

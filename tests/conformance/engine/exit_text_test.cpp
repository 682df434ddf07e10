// getExitTypeString: the text of an exit type in the server's mail language.

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::string SETTINGS = "/etc/orvainfo.conf";
const std::string TEXTS = "ParseTexts(/usr/orva/orvaman/webman//texts/";

class GetExitTypeString : public EorvaTest {
protected:
  GetExitTypeString() { prepare(); }

  static void prepare() {
    writeFile(SETTINGS, "maillang=\"ger\"\n");
    fakes().texts["ger"] = json("{'schedule': {'normal': 'Normal beendet', 'by_signal': 'Abgebrochen'}}");
  }

  int get(const std::string& strType) {
    std::string strExitType = strType;
    m_strText = "untouched";
    const int iResult = getExitTypeString(strExitType, m_strText);
    EXPECT_EQ(strExitType, strType);
    return iResult;
  }

  void expectEnu() { expectLine("cannot get mail lang, use enu", LIB); }

  std::string m_strText;
};

}  // namespace

TEST_F(GetExitTypeString, GivesTheTextInTheMailLanguage) {
  EXPECT_EQ(get("normal"), 0);
  EXPECT_EQ(m_strText, "Normal beendet");
  EXPECT_THAT(fakes().calls(),
              testing::ElementsAre("KLIBCFileGetKeyValue(/etc/orvainfo.conf, maillang, 32)", TEXTS + "ger)"));
}

TEST_F(GetExitTypeString, SignalStopAndContinueShareOneText) {
  for (const char* szType : {"by_signal", "stop", "continue"}) {
    EXPECT_EQ(get(szType), 0) << szType;
    EXPECT_EQ(m_strText, "Abgebrochen");
  }
}

TEST_F(GetExitTypeString, NamesTheCaseWhenDebugging) {
  blDebugOutput = true;
  const std::vector<std::pair<std::string, std::string>> lines = {
      {"normal", "normal case"}, {"by_signal", "by_signal"}, {"stop", "stop"}, {"continue", "continue"}};
  for (const auto& [strType, strLine] : lines) {
    expectDebug(strLine, LIB);
    EXPECT_EQ(get(strType), 0);
  }
}

TEST_F(GetExitTypeString, FailsOnAnEmptyTypeBeforeItReadsAnything) {
  expectFailure("strExitType.empty()", LIB);
  EXPECT_EQ(get(""), -1);
  EXPECT_EQ(m_strText, "untouched");
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(GetExitTypeString, FailsOnAnUnknownType) {
  for (const std::string strType : {"Normal", "normal ", "by_signals", "stopped", "x"}) {
    expectFailure("unkonow exit type=" + strType, LIB);
    EXPECT_EQ(get(strType), -1);
    EXPECT_EQ(m_strText, "untouched");
  }
}

TEST_F(GetExitTypeString, WithoutReadableSettingsTheLanguageIsEnu) {
  fakes().fail("KLIBCFileGetKeyValue").withErrno(ENOENT);
  expectLine("cannot get mail lang, use enu", LIB).withErrno(ENOENT);
  EXPECT_EQ(get("by_signal"), 0);
  EXPECT_EQ(m_strText, "Interrupted");
  EXPECT_EQ(fakes().calls().back(), TEXTS + "enu)");
}

TEST_F(GetExitTypeString, ALanguageTooLongForItsBufferIsEnu) {
  writeFile(SETTINGS, "maillang=\"" + std::string(32, 'g') + "\"\n");
  expectEnu();
  EXPECT_EQ(get("normal"), 0);
  EXPECT_EQ(m_strText, "Normal");
}

TEST_F(GetExitTypeString, WithoutTheKeyTheLanguageIsEmpty) {
  writeFile(SETTINGS, "language=\"ger\"\n");
  expectFailure("jText.empty()", LIB);
  EXPECT_EQ(get("normal"), -1);
  EXPECT_EQ(m_strText, "untouched");
  EXPECT_EQ(fakes().calls().back(), TEXTS + ")");
}

TEST_F(GetExitTypeString, AnyResultThatIsNotNegativeKeepsTheLanguage) {
  for (const int iResult : {0, 1, 7}) {
    fakes().answer("KLIBCFileGetKeyValue", iResult, Json::Value("ger"));
    EXPECT_EQ(get("normal"), 0);
    EXPECT_EQ(m_strText, "Normal beendet");
  }
}

TEST_F(GetExitTypeString, FailsOnALanguageWithoutTexts) {
  for (const char* szTexts : {"{}", "null", "[]"}) {
    fakes().texts["ger"] = json(szTexts);
    expectFailure("jText.empty()", LIB);
    EXPECT_EQ(get("normal"), -1) << szTexts;
    EXPECT_EQ(m_strText, "untouched");
  }
}

TEST_F(GetExitTypeString, LooksForTextsBeforeItLooksAtTheType) {
  fakes().texts["ger"] = json("{}");
  expectFailure("jText.empty()", LIB);
  EXPECT_EQ(get("unknown"), -1);
}

TEST_F(GetExitTypeString, ATextThatIsMissingIsEmpty) {
  for (const char* szTexts : {"{'schedule': {'other': 'x'}}", "{'schedule': {}}", "{'schedule': null}", "{'other': {}}",
                              "{'schedule': {'normal': null}}"}) {
    fakes().texts["ger"] = json(szTexts);
    EXPECT_EQ(get("normal"), 0) << szTexts;
    EXPECT_EQ(m_strText, "");
  }
}

TEST_F(GetExitTypeString, FailsOnASectionOfTheWrongType) {
  for (const char* szTexts : {"{'schedule': []}", "{'schedule': 'normal'}", "{'schedule': 1}"}) {
    fakes().texts["ger"] = json(szTexts);
    expectFailure("!jText[\"schedule\"].isObject()", LIB);
    EXPECT_EQ(get("normal"), -1) << szTexts;
    EXPECT_EQ(m_strText, "untouched");
  }
}

TEST_F(GetExitTypeString, FailsOnATextOfTheWrongType) {
  for (const char* szText : {"[]", "{}", "['x']"}) {
    fakes().texts["ger"] = json(std::string("{'schedule': {'normal': ") + szText + "}}");
    expectFailure("!jText[\"schedule\"][strKey].isString()", LIB);
    EXPECT_EQ(get("normal"), -1) << szText;
    EXPECT_EQ(m_strText, "untouched");
  }
}

TEST_F(GetExitTypeString, ReadsTheTextsAnewInEveryCall) {
  EXPECT_EQ(get("normal"), 0);
  fakes().texts["ger"] = json("{'schedule': {'normal': 'Fertig'}}");
  EXPECT_EQ(get("normal"), 0);
  EXPECT_EQ(m_strText, "Fertig");
  EXPECT_THAT(fakes().calls(), testing::SizeIs(4));
}

TEST_F(GetExitTypeString, EachFailingCallFallsBackToEnuOrFails) {
  const int cCalls = failEachCall(&prepare, [this] {
    const int iResult = get("normal");
    const bool blTexts = fakes().calls().back() == TEXTS + "ger)";
    if (fakes().faults() == 0) {
      EXPECT_EQ(iResult, 0);
      EXPECT_EQ(m_strText, "Normal beendet");
    } else {
      EXPECT_EQ(iResult, blTexts ? -1 : 0);
      EXPECT_EQ(m_strText, blTexts ? "untouched" : "Normal");
    }
  });
  EXPECT_EQ(cCalls, 2);
}

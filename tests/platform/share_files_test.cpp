// The installed data: complete in every language, and consistent.

#include <filesystem>
#include <fstream>
#include <json/reader.h>
#include <set>
#include <sstream>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

namespace fs = std::filesystem;
using OrvaTest::PlatformTest;
using OrvaTest::readFile;

namespace {

const std::vector<std::string> LANGUAGES = {"enu", "ger", "fre", "jpn"};

class ShareFiles : public PlatformTest {
protected:
  static std::string share(const std::string& strPath) { return OrvaTest::sourceDir() + "/share/" + strPath; }

  static Json::Value json(const std::string& strPath) {
    Json::Value jValue;
    Json::CharReaderBuilder builder;
    Json::CharReaderBuilder::strictMode(&builder.settings_);
    std::ifstream file(share(strPath));
    std::string strFault;
    EXPECT_TRUE(Json::parseFromStream(builder, file, &jValue, &strFault)) << strPath << ": " << strFault;
    return jValue;
  }

  // The placeholders %NAME%, or %1 to %4.
  static std::multiset<std::string> placeholders(const std::string& strText) {
    std::multiset<std::string> setFound;
    for (std::size_t u = 0; (u = strText.find('%', u)) != std::string::npos; ++u) {
      const std::size_t uEnd = strText.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ_", u + 1);
      if (uEnd != std::string::npos && uEnd > u + 1 && strText[uEnd] == '%') {
        setFound.insert(strText.substr(u, uEnd + 1 - u));
        u = uEnd;
      } else if (u + 1 < strText.size() && strText[u + 1] >= '1' && strText[u + 1] <= '4') {
        setFound.insert(strText.substr(u, 2));
      }
    }
    return setFound;
  }

  static bool isMessageId(const std::string& strText) {
    return strText.size() == 32 && strText.find_first_not_of("0123456789abcdef") == std::string::npos;
  }

  static std::set<std::string> keys(const Json::Value& jTexts) {
    std::set<std::string> setKey;
    for (const std::string& strSection : jTexts.getMemberNames()) {
      for (const std::string& strKey : jTexts[strSection].getMemberNames()) {
        setKey.insert(strSection + "." + strKey);
        EXPECT_FALSE(jTexts[strSection][strKey].asString().empty()) << strKey;
      }
    }
    return setKey;
  }
};

TEST_F(ShareFiles, EveryLanguageHasEveryText) {
  const auto parse = [](const std::string& strLanguage) {
    return ORVA::UIX::LocalizedStringParser::ParseTexts(share("texts/" + strLanguage));
  };
  const Json::Value jEnglish = parse("enu");
  EXPECT_TRUE(jEnglish["schedule"]["normal"].isString());
  EXPECT_TRUE(jEnglish["schedule"]["by_signal"].isString());
  EXPECT_TRUE(jEnglish["notify"]["taskscheduler_notify_user_share_volume_error"].isString());
  for (const std::string& strLanguage : LANGUAGES) {
    const Json::Value jTexts = parse(strLanguage);
    EXPECT_EQ(keys(jTexts), keys(jEnglish)) << strLanguage;
    for (const std::string& strSection : jEnglish.getMemberNames()) {
      for (const std::string& strKey : jEnglish[strSection].getMemberNames()) {
        const std::string strText = jTexts[strSection][strKey].asString();
        const std::string strEnglish = jEnglish[strSection][strKey].asString();
        EXPECT_EQ(placeholders(strText), placeholders(strEnglish)) << strLanguage << strKey;
        EXPECT_TRUE(strLanguage == "enu" || strText != strEnglish) << strLanguage << strKey << " is not translated";
      }
    }
  }
  EXPECT_THAT(OrvaTest::entries(share("texts")), testing::UnorderedElementsAreArray(LANGUAGES));
}

TEST_F(ShareFiles, EveryLanguageHasEveryMailTemplateWithEveryPlaceholder) {
  const auto vecEnglish = OrvaTest::entries(share("mail/enu"));
  EXPECT_THAT(vecEnglish, testing::Contains("eOrvascheduler_complete_task.mail"));
  for (const std::string& strLanguage : LANGUAGES) {
    EXPECT_EQ(OrvaTest::entries(share("mail/" + strLanguage)), vecEnglish) << strLanguage;
    for (const std::string& strName : vecEnglish) {
      const std::string strText = readFile(share("mail/" + strLanguage + "/" + strName));
      EXPECT_EQ(placeholders(strText), placeholders(readFile(share("mail/enu/" + strName)))) << strLanguage << strName;
      EXPECT_THAT(strText, testing::StartsWith("Subject: "));
      EXPECT_THAT(strText, testing::HasSubstr("\nCut: "));
    }
  }
  const auto setUsed = placeholders(readFile(share("mail/enu/eOrvascheduler_complete_task.mail")));
  for (const char* const szKey :
       {"%TASK%", "%START_TIME%", "%OUT_PUT%", "%HOST%", "%RESULT%", "%OWNER%", "%EVENT%", "%RUN%", "%DURATION%"}) {
    EXPECT_GT(setUsed.count(szKey), 0U) << szKey;
  }
}

TEST_F(ShareFiles, LogCatalogueCoversEveryCodeInEveryLanguage) {
  const Json::Value jCatalogue = json("log/eorvascheduler.json");
  for (const char* const szCode : {"0x14400004", "0x14400005", "0x14400006", "0x14400100", "0x14400101", "0x14400200",
                                   "0x14400201", "0x14400300"}) {
    ASSERT_TRUE(jCatalogue.isMember(szCode)) << szCode;
  }
  std::set<std::string> setId;
  for (const std::string& strCode : jCatalogue.getMemberNames()) {
    const Json::Value& jEvent = jCatalogue[strCode];
    EXPECT_EQ(jEvent.size(), LANGUAGES.size() + (jEvent.isMember("fields") ? 2 : 1)) << strCode;
    EXPECT_TRUE(isMessageId(jEvent["message_id"].asString())) << strCode;
    EXPECT_TRUE(setId.insert(jEvent["message_id"].asString()).second) << strCode << ": the id is taken";
    for (const std::string& strLanguage : LANGUAGES) {
      EXPECT_FALSE(jEvent[strLanguage].asString().empty()) << strCode << strLanguage;
      EXPECT_EQ(placeholders(jEvent[strLanguage].asString()), placeholders(jEvent["enu"].asString())) << strCode;
    }
  }
}

TEST_F(ShareFiles, JournalExplainsExactlyTheEventsOfTheLogCatalogue) {
  std::set<std::string> setExplained;
  std::istringstream lines(readFile(share("journal/eorvascheduler.catalog")));
  for (std::string strLine; std::getline(lines, strLine);) {
    if (strLine.starts_with("-- ")) {
      EXPECT_TRUE(setExplained.insert(strLine.substr(3)).second) << strLine;
      std::string strSubject;
      std::string strDefinedBy;
      std::string strEmpty;
      std::string strText;
      std::getline(std::getline(std::getline(std::getline(lines, strSubject), strDefinedBy), strEmpty), strText);
      EXPECT_THAT(strSubject, testing::StartsWith("Subject: ")) << strLine;
      EXPECT_THAT(strDefinedBy, testing::StartsWith("Defined-By: ")) << strLine;
      EXPECT_TRUE(strEmpty.empty() && !strText.empty()) << strLine;
    }
  }
  std::set<std::string> setKnown;
  for (const Json::Value& jEvent : json("log/eorvascheduler.json")) {
    setKnown.insert(jEvent["message_id"].asString());
  }
  EXPECT_EQ(setExplained, setKnown);
}

TEST_F(ShareFiles, EventCatalogueNamesEachEventOnceInEveryLanguage) {
  const Json::Value jEvents = json("eorvascheduler-event.json");
  std::vector<std::string> vecName;
  for (const Json::Value& jEvent : jEvents) {
    vecName.push_back(jEvent["name"].asString());
    for (const char* const szMember : {"title", "description"}) {
      EXPECT_EQ(jEvent[szMember].size(), LANGUAGES.size()) << vecName.back();
      for (const std::string& strLanguage : LANGUAGES) {
        EXPECT_FALSE(jEvent[szMember][strLanguage].asString().empty()) << vecName.back() << strLanguage;
      }
    }
  }
  EXPECT_THAT(vecName, testing::ElementsAre("bootup", "shutdown", "network_online", "volume_mounted",
                                            "volume_unmounted", "disk_attached", "disk_detached", "ups_on_battery",
                                            "ups_low_battery", "hourly", "daily", "weekly", "monthly"));
}

TEST_F(ShareFiles, EverySettingStandsInTheDefaultFileAndOnThePage) {
  const std::string strDefaults = readFile(share("etc/orvainfo.conf"));
  const std::string strPage = readFile(OrvaTest::sourceDir() + "/docs/platform.md");
  for (const std::string strKey : {"maillang", "mailfrom", "mailprogram", "administratorsgroup", "sharesource"}) {
    EXPECT_TRUE(strDefaults.find("\n" + strKey + "=") != std::string::npos ||
                strDefaults.find("\n#" + strKey + "=") != std::string::npos)
        << strKey;
    EXPECT_THAT(strPage, testing::HasSubstr("\n| `" + strKey + "` | ")) << strKey;
  }
}

TEST_F(ShareFiles, DefaultSettingsAndDefaultShareAreValid) {
  char szValue[64] = "";
  EXPECT_EQ(KLIBCFileGetKeyValue(share("etc/orvainfo.conf").c_str(), "maillang", szValue, sizeof szValue), 1);
  EXPECT_STREQ(szValue, "enu");
  EXPECT_EQ(KLIBCFileGetKeyValue(share("etc/orvainfo.conf").c_str(), "mailprogram", szValue, sizeof szValue), 0);
  OrvaTest::defineShares(readFile(share("etc/shares.conf")));
  fs::create_directories("/var/lib/orva/scheduler");
  EXPECT_EQ(ORVASharePathGet("scheduler", szValue, sizeof szValue), 0);
  EXPECT_STREQ(szValue, "/var/lib/orva/scheduler");
}

}  // namespace

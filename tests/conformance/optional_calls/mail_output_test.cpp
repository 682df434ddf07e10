// The output in a mail, on a platform that tells how much a mail can take.

#include <unistd.h>

#include "conformance/engine/notification_fixture.h"

using namespace OrvaTest;

namespace {

class MailOutput : public Notification {
protected:
  MailOutput() {
    m_jConfig = json("{'output_path': 'logs'}");
    m_strOutput = fakes().shares.at("logs") + "/backup/1767225600/output.log";
  }

  // The sizes of all reads of the output.
  static std::vector<std::string> reads() {
    std::vector<std::string> found;
    for (const std::string& strCall : fakes().systemCalls()) {
      if (strCall.starts_with("read(")) {
        found.push_back(strCall.substr(strCall.find(", ") + 2));
      }
    }
    return found;
  }

  std::string m_strOutput;
};

}  // namespace

TEST_F(MailOutput, UpToTheLimitIsWhole) {
  writeFile(m_strOutput, std::string(100, 'x'));
  fakes().answer("ORVAMailTextMax", 100);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%OUT_PUT%"), std::string(100, 'x'));
}

TEST_F(MailOutput, AboveTheLimitHasOneByteMoreSoThatThePlatformSeesIt) {
  writeFile(m_strOutput, std::string(100, 'x') + std::string(100, 'y'));
  fakes().answer("ORVAMailTextMax", 100);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%OUT_PUT%"), std::string(100, 'x') + "y");
}

TEST_F(MailOutput, OfAnySizeIsReadOnlyUpToTheLimit) {
  writeFile(m_strOutput, "the beginning\n");
  ASSERT_EQ(::truncate(m_strOutput.c_str(), off_t{100} << 30), 0);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%OUT_PUT%"), "the beginning\n") << "a text ends at the first NUL";
  EXPECT_THAT(reads(), testing::ElementsAre("1048577)"));
}

TEST_F(MailOutput, OfATemporaryFolderHasTheSameLimit) {
  m_jConfig = Json::Value(Json::objectValue);
  writeFile(m_strOutput, std::string(200, 'x'));
  m_jTask["strOutputPath_tmp"] = m_strOutput;
  fakes().answer("ORVAMailTextMax", 100);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%OUT_PUT%"), std::string(101, 'x'));
}

#include <algorithm>
#include <ctime>
#include <random>
#include <sstream>

#include "mail/address.h"
#include "mail/message.h"
#include "platform_fixture.h"
#include "smtp_sink.h"
#include "texts/utf8.h"

using namespace std::string_literals;

namespace {

const orva::MailTemplate TEMPLATE{"Task %TASK% has ended", "The rest was cut.", "Task: %TASK%\n%OUT_PUT%\nend\n"};
const orva::MessageHead HEAD{"scheduler@example.org", "admin@example.org", "complete-task", "server.example.org"};

std::string compose(const orva::PlaceholderValues& mapValue) {
  return orva::composeMessage(HEAD, TEMPLATE, mapValue);
}

// Parses a message like a mail reader; the message must be valid.
Json::Value readBack(const std::string& strMessage) {
  Json::Value jMail = OrvaTest::readMail(strMessage);
  EXPECT_TRUE(jMail["ascii"].asBool());
  EXPECT_LE(jMail["longest"].asInt(), 78);
  EXPECT_TRUE(jMail["defects"].empty()) << jMail["defects"].toStyledString();
  EXPECT_FALSE(jMail["multipart"].asBool());
  return jMail;
}

std::vector<std::string> headerNames(const Json::Value& jMail) {
  std::vector<std::string> vecName;
  for (const Json::Value& jHeader : jMail["headers"]) {
    vecName.push_back(jHeader[0].asString());
  }
  return vecName;
}

std::string header(const Json::Value& jMail, const std::string& strName) {
  for (const Json::Value& jHeader : jMail["headers"]) {
    if (jHeader[0].asString() == strName) {
      return jHeader[1].asString();
    }
  }
  return "<none>";
}

const std::vector<std::string> HEADER_NAMES = {
    "Date",    "From",           "To",           "Subject",      "Message-ID",
    "List-Id", "Auto-Submitted", "MIME-Version", "Content-Type", "Content-Transfer-Encoding"};

TEST(MailMessage, ReaderGetsHeadersAndTextBack) {
  const std::time_t before = std::time(nullptr);
  const Json::Value jMail = readBack(compose({{"%TASK%", "backup"}, {"%OUT_PUT%", "line\n.\nFrom me\nblank \n"}}));
  EXPECT_EQ(headerNames(jMail), HEADER_NAMES);
  EXPECT_EQ(header(jMail, "From"), "scheduler@example.org");
  EXPECT_EQ(header(jMail, "Subject"), "Task backup has ended");
  EXPECT_EQ(header(jMail, "List-Id"), "<complete-task.server.example.org>");
  EXPECT_EQ(header(jMail, "Auto-Submitted"), "auto-generated");
  EXPECT_EQ(header(jMail, "Content-Transfer-Encoding"), "quoted-printable");
  EXPECT_THAT(header(jMail, "Message-ID"), testing::MatchesRegex("<[0-9a-f.]+@server.example.org>"));
  EXPECT_GE(jMail["date"].asDouble(), static_cast<double>(before));
  EXPECT_LE(jMail["date"].asDouble(), static_cast<double>(std::time(nullptr)));
  EXPECT_EQ(jMail["body"].asString(), "Task: backup\nline\n.\nFrom me\nblank \n\nend\n");
}

TEST(MailMessage, LocalUsersGetTheNameOfTheServer) {
  const orva::MessageHead head{"daemon", "root", "complete-task", "server.example.org"};
  const Json::Value jMail = readBack(orva::composeMessage(head, TEMPLATE, {}));
  EXPECT_EQ(header(jMail, "From"), "daemon@server.example.org");
  EXPECT_EQ(header(jMail, "To"), "root@server.example.org");
}

TEST(MailMessage, DateIsRightInEveryZone) {
  for (const char* const szZone : {"UTC", "Asia/Kolkata", "America/St_Johns", "Pacific/Auckland"}) {
    setenv("TZ", szZone, 1);
    tzset();
    const std::time_t before = std::time(nullptr);
    EXPECT_GE(readBack(compose({}))["date"].asDouble(), static_cast<double>(before)) << szZone;
  }
  unsetenv("TZ");
  tzset();
}

TEST(MailMessage, TextInOtherLettersComesBack) {
  const std::string strOutput = "日本語の出力です。\nテスト\n";
  const Json::Value jMail =
      readBack(compose({{"%TASK%", "größe 日本語 " + std::string(60, 'x')}, {"%OUT_PUT%", strOutput}}));
  EXPECT_EQ(header(jMail, "Subject"), "Task größe 日本語 " + std::string(60, 'x') + " has ended");
  EXPECT_THAT(jMail["body"].asString(), testing::HasSubstr(strOutput));
}

TEST(MailMessage, MostlyForeignTextTravelsAsBase64) {
  std::string strOutput;
  for (int i = 0; i < 500; ++i) {
    strOutput += "日本語\n";
  }
  const Json::Value jMail = readBack(compose({{"%TASK%", "t"}, {"%OUT_PUT%", strOutput}}));
  EXPECT_EQ(header(jMail, "Content-Transfer-Encoding"), "base64");
  EXPECT_THAT(jMail["body"].asString(), testing::HasSubstr(strOutput));
}

TEST(MailMessage, PlaceholderInAValueIsNotFilledAgain) {
  const Json::Value jMail = readBack(compose({{"%TASK%", "%OUT_PUT%"}, {"%OUT_PUT%", "%TASK%"}}));
  EXPECT_EQ(header(jMail, "Subject"), "Task %OUT_PUT% has ended");
  EXPECT_EQ(jMail["body"].asString(), "Task: %OUT_PUT%\n%TASK%\nend\n");
}

TEST(MailMessage, LongerPlaceholderWinsAndPlaceholdersWithoutAValueStay) {
  EXPECT_EQ(orva::filled("%A%B% %A% %X% 100%", {{"%A%", "1"}, {"%A%B%", "2"}}, 100), "2 1 %X% 100%");
}

TEST(MailMessage, TaskNameAddsNoHeader) {
  const Json::Value jMail =
      readBack(compose({{"%TASK%", "x\r\nBcc: evil@example.org\r\n\r\nbody"}, {"%OUT_PUT%", "y"}}));
  EXPECT_EQ(headerNames(jMail), HEADER_NAMES);
  EXPECT_EQ(header(jMail, "Subject"), "Task x  Bcc: evil@example.org    body has ended");
}

TEST(MailMessage, OutputOfAnyBytesIsSentAsText) {
  std::mt19937 random(11);
  for (int i = 0; i < 20; ++i) {
    std::string strOutput;
    for (int c = 0; c < 3000; ++c) {
      strOutput += static_cast<char>(random() % 256);
    }
    const Json::Value jMail = readBack(compose({{"%TASK%", strOutput.substr(0, 40)}, {"%OUT_PUT%", strOutput}}));
    EXPECT_EQ(headerNames(jMail), HEADER_NAMES);
    EXPECT_EQ(jMail["to"].size(), 1U);
    EXPECT_EQ(jMail["to"][0].asString(), "admin@example.org");
  }
}

// The lines of a message's head, continued ones joined.
std::vector<std::string> headLines(const std::string& strMessage) {
  std::vector<std::string> vecLine;
  std::istringstream lines(strMessage);
  for (std::string strLine; std::getline(lines, strLine) && !strLine.empty();) {
    strLine.front() == ' ' && !vecLine.empty() ? vecLine.back() += strLine : vecLine.emplace_back(strLine);
  }
  return vecLine;
}

// A text with pieces that are special to mail programs, shells and templates, between letters.
std::string hostileText(std::mt19937& random, std::size_t cPiece) {
  static const std::vector<std::string> PIECES = {"\n",
                                                  "\r\n",
                                                  "\r",
                                                  "\n\n",
                                                  "\n.\n",
                                                  "\nBcc: evil@example.org\n",
                                                  "\r\nTo: evil@example.org",
                                                  "\nFrom evil",
                                                  "\0"s,
                                                  "%TASK%",
                                                  "%OUT_PUT%",
                                                  "=?UTF-8?B?Cg==?=",
                                                  "=0A",
                                                  "\xC3",
                                                  "\xFF",
                                                  "\xE2\x80\xA8",
                                                  "日本",
                                                  "`id`",
                                                  "$(id)",
                                                  "'; id; '",
                                                  "\"",
                                                  "\\",
                                                  "\t",
                                                  " ",
                                                  "--boundary",
                                                  "Content-Type: text/html",
                                                  "a",
                                                  "x y z"};
  std::string strText;
  for (std::size_t i = 0; i < cPiece; ++i) {
    strText += PIECES[random() % PIECES.size()];
  }
  return strText;
}

TEST(MailMessage, TenThousandHostileNamesAndOutputsAddNoHeaderAndNoReceiver) {
  std::mt19937 random(5);
  for (int i = 0; i < 10'000; ++i) {
    const std::string strName = hostileText(random, 1 + random() % 8);
    const std::string strMessage = compose({{"%TASK%", strName}, {"%OUT_PUT%", hostileText(random, random() % 40)}});
    const auto vecLine = headLines(strMessage);
    ASSERT_EQ(vecLine.size(), HEADER_NAMES.size()) << strMessage;
    for (std::size_t u = 0; u < vecLine.size(); ++u) {
      ASSERT_THAT(vecLine[u], testing::StartsWith(HEADER_NAMES[u] + ": "));
    }
    ASSERT_EQ(vecLine[2], "To: admin@example.org");
    ASSERT_TRUE(std::all_of(strMessage.begin(), strMessage.end(), [](char ch) {
      return ch == '\n' || ch == '\t' || (ch >= ' ' && ch <= '~');
    })) << strMessage;
    ASSERT_EQ(strMessage.find("\n.\n"), std::string::npos) << "a line that ends the message for some programs";
    ASSERT_EQ(strMessage.find("\nFrom "), std::string::npos);
  }
}

TEST(MailMessage, LongSubjectIsCut) {
  const std::string strSubject = header(readBack(compose({{"%TASK%", std::string(5000, 'x')}})), "Subject");
  EXPECT_EQ(strSubject, "Task " + std::string(195, 'x') + "...");
}

TEST(MailMessage, BodyIsCutAtOneMebibyteAtTheEndOfALine) {
  std::string strOutput;
  while (strOutput.size() < 50'000'000) {
    strOutput += "0123456789 é\n";
  }
  const std::string strBody = readBack(compose({{"%TASK%", "t"}, {"%OUT_PUT%", strOutput}}))["body"].asString();
  EXPECT_LE(strBody.size(), (1U << 20) + 30);
  EXPECT_GT(strBody.size(), (1U << 20) - 30);
  EXPECT_THAT(strBody, testing::EndsWith("0123456789 é\n\nThe rest was cut.\n"));
}

// Their line ends become shorter, but the rest of the text is missing all the same.
TEST(MailMessage, BodyThatIsCutBeforeItsLineEndsAreShortenedSaysSo) {
  std::string strOutput;
  while (strOutput.size() <= orva::CB_BODY_MAX) {
    strOutput += "a line\r\n";
  }
  const std::string strBody = readBack(compose({{"%TASK%", "t"}, {"%OUT_PUT%", strOutput}}))["body"].asString();
  EXPECT_LT(strBody.size(), orva::CB_BODY_MAX);
  EXPECT_THAT(strBody, testing::EndsWith("a line\n\nThe rest was cut.\n"));
}

TEST(MailMessage, SentenceOfTheCutNamesTheTask) {
  const orva::MailTemplate mail{"s", "See the output of %TASK%.", "%OUT_PUT%"};
  const std::string strMessage =
      orva::composeMessage(HEAD, mail, {{"%TASK%", "%OUT_PUT%"}, {"%OUT_PUT%", std::string(2U << 20, '\n')}});
  EXPECT_THAT(readBack(strMessage)["body"].asString(), testing::EndsWith("\nSee the output of %OUT_PUT%.\n"));
}

TEST(MailMessage, BodyOfExactlyOneMebibyteIsWhole) {
  const orva::MailTemplate mail{"s", "cut", "%X%"};
  const auto bodyOf = [&mail](std::size_t cb) {
    return readBack(orva::composeMessage(HEAD, mail, {{"%X%", std::string(cb - 1, 'x') + "\n"}}))["body"].asString();
  };
  EXPECT_EQ(bodyOf(1U << 20).size(), 1U << 20);
  EXPECT_THAT(bodyOf((1U << 20) + 1), testing::EndsWith("x\n\ncut\n")) << "one line longer than the limit";
}

TEST(MailAddress, AllowListDecides) {
  for (const char* const szAddress :
       {"root", "a@b", "A.B-c_d+e=f~g&h'i@x-1.example.org", "_a@b", "1@2.3", "user@localhost"}) {
    EXPECT_TRUE(orva::isMailAddress(szAddress)) << szAddress;
  }
  for (const char* const szAddress :
       {"",      "@",     "a@",    "@b",    "-a@b",  "+a@b",  ".a@b",   "a.@b",        "a..b@c",  "a@b@c", "a b@c",
        " a@b",  "a@b ",  "a@-b",  "a@b-",  "a@.b",  "a@b.",  "a@b..c", "a@[1.2.3.4]", "\"a\"@b", "a,b@c", "a;b@c",
        "a|b@c", "|a",    "/a",    "a/b@c", "a!b",   "a%b@c", "a:b@c",  "a\n@b",       "a@b\n",   "é@b",   "a@é",
        "<a@b>", "a$b@c", "`a`@b", "a\\@b", "a@b_c", "*",     "a@*",    "#a",          "{a}@b"}) {
    EXPECT_FALSE(orva::isMailAddress(szAddress)) << szAddress;
  }
  EXPECT_TRUE(orva::isMailAddress(std::string(64, 'a') + "@b"));
  EXPECT_FALSE(orva::isMailAddress(std::string(65, 'a') + "@b"));
  EXPECT_TRUE(orva::isMailAddress("a@" + std::string(63, 'b')));
  EXPECT_FALSE(orva::isMailAddress("a@" + std::string(64, 'b')));
  const std::string strDomain = std::string(63, 'b') + "." + std::string(63, 'b') + "." + std::string(63, 'b');
  EXPECT_TRUE(orva::isMailAddress(std::string(62, 'a') + "@" + strDomain));
  EXPECT_FALSE(orva::isMailAddress(std::string(63, 'a') + "@" + strDomain));
  EXPECT_FALSE(orva::isMailAddress(std::string_view("a\0b@c", 5)));
}

}  // namespace

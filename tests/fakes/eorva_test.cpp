#include "fakes/eorva_test.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <json/reader.h>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

#include "support/private_view.h"

namespace OrvaTest {

Json::Value json(std::string strText) {
  std::replace(strText.begin(), strText.end(), '\'', '"');
  Json::CharReaderBuilder builder;
  const std::unique_ptr<Json::CharReader> pReader(builder.newCharReader());
  Json::Value jValue;
  std::string strErrors;
  if (!pReader->parse(strText.data(), strText.data() + strText.size(), &jValue, &strErrors)) {
    throw std::invalid_argument(strText + ": " + strErrors);
  }
  return jValue;
}

EorvaTest::EorvaTest() : m_pidTest(::getpid()) {
  freshProduct();
  takeTemporaryFiles();
  fakes().reset();
  blLogToStdout = false;
  blDebugOutput = false;
  ::umask(022);
  m_descriptors = openDescriptors();
  errno = 0;
}

EorvaTest::~EorvaTest() {
  if (::getpid() != m_pidTest) {
    // A child came out of the test's body: it must not go on with the other tests.
    ::_exit(98);
  }
  fakes().clearFaults();
  if (!m_blIgnoreLog) {
    verifyLog();
  }
  verifyNothingIsLeft();
}

ExpectedLine& EorvaTest::expectFailure(const std::string& strText, const std::string& strSource) {
  return m_expected.emplace_back(LogLine::Form::FAILURE, strText, strSource);
}

ExpectedLine& EorvaTest::expectLine(const std::string& strText, const std::string& strSource) {
  return m_expected.emplace_back(LogLine::Form::LINE, strText, strSource);
}

ExpectedLine& EorvaTest::expectDirectLine(const std::string& strText, const std::string& strSource) {
  return m_expected.emplace_back(LogLine::Form::DIRECT, strText, strSource);
}

ExpectedLine& EorvaTest::expectDebug(const std::string& strText, const std::string& strSource) {
  ExpectedLine& line = expectLine(strText, strSource);
  LogLine sample;
  sample.form = LogLine::Form::LINE;
  sample.strText = strText;
  EXPECT_TRUE(sample.isDebug()) << "not in the list of debug lines: " << strText;
  EXPECT_TRUE(blDebugOutput) << "expects a debug line without blDebugOutput: " << strText;
  return line;
}

std::vector<LogLine> EorvaTest::logLines() const {
  auto lines = parseLog(fakes().journal().entries());
  if (fakes().journal().generation() == m_iGeneration) {
    lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(m_cForgotten));
  }
  return lines;
}

void EorvaTest::verifyLog() {
  const std::string strDifference = compareLog(m_expected, logLines(), m_pidTest);
  EXPECT_TRUE(strDifference.empty()) << strDifference;
  forgetLog();
}

void EorvaTest::forgetLog() {
  m_expected.clear();
  m_iGeneration = fakes().journal().generation();
  m_cForgotten = parseLog(fakes().journal().entries()).size();
}

std::vector<std::string> EorvaTest::takeTemporaryFiles() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator("/tmp")) {
    if (entry.path().filename().string().starts_with("eorvascheduler")) {
      names.push_back(entry.path().filename());
    }
  }
  for (const std::string& strName : names) {
    std::filesystem::remove_all("/tmp/" + strName);
  }
  std::sort(names.begin(), names.end());
  return names;
}

void EorvaTest::verifyNothingIsLeft() {
  EXPECT_THAT(children(), ::testing::IsEmpty()) << "children that nobody reaped";
  endChildren();
  EXPECT_EQ(openDescriptors(), m_descriptors);
  EXPECT_THAT(takeTemporaryFiles(), ::testing::IsEmpty()) << "files left in /tmp";
  EXPECT_EQ(fakes().cHeld, 0) << "platform objects that were not freed";
  EXPECT_EQ(::geteuid(), 0U);
}

HandlesTest::HandlesTest() {
  sqlite3_open(":memory:", &m_pDb);
  m_pApi = new OrvaJsonDbApi(m_pDb, "task", Json::Value(Json::objectValue), "");
  m_pApiResult = new OrvaJsonDbApi(m_pDb, "task_result", Json::Value(Json::objectValue), "");
  fakes().forgetCalls();
}

HandlesTest::~HandlesTest() {
  delete m_pApiResult;
  delete m_pApi;
  EXPECT_EQ(sqlite3_close(m_pDb), SQLITE_OK);
}

}  // namespace OrvaTest

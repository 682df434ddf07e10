// The mail about a run with a large output: the process of the runner needs little memory for it.

#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sqlite3.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "support/files.h"
#include "support/private_view.h"

// Takes the runner's pause over: waits until the child has ended.
extern "C" __attribute__((visibility("default"))) unsigned int sleep(unsigned int /*uSeconds*/) {
  siginfo_t info{};
  waitid(P_ALL, 0, &info, WEXITED | WNOWAIT);
  return 0;
}

namespace {

namespace fs = std::filesystem;
constexpr long KIB_AT_MOST = 32 * 1024;
constexpr const char* PIPE = "/tmp/mail";

// The most memory that this process had since the last reset, in KiB.
long peak() {
  std::ifstream in("/proc/self/status");
  for (std::string strLine; std::getline(in, strLine);) {
    if (strLine.starts_with("VmHWM:")) {
      return std::stol(strLine.substr(6));
    }
  }
  return -1;
}
void resetPeak() {
  std::ofstream("/proc/self/clear_refs") << "5";
}

// The child of a run also writes the output to its standard output.
class NoStdout {
public:
  NoStdout() : m_iSaved(::dup(STDOUT_FILENO)) {
    std::fflush(stdout);
    const int iNull = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(iNull, STDOUT_FILENO);
    ::close(iNull);
  }
  ~NoStdout() {
    std::fflush(stdout);
    ::dup2(m_iSaved, STDOUT_FILENO);
    ::close(m_iSaved);
  }
  NoStdout(const NoStdout&) = delete;
  NoStdout& operator=(const NoStdout&) = delete;

private:
  int m_iSaved;
};

class MailMemory : public testing::Test {
protected:
  MailMemory() {
    OrvaTest::freshProduct();
    OrvaTest::installShareFiles();
    const std::string strShare = OrvaTest::sourceDir() + "/share/";
    fs::create_directories("/usr/orva/orvaman/webman");
    fs::copy(strShare + "texts", "/usr/orva/orvaman/webman/texts", fs::copy_options::recursive);
    fs::copy(strShare + "mail", "/usr/orva/share/mail", fs::copy_options::recursive);
    OrvaTest::writeFile("/etc/orva/shares.conf", "[logs]\npath = /srv/logs\n");
    fs::create_directories("/srv/logs");
    OrvaTest::writeFile("/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json",
                        R"({"eorvascheduler": {"type": "eorvascheduler", "output_path": "logs"}})");
    OrvaTest::writeFile("/tmp/mailprogram", std::string("#!/bin/sh\ncat > ") + PIPE + "\n", 0755);
    OrvaTest::writeFile("/etc/orvainfo.conf", "mailprogram=/tmp/mailprogram\n");
    EXPECT_EQ(mkfifo(PIPE, 0600), 0);
    Json::Value jConfig;
    EXPECT_EQ(initConfig("task", jConfig, &m_pDb, &m_pApi), 0);
    EXPECT_EQ(initConfig("task_result", jConfig, &m_pDb, &m_pApiResult), 0);
  }
  ~MailMemory() override {
    EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0);
    OrvaTest::freshProduct();
    fs::remove_all("/srv/logs");
    fs::remove(PIPE);
  }

  void run(const std::string& strScript) {
    const NoStdout quiet;
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = "a";
    jTask["owner"] = 0;
    jTask["operation_type"] = "script";
    jTask["operation"] = strScript;
    jTask["run_the_same_time"] = false;
    jTask["notify_enable"] = true;
    jTask["notify_if_error"] = false;
    jTask["notify_mail"] = "admin@example.org";
    jTask["status"] = Json::Value(Json::objectValue);
    Json::Value jOut;
    ASSERT_EQ(recCreate(m_pApi, jTask, jOut), 0);
    ASSERT_EQ(runTaskOne(jOut, m_pApi, m_pApiResult, m_pDb), 0);
  }

  sqlite3* m_pDb = nullptr;
  OrvaJsonDbApi* m_pApi = nullptr;
  OrvaJsonDbApi* m_pApiResult = nullptr;
};

}  // namespace

TEST_F(MailMemory, OutputOfThreeGigabytesNeedsLittleAndIsCutWithANote) {
  resetPeak();
  const long lBefore = peak();
  run("#!/bin/sh\nyes 'a line of output' | head -c 2000000\ntruncate -s 3G \"$(readlink /proc/$$/fd/1)\"\n");
  EXPECT_LT(peak() - lBefore, KIB_AT_MOST);
  const std::string strMail = OrvaTest::readFile(PIPE);
  EXPECT_LT(strMail.size(), 2U << 20);
  EXPECT_NE(strMail.find("The text was cut here"), std::string::npos);
}

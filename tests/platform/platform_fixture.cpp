#include "platform_fixture.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

#include "orva_platform.h"

#include "support/files.h"
#include "support/private_view.h"
#include "support/processes.h"

namespace fs = std::filesystem;

namespace OrvaTest {

const char* const KEEPING_MAIL_PROGRAM = R"(#!/bin/sh
mkdir -p /tmp/mail
until mkdir /tmp/mail/lock 2>/dev/null; do :; done
n=1
while [ -e /tmp/mail/$n.args ]; do n=$((n + 1)); done
: > /tmp/mail/$n.args
rmdir /tmp/mail/lock
for argument; do printf '%s\n' "$argument"; done > /tmp/mail/$n.args
cat > /tmp/mail/$n.eml
)";

namespace {

// The log's socket, and that of the journal, stay open between calls.
std::size_t countDescriptors() {
  const auto mapOpen = openDescriptors();
  return static_cast<std::size_t>(std::count_if(mapOpen.begin(), mapOpen.end(),
                                                [](const auto& open) { return open.second.rfind("socket:", 0) != 0; }));
}

// The kernel lists processes that wait for a lock after an arrow.
bool waitsForLock(pid_t pid) {
  std::ifstream locks("/proc/locks");
  for (std::string strLine; std::getline(locks, strLine);) {
    int iOwner = 0;
    if (std::sscanf(strLine.c_str(), "%*d: -> FLOCK %*s %*s %d", &iOwner) == 1 && iOwner == pid) {
      return true;
    }
  }
  return false;
}

}  // namespace

void PlatformTest::SetUp() {
  freshProduct();
  for (const char* const szFolder : {"/var/lib/orva", "/var/log/orva", "/var/spool/orva", "/tmp/mail"}) {
    fs::remove_all(szFolder);
  }
  m_cDescriptor = countDescriptors();
}

void PlatformTest::TearDown() {
  EXPECT_THAT(children(), testing::IsEmpty());
  EXPECT_EQ(countDescriptors(), m_cDescriptor);
  endChildren();
}

void installPlatformFiles() {
  const std::string strShare = sourceDir() + "/share/";
  fs::create_directories("/usr/orva/orvaman/webman");
  fs::copy(strShare + "texts", "/usr/orva/orvaman/webman/texts", fs::copy_options::recursive);
  fs::copy(strShare + "mail", "/usr/orva/share/mail", fs::copy_options::recursive);
  fs::copy(strShare + "log", "/usr/orva/share/log", fs::copy_options::recursive);
}

void defineShares(const std::string& strDefinitions) {
  writeFile("/etc/orva/shares.conf", strDefinitions);
}

void mountTmpfs(const std::string& strTarget, const std::string& strOptions) {
  fs::create_directories(strTarget);
  if (mount("tmpfs", strTarget.c_str(), "tmpfs", 0, strOptions.c_str()) != 0) {
    throw std::system_error(errno, std::generic_category(), "mount on " + strTarget);
  }
}

void adoptOrphans() {
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

bool waitForOrphans() {
  bool blAny = false;
  while (waitpid(-1, nullptr, 0) > 0) {
    blAny = true;
  }
  return blAny;
}

bool waitUntilItWaitsForLock(pid_t pid) {
  constexpr int N_TRIES = 50'000;
  for (int i = 0; i < N_TRIES; ++i) {
    if (waitsForLock(pid)) {
      return true;
    }
    // An ended process does not wait.
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 || info.si_pid == pid) {
      return false;
    }
    usleep(1000);
  }
  return false;
}

void installMailProgram(const std::string& strScript) {
  writeFile("/tmp/mailprogram", strScript, 0755);
  writeFile("/etc/orvainfo.conf", "maillang=enu\nmailfrom=scheduler@example.org\nmailprogram=/tmp/mailprogram\n");
}

std::string hostName() {
  std::array<char, 256> szHost{};
  gethostname(szHost.data(), szHost.size() - 1);
  return szHost.data();
}

int sendTaskMail(const std::string& strTo, const std::string& strTask, const std::string& strOutput,
                 const char* szTemplate, const std::string& strExitCode) {
  PKLIBCSZHASH pHash = KLIBCSzHashAlloc(512);
  KLIBCSzHashSetValue(&pHash, "%TASK%", strTask.c_str());
  KLIBCSzHashSetValue(&pHash, "%START_TIME%", "now");
  KLIBCSzHashSetValue(&pHash, "%END_TIME%", "later");
  KLIBCSzHashSetValue(&pHash, "%EXIT_CODE%", strExitCode.c_str());
  KLIBCSzHashSetValue(&pHash, "%OUT_PUT%", strOutput.c_str());
  const int iResult = ORVAMailSendMessageWithoutBlock(szTemplate, pHash, strTo.c_str(), 0);
  KLIBCSzHashFree(pHash);
  return iResult;
}

std::vector<std::string> entries(const std::string& strFolder) {
  std::vector<std::string> vecName;
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(strFolder, error)) {
    vecName.push_back(entry.path().filename());
  }
  std::sort(vecName.begin(), vecName.end());
  return vecName;
}

}  // namespace OrvaTest

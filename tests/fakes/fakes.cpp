#include "fakes/fakes.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace OrvaTest {

namespace {

constexpr time_t FIRST_SECOND = 1767225600;
// A runner that polls more often waits for a child that no longer exists.
constexpr int PASSES_AT_MOST = 1000;
// Above all process ids of Linux.
constexpr pid_t FIRST_PRETENDED = 5000000;

}  // namespace

Fakes& fakes() {
  static Fakes instance;
  return instance;
}

Fakes::Fakes() : m_pJournal(std::make_unique<Journal>()) {}

void Fakes::reset() {
  m_pJournal->clear();
  m_cForgotten = 0;
  m_faults.clear();
  m_tables.clear();
  m_pFolder.reset();
  m_pFolder = std::make_unique<TempDir>();
  strTmpFolder = m_pFolder->path("tmp");
  std::filesystem::create_directory(strTmpFolder);
  ::chmod(strTmpFolder.c_str(), 01777);
  std::filesystem::create_directory(m_pFolder->path("logs"));
  shares = {{"logs", m_pFolder->path("logs")}};
  strVolume = "volume1";
  Json::Value jTexts;
  jTexts["schedule"]["normal"] = "Normal";
  jTexts["schedule"]["by_signal"] = "Interrupted";
  texts = {{"enu", jTexts}};
  alivePids.clear();
  mails.clear();
  iLastError = 0;
  strLastErrorFile.clear();
  iLastErrorLine = 0;
  cHeld = 0;
  m_tNow = FIRST_SECOND;
  m_sleeps.clear();
  m_onSleep = nullptr;
  m_iLastPass = 0;
  m_blPretends = false;
  m_pretended.clear();
  m_endedPretended.clear();
  m_reapedPretended.clear();
  m_pidTest = ::getpid();
}

std::optional<Answer> Fakes::enter(const std::string& strName, const std::string& strCall, bool blPlatform,
                                   bool blCanFail) {
  m_pJournal->append(blPlatform ? Journal::Kind::PLATFORM : Journal::Kind::SYSTEM, strCall);
  auto answer = m_faults.decide(strName, strCall, !blPlatform, blCanFail);
  if (answer && answer->blFails) {
    m_pJournal->countFault();
  }
  return answer;
}

std::vector<Call> Fakes::allCalls() const {
  std::vector<Call> calls;
  const auto entries = m_pJournal->entries();
  for (size_t i = m_cForgotten; i < entries.size(); ++i) {
    const Journal::Entry& entry = entries[i];
    if (entry.kind == Journal::Kind::PLATFORM || entry.kind == Journal::Kind::SYSTEM) {
      calls.push_back({entry.strText, entry.pid, entry.kind == Journal::Kind::PLATFORM});
    }
  }
  return calls;
}

std::vector<std::string> Fakes::textsOf(bool blPlatform, bool blSystem, bool blChildren) const {
  std::vector<std::string> found;
  for (const Call& call : allCalls()) {
    if ((call.blPlatform ? blPlatform : blSystem) && (call.pid != m_pidTest) == blChildren) {
      found.push_back(call.strText);
    }
  }
  return found;
}

std::vector<std::string> Fakes::calls() const {
  return textsOf(true, false, false);
}
std::vector<std::string> Fakes::systemCalls() const {
  return textsOf(false, true, false);
}
std::vector<std::string> Fakes::childCalls() const {
  return textsOf(true, true, true);
}

std::vector<std::string> Fakes::events() const {
  std::vector<std::string> found;
  for (const Call& call : allCalls()) {
    if (call.strText.starts_with("ORVALogSet1(")) {
      found.push_back(call.strText);
    }
  }
  return found;
}

std::vector<int> Fakes::childReturns() const {
  std::vector<int> results;
  for (const Journal::Entry& entry : m_pJournal->entries()) {
    if (entry.kind == Journal::Kind::CHILD_RETURN) {
      results.push_back(std::stoi(entry.strText));
    }
  }
  return results;
}

RecordTable& Fakes::table(const std::string& strName) {
  return m_tables.try_emplace(strName, strName).first->second;
}

void Fakes::waitForChild(pid_t pid) {
  siginfo_t info{};
  while (::waitid(pid == 0 ? P_ALL : P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
}

void Fakes::passTime(unsigned int uSeconds) {
  m_sleeps.push_back(uSeconds);
  m_tNow += static_cast<time_t>(uSeconds);
  const int iPass = static_cast<int>(m_sleeps.size());
  if (iPass == m_iLastPass) {
    throw RunnerStopped();
  }
  if (iPass > PASSES_AT_MOST) {
    ADD_FAILURE() << "the library slept " << iPass << " times: a loop without an end?";
    throw RunnerStopped();
  }
  if (m_onSleep) {
    m_onSleep(iPass);
  } else {
    waitForChild();
  }
}

void Fakes::pretendChildren(const Json::Value& jExit) {
  m_blPretends = true;
  m_jPretendedExit = jExit;
}

pid_t Fakes::pretendFork() {
  const pid_t pid = FIRST_PRETENDED + static_cast<pid_t>(m_pretended.size());
  m_pretended.push_back(pid);
  if (!m_jPretendedExit.isNull()) {
    endChild(pid, m_jPretendedExit);
  }
  return pid;
}

void Fakes::endChild(pid_t pid, const Json::Value& jExit) {
  if (!jExit.isNull()) {
    writeFile("/tmp/eorvascheduler_exit_code." + std::to_string(pid), compactJson(jExit));
  }
  m_endedPretended.insert(pid);
}

bool Fakes::isPretended(pid_t pid) const {
  return std::find(m_pretended.begin(), m_pretended.end(), pid) != m_pretended.end() &&
         !m_reapedPretended.contains(pid);
}

pid_t Fakes::reapPretended(pid_t pid) {
  if (!m_endedPretended.contains(pid)) {
    return 0;
  }
  m_reapedPretended.insert(pid);
  return pid;
}

int withoutReturn(const std::function<int()>& operation) {
  const pid_t pidTest = ::getpid();
  const int iResult = operation();
  if (::getpid() != pidTest) {
    fakes().journal().append(Journal::Kind::CHILD_RETURN, std::to_string(iResult));
    ::_exit(0);
  }
  return iResult;
}

}  // namespace OrvaTest

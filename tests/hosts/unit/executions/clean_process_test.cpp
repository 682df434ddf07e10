/// A process that was started under odd circumstances has nothing of them left.

#include "common/executions/clean_process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <linux/capability.h>
#include <linux/keyctl.h>
#include <map>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/files.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;
using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace {

/// As the kernel takes it, also for signals that the C library keeps for itself.
void ignoreAllSignals() {
  struct KernelAction {
    void (*pfnHandler)(int);
    unsigned long iFlags;
    void (*pfnRestore)();
    std::uint64_t mask;
  };
  const KernelAction ignore{SIG_IGN, 0, nullptr, 0};
  for (int iSignal = 1; iSignal < NSIG; ++iSignal) {
    syscall(SYS_rt_sigaction, iSignal, &ignore, nullptr, sizeof ignore.mask);
  }
}

void blockAllSignals() {
  const std::uint64_t all = ~std::uint64_t{0};
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &all, nullptr, sizeof all);
}

rlimit limitOf(int iResource, pid_t pid = 0) {
  rlimit limit{};
  prlimit(pid, static_cast<__rlimit_resource>(iResource), nullptr, &limit);
  return limit;
}

/// What a process can get of a limit: without the capability, none can be raised above the hard one.
rlimit allowed(int iResource, rlimit limit) {
  const bool blAny = prctl(PR_CAPBSET_READ, CAP_SYS_RESOURCE) == 1;
  const rlim_t most = blAny ? RLIM_INFINITY : limitOf(iResource).rlim_max;
  return {std::min(limit.rlim_cur, most), std::min(limit.rlim_max, most)};
}

class CleanProcess : public testing::Test {
protected:
  void TearDown() override { OrvaTest::endChildren(); }

  /// \param fnBefore  sets what is odd, in a child, which is cleaned then.
  /// \param fnTell    what the child tells about itself.
  /// \param vecKeep   descriptors that it keeps, behind that for its words.
  std::string clean(const std::function<void()>& fnBefore, const std::function<std::string()>& fnTell,
                    std::vector<int> vecKeep = {}) {
    Pipe pipe;
    const pid_t pid = fork();
    if (pid == 0) {
      fnBefore();
      vecKeep.insert(vecKeep.begin(), pipe.writer.get());
      becomeCleanProcess(vecKeep, m_request);
      const std::string strText = fnTell();
      _exit(write(FIRST_KEPT, strText.data(), strText.size()) == static_cast<ssize_t>(strText.size()) ? 0 : 1);
    }
    pipe.writer.reset();
    const std::string strText = readAll(pipe.reader.get(), "the pipe");
    int iStatus = -1;
    EXPECT_EQ(waitpid(pid, &iStatus, 0), pid);
    EXPECT_EQ(iStatus, 0);
    return strText;
  }

  ExecutionRequest m_request;
};

/// A field of /proc/self/status of the process that calls it.
std::string statusOf(const std::string& strField) {
  std::istringstream status(OrvaTest::readFile("/proc/self/status"));
  for (std::string strLine; std::getline(status, strLine);) {
    if (strLine.rfind(strField + ":\t", 0) == 0) {
      return strLine.substr(strField.size() + 2);
    }
  }
  return "no such field";
}

std::function<std::string()> tellStatus(std::vector<std::string> vecFields) {
  return [vecFields] {
    std::string strText;
    for (const std::string& strField : vecFields) {
      strText += statusOf(strField) + " ";
    }
    return strText;
  };
}

std::string maskOf(std::initializer_list<int> signals) {
  std::uint64_t mask = 0;
  for (const int iSignal : signals) {
    mask |= std::uint64_t{1} << (iSignal - 1);
  }
  return fmt::format("{:016x} ", mask);
}

}  // namespace

TEST_F(CleanProcess, HasDefaultSignalsNoneBlockedAndTwoCaught) {
  const auto before = [] {
    ignoreAllSignals();
    blockAllSignals();
  };
  EXPECT_EQ(clean(before, tellStatus({"SigIgn", "SigBlk", "SigCgt"})),
            maskOf({}) + maskOf({}) + maskOf({SIGPIPE, SIGXFSZ}));
}

TEST_F(CleanProcess, GivesItsScriptsDefaultSignalsWhateverTheCallerHad) {
  const auto tell = [] {
    const int iPipe = std::system("kill -PIPE $$");
    const int iSize = std::system("kill -XFSZ $$");
    // system() itself makes a shell ignore those that the C library keeps for itself.
    [[maybe_unused]] const int iSeen = std::system("grep -E '^Sig(Blk|Ign|Cgt)' /proc/self/status >/tmp/seen");
    return fmt::format("{} {}\n{}", WTERMSIG(iPipe), WTERMSIG(iSize), OrvaTest::readFile("/tmp/seen"));
  };
  const std::string strTold = clean(&ignoreAllSignals, tell);
  EXPECT_THAT(strTold, testing::StartsWith(fmt::format("{} {}\n", SIGPIPE, SIGXFSZ)));
  EXPECT_EQ(strTold, clean([] {}, tell));
}

TEST_F(CleanProcess, HasTheMaskAndTheFolderOfAService) {
  const auto before = [] {
    umask(0);
    std::filesystem::current_path("/tmp");
  };
  EXPECT_EQ(clean(before, [] { return statusOf("Umask") + std::filesystem::current_path().string(); }), "0022/");
}

TEST_F(CleanProcess, HasTheLimitsOfAService) {
  const auto before = [] {
    for (int iResource = 0; iResource < static_cast<int>(RLIM_NLIMITS); ++iResource) {
      rlimit limit = limitOf(iResource);
      // Below this, the sanitizers and the test itself cannot work.
      constexpr rlim_t LOW = 64U << 20U;
      limit.rlim_cur = iResource == RLIMIT_NOFILE ? 77 : iResource == RLIMIT_AS ? limit.rlim_cur : LOW;
      setrlimit(static_cast<__rlimit_resource>(iResource), &limit);
    }
  };
  const auto tell = [] {
    std::string strText;
    for (int iResource = 0; iResource < static_cast<int>(RLIM_NLIMITS); ++iResource) {
      const rlimit limit = limitOf(iResource);
      strText += fmt::format("{} {} {}\n", iResource, limit.rlim_cur, limit.rlim_max);
    }
    return strText;
  };
  const std::map<int, rlimit> OF_SYSTEMD = {
      {RLIMIT_NOFILE, {1024, 524288}}, {RLIMIT_MEMLOCK, {8U << 20U, 8U << 20U}}, {RLIMIT_CORE, {0, RLIM_INFINITY}}};
  std::string strExpected;
  for (int iResource = 0; iResource < static_cast<int>(RLIM_NLIMITS); ++iResource) {
    const auto it = OF_SYSTEMD.find(iResource);
    const rlimit limit = allowed(iResource, it != OF_SYSTEMD.end() ? it->second : limitOf(iResource, 1));
    strExpected += fmt::format("{} {} {}\n", iResource, limit.rlim_cur, limit.rlim_max);
  }
  EXPECT_EQ(clean(before, tell), strExpected);
}

TEST_F(CleanProcess, KeepsLimitsThatItCannotLearn) {
  const auto before = [] {
    // Then the first process belongs to somebody else.
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data{};
    syscall(SYS_capget, &header, data.data());
    data[0].effective &= ~(1U << CAP_SYS_RESOURCE);
    data[0].permitted &= ~(1U << CAP_SYS_RESOURCE);
    rlimit limit{};
    constexpr uid_t OTHER = 1010;
    if (syscall(SYS_capset, &header, data.data()) < 0 || setresuid(OTHER, 0, 0) < 0 ||
        prlimit(1, RLIMIT_FSIZE, nullptr, &limit) == 0) {
      _exit(1);
    }
  };
  const rlimit own = limitOf(RLIMIT_FSIZE);
  EXPECT_EQ(clean(before, [] { return std::to_string(limitOf(RLIMIT_FSIZE).rlim_max); }), std::to_string(own.rlim_max));
}

TEST_F(CleanProcess, HasThePrioritiesAndTheProcessorsOfAService) {
  constexpr int IOPRIO_WHO_PROCESS = 1;
  constexpr int IDLE = 3 << 13;
  const auto before = [] {
    const sched_param none{};
    sched_setscheduler(0, SCHED_BATCH, &none);
    setpriority(PRIO_PROCESS, 0, 7);
    syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0, IDLE);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    sched_setaffinity(0, sizeof one, &one);
    prctl(PR_SET_TIMERSLACK, 1);
    const UniqueFd fd(open("/proc/self/oom_score_adj", O_WRONLY));
    if (write(fd.get(), "500", 3) != 3) {
      _exit(1);
    }
  };
  const auto tell = [] {
    cpu_set_t processors;
    sched_getaffinity(0, sizeof processors, &processors);
    return fmt::format("policy {} nice {} io {} processors {} slack {} score {}", sched_getscheduler(0),
                       getpriority(PRIO_PROCESS, 0), syscall(SYS_ioprio_get, IOPRIO_WHO_PROCESS, 0),
                       CPU_COUNT(&processors), prctl(PR_GET_TIMERSLACK),
                       OrvaTest::readFile("/proc/self/oom_score_adj"));
  };
  cpu_set_t all;
  ASSERT_EQ(sched_getaffinity(1, sizeof all, &all), 0);
  EXPECT_EQ(clean(before, tell), fmt::format("policy {} nice 0 io 0 processors {} slack {} score 0\n", SCHED_OTHER,
                                             CPU_COUNT(&all), 50'000));
}

TEST_F(CleanProcess, HasASessionKeyringOfItsOwn) {
  if (syscall(SYS_keyctl, KEYCTL_GET_KEYRING_ID, KEY_SPEC_SESSION_KEYRING, 0) < 0) {
    GTEST_SKIP() << "this kernel has no keyrings, or does not let us use them";
  }
  const auto find = [] {
    constexpr char TYPE[] = "user";
    constexpr char NAME[] = "eorva-test-secret";
    return syscall(SYS_keyctl, KEYCTL_SEARCH, KEY_SPEC_SESSION_KEYRING, TYPE, NAME, 0);
  };
  const auto before = [&] {
    syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, "eorva-test");
    syscall(SYS_add_key, "user", "eorva-test-secret", "x", 1, KEY_SPEC_SESSION_KEYRING);
    if (find() < 0) {
      _exit(1);
    }
  };
  EXPECT_EQ(clean(before, [&] { return std::to_string(find()); }), "-1");
}

TEST_F(CleanProcess, PassesOnNoCapabilities) {
  const auto before = [] {
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data{};
    syscall(SYS_capget, &header, data.data());
    for (__user_cap_data_struct& word : data) {
      word.inheritable = word.permitted;
    }
    syscall(SYS_capset, &header, data.data());
    prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_RAISE, CAP_CHOWN, 0, 0);
    if (prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_IS_SET, CAP_CHOWN, 0, 0) != 1) {
      _exit(1);
    }
  };
  EXPECT_EQ(clean(before, tellStatus({"CapInh", "CapAmb", "CapPrm"})),
            maskOf({}) + maskOf({}) + statusOf("CapPrm") + " ");
}

TEST_F(CleanProcess, KeepsNoDescriptorsButThoseThatItIsToKeep) {
  const OrvaTest::TempDir folder;
  OrvaTest::writeFile(folder.path("kept"), "");
  int fdKept = -1;
  const auto before = [&] {
    // Also the numbers that it wants for others, and one that is far away.
    for (int i = 0; i < 20; ++i) {
      open(folder.path("kept").c_str(), O_RDONLY);
    }
    dup2(fdKept, 900);
  };
  const auto tell = [] {
    std::string strText;
    for (const auto& [fd, strTarget] : OrvaTest::openDescriptors()) {
      strText +=
          fmt::format("{} {} {}\n", fd, fcntl(fd, F_GETFD) & FD_CLOEXEC, strTarget.substr(0, strTarget.find(':')));
    }
    return strText;
  };
  fdKept = open(folder.path("kept").c_str(), O_RDONLY);
  EXPECT_EQ(clean(before, tell, {fdKept}),
            "0 0 /dev/null\n1 0 /dev/null\n2 0 /dev/null\n3 1 pipe\n4 1 " + folder.path("kept") + "\n");
  close(fdKept);
}

TEST_F(CleanProcess, HasASessionOfItsOwnAndIsNotLookedInto) {
  EXPECT_EQ(clean([] {}, [] { return fmt::format("{} {}", getsid(0) == getpid(), prctl(PR_GET_DUMPABLE)); }), "true 0");
}

TEST_F(CleanProcess, HasOnlyTheEnvironmentOfScripts) {
  m_request.strName = "bootup";
  m_request.firedAt = 5;
  m_request.vecEnvironment = {{"MORE", "a b"}, {"LANG", "C"}};
  const auto before = [] {
    setenv("LD_PRELOAD", "/tmp/evil.so", 1);
    setenv("PATH", "/tmp", 1);
    setenv("LC_ALL", "de_DE", 1);
  };
  const auto tell = [] {
    std::string strText;
    for (char** p = environ; *p != nullptr; ++p) {
      strText += std::string(*p) + "\n";
    }
    return strText;
  };
  std::istringstream told(clean(before, tell));
  std::vector<std::string> vecLines;
  for (std::string strLine; std::getline(told, strLine);) {
    vecLines.push_back(strLine);
  }
  EXPECT_THAT(vecLines, UnorderedElementsAre("PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                                             "LANG=C", "HOME=/root", "USER=root", "LOGNAME=root", "SHELL=/bin/sh",
                                             "MORE=a b", "EORVA_EVENT=bootup", "EORVA_FIRED_AT=5"));
  m_request.blByEvent = false;
  EXPECT_THAT(clean([] {}, [] { return std::string(std::getenv("EORVA_EVENT")); }), "on_demand");
}

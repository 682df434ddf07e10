#include "transient_unit.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include "failure.h"
#include "systemctl.h"

namespace Host {

namespace {

constexpr char SERVICE[] = "org.freedesktop.systemd1";
constexpr char OBJECT[] = "/org/freedesktop/systemd1";
constexpr char MANAGER[] = "org.freedesktop.systemd1.Manager";

/// As many processes as the units have that fire events themselves.
constexpr std::uint64_t TASKS_MAX = 4096;

constexpr std::size_t CB_NAME = 120;

struct Unref {
  void operator()(sd_bus* pBus) const { sd_bus_flush_close_unref(pBus); }
  void operator()(sd_bus_message* pMessage) const { sd_bus_message_unref(pMessage); }
  void operator()(sd_bus_slot* pSlot) const { sd_bus_slot_unref(pSlot); }
};
using Bus = std::unique_ptr<sd_bus, Unref>;
using Message = std::unique_ptr<sd_bus_message, Unref>;
using Slot = std::unique_ptr<sd_bus_slot, Unref>;

class BusError {
public:
  BusError() = default;
  ~BusError() { sd_bus_error_free(&m_error); }
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;
  sd_bus_error* get() { return &m_error; }
  std::string text(int iResult) const {
    return m_error.message != nullptr ? m_error.message : std::strerror(iResult < 0 ? -iResult : iResult);
  }

private:
  sd_bus_error m_error{};
};

void require(int iResult, const char* szWhat) {
  if (iResult < 0) {
    throw Failure(fmt::format("cannot {}: {}", szWhat, std::strerror(-iResult)));
  }
}

Bus connect() {
  sd_bus* pBus = nullptr;
  require(sd_bus_open_system(&pBus), "reach systemd over the system bus");
  return Bus(pBus);
}

/// Units are told apart by the process that starts them, and the moment.
std::string uniqueName(const std::string& strName) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  std::string strEscaped = escapeUnitName(strName);
  if (strEscaped.size() > CB_NAME) {
    // Not within an escape, which is a backslash and three letters.
    const std::size_t iEscape = strEscaped.rfind('\\', CB_NAME);
    const bool blCut = iEscape != std::string::npos && iEscape + 4 > CB_NAME;
    strEscaped.resize(blCut ? iEscape : CB_NAME);
  }
  return fmt::format(
      "eorva-{}-{:x}-{:x}.service", strEscaped,
      static_cast<std::uint64_t>(now.tv_sec) * 1000000U + static_cast<std::uint64_t>(now.tv_nsec) / 1000U, getpid());
}

/// systemd replaces "$NAME" in arguments, and "$$" by "$". The property that would leave them alone (ExecStartEx) gets
/// lost when systemd reads its units again.
std::string asArgument(const std::string& strText) {
  std::string strArgument;
  for (const char c : strText) {
    strArgument.append(c == '$' ? 2 : 1, c);
  }
  return strArgument;
}

void appendCommand(sd_bus_message* pMessage, const std::vector<std::string>& vecCommand) {
  std::vector<std::string> vecTexts;
  std::transform(vecCommand.begin(), vecCommand.end(), std::back_inserter(vecTexts), &asArgument);
  std::vector<char*> vecArguments;
  vecArguments.reserve(vecTexts.size() + 1);
  for (std::string& strText : vecTexts) {
    vecArguments.push_back(strText.data());
  }
  vecArguments.push_back(nullptr);
  require(sd_bus_message_open_container(pMessage, 'r', "sv"), "describe a unit");
  require(sd_bus_message_append(pMessage, "s", "ExecStart"), "describe a unit");
  require(sd_bus_message_open_container(pMessage, 'v', "a(sasb)"), "describe a unit");
  require(sd_bus_message_open_container(pMessage, 'a', "(sasb)"), "describe a unit");
  require(sd_bus_message_open_container(pMessage, 'r', "sasb"), "describe a unit");
  require(sd_bus_message_append(pMessage, "s", vecCommand.front().c_str()), "describe a unit");
  require(sd_bus_message_append_strv(pMessage, vecArguments.data()), "describe a unit");
  require(sd_bus_message_append(pMessage, "b", 0), "describe a unit");
  for (int i = 0; i < 4; ++i) {
    require(sd_bus_message_close_container(pMessage), "describe a unit");
  }
}

Message describe(sd_bus* pBus, const std::string& strUnit, const std::string& strDescription,
                 const std::vector<std::string>& vecCommand) {
  sd_bus_message* pRaw = nullptr;
  require(sd_bus_message_new_method_call(pBus, &pRaw, SERVICE, OBJECT, MANAGER, "StartTransientUnit"),
          "describe a unit");
  Message message(pRaw);
  require(sd_bus_message_append(pRaw, "ss", strUnit.c_str(), "fail"), "describe a unit");
  require(sd_bus_message_open_container(pRaw, 'a', "(sv)"), "describe a unit");
  require(sd_bus_message_append(pRaw, "(sv)(sv)(sv)(sv)(sv)(sv)(sv)(sv)", "Description", "s", strDescription.c_str(),
                                "Type", "s", "exec", "CollectMode", "s", "inactive-or-failed", "IgnoreSIGPIPE", "b", 0,
                                "OOMPolicy", "s", "continue", "KillMode", "s", "control-group", "TimeoutStartUSec", "t",
                                UINT64_MAX, "TasksMax", "t", TASKS_MAX),
          "describe a unit");
  // A process that hands over mail, or that a script has left behind on purpose, is not ended with the last task.
  require(sd_bus_message_append(pRaw, "(sv)", "ExitType", "s", "cgroup"), "describe a unit");
  // Units stop in the reverse order: this one before the volumes go.
  require(sd_bus_message_append(pRaw, "(sv)", "After", "as", 2, "local-fs.target", "remote-fs.target"),
          "describe a unit");
  appendCommand(pRaw, vecCommand);
  require(sd_bus_message_close_container(pRaw), "describe a unit");
  // Units that come with it: none.
  require(sd_bus_message_append(pRaw, "a(sa(sv))", 0), "describe a unit");
  return message;
}

/// How a job ended, as systemd tells everybody who listens.
struct Job {
  std::string strPath;
  std::string strResult;
};

int onJobRemoved(sd_bus_message* pMessage, void* pData, sd_bus_error*) {
  std::uint32_t iJob = 0;
  const char* szPath = nullptr;
  const char* szUnit = nullptr;
  const char* szResult = nullptr;
  auto& vecJobs = *static_cast<std::vector<Job>*>(pData);
  if (sd_bus_message_read(pMessage, "uoss", &iJob, &szPath, &szUnit, &szResult) >= 0) {
    vecJobs.push_back({szPath, szResult});
  }
  return 0;
}

/// The job may have ended before its name is known here.
std::string waitForJob(sd_bus* pBus, const std::string& strPath, std::vector<Job>& vecJobs) {
  for (;;) {
    for (const Job& job : vecJobs) {
      if (job.strPath == strPath) {
        return job.strResult;
      }
    }
    vecJobs.clear();
    const int iResult = sd_bus_process(pBus, nullptr);
    require(iResult, "learn whether systemd has started the unit");
    if (iResult == 0) {
      require(sd_bus_wait(pBus, UINT64_MAX), "learn whether systemd has started the unit");
    }
  }
}

}  // namespace

std::string startTransientUnit(const std::string& strName, const std::string& strDescription,
                               const std::vector<std::string>& vecCommand) {
  const Bus bus = connect();
  const std::string strUnit = uniqueName(strName);
  std::vector<Job> vecJobs;
  sd_bus_slot* pSlot = nullptr;
  require(sd_bus_match_signal(bus.get(), &pSlot, SERVICE, OBJECT, MANAGER, "JobRemoved", &onJobRemoved, &vecJobs),
          "listen to systemd");
  const Slot slot(pSlot);
  BusError error;
  int iResult = sd_bus_call_method(bus.get(), SERVICE, OBJECT, MANAGER, "Subscribe", error.get(), nullptr, nullptr);
  const Message message = describe(bus.get(), strUnit, strDescription, vecCommand);
  sd_bus_message* pReply = nullptr;
  iResult = iResult < 0 ? iResult : sd_bus_call(bus.get(), message.get(), 0, error.get(), &pReply);
  const Message reply(pReply);
  const char* szJob = nullptr;
  iResult = iResult < 0 ? iResult : sd_bus_message_read(pReply, "o", &szJob);
  if (iResult < 0) {
    throw Failure(fmt::format("systemd does not start the unit {}: {}", strUnit, error.text(iResult)));
  }
  const std::string strResult = waitForJob(bus.get(), szJob, vecJobs);
  if (strResult != "done") {
    throw Failure(fmt::format("systemd did not start the unit {}: {}", strUnit, strResult));
  }
  return strUnit;
}

}  // namespace Host

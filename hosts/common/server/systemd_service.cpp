#include "systemd_service.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <functional>
#include <iterator>
#include <memory>
#include <string_view>
#include <systemd/sd-bus.h>
#include <thread>
#include <unistd.h>
#include <utility>

#include "common/support/failure.h"
#include "systemd_units.h"

namespace Host {

namespace {

constexpr char SERVICE[] = "org.freedesktop.systemd1";
constexpr char OBJECT[] = "/org/freedesktop/systemd1";
constexpr char MANAGER[] = "org.freedesktop.systemd1.Manager";

/// All executions are in this slice.
constexpr char SLICE[] = "eorva.slice";

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
  const sd_bus_error* get() const { return &m_error; }
  std::string text(int iResult) const {
    return m_error.message != nullptr ? m_error.message : std::strerror(iResult < 0 ? -iResult : iResult);
  }

private:
  sd_bus_error m_error{};
};

/// systemd or the bus was restarted during the request, as by daemon-reexec.
class Interrupted : public Failure {
public:
  using Failure::Failure;
};

bool isInterrupted(int iResult, const sd_bus_error* pError) {
  constexpr std::array ERRNOS = {ECONNRESET, ECONNREFUSED, ENOTCONN, EPIPE, ETIMEDOUT, ESHUTDOWN};
  constexpr std::array NAMES = {SD_BUS_ERROR_NO_REPLY, SD_BUS_ERROR_SERVICE_UNKNOWN, SD_BUS_ERROR_NAME_HAS_NO_OWNER,
                                SD_BUS_ERROR_DISCONNECTED, SD_BUS_ERROR_TIMEOUT};
  // The bus reports this while systemd is away.
  constexpr std::string_view SPAWN = "org.freedesktop.DBus.Error.Spawn.";
  if (pError != nullptr && pError->name != nullptr) {
    return std::string_view(pError->name).substr(0, SPAWN.size()) == SPAWN ||
           std::any_of(NAMES.begin(), NAMES.end(),
                       [&](const char* szName) { return std::string_view(pError->name) == szName; });
  }
  return std::find(ERRNOS.begin(), ERRNOS.end(), -iResult) != ERRNOS.end();
}

/// \throw Interrupted or another Failure for an error.
void require(int iResult, const std::string& strWhat, const BusError* pError = nullptr) {
  if (iResult >= 0) {
    return;
  }
  const std::string strText =
      fmt::format("cannot {}: {}", strWhat, pError != nullptr ? pError->text(iResult) : std::strerror(-iResult));
  if (isInterrupted(iResult, pError != nullptr ? pError->get() : nullptr)) {
    throw Interrupted(strText);
  }
  throw Failure(strText);
}

Bus connect() {
  // systemd often loses requests during daemon-reexec.
  constexpr std::uint64_t ANSWER_MICROSECONDS = 5'000'000;
  sd_bus* pBus = nullptr;
  require(sd_bus_open_system(&pBus), "reach systemd over the system bus");
  Bus bus(pBus);
  require(sd_bus_set_method_call_timeout(pBus, ANSWER_MICROSECONDS), "reach systemd over the system bus");
  return bus;
}

/// systemd replaces "$NAME" in arguments, and "$$" by "$". ExecStartEx could prevent that, but is lost by a
/// daemon-reload.
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

/// The properties of a unit, up to the end of their array.
using Properties = std::function<void(sd_bus_message*)>;

/// Properties of every unit of ours.
void appendCommon(sd_bus_message* pMessage, const std::string& strDescription, std::chrono::seconds stopTime,
                  bool blKeepFailed = false) {
  require(sd_bus_message_append(pMessage, "(sv)(sv)(sv)(sv)(sv)", "Description", "s", strDescription.c_str(), "Slice",
                                "s", SLICE, "Delegate", "b", 1, "CollectMode", "s",
                                blKeepFailed ? "inactive" : "inactive-or-failed", "TimeoutStopUSec", "t",
                                static_cast<std::uint64_t>(std::chrono::microseconds(stopTime).count())),
          "describe a unit");
  // Units stop in the reverse order: this one before the volumes are unmounted.
  require(sd_bus_message_append(pMessage, "(sv)", "After", "as", 3, "local-fs.target", "remote-fs.target",
                                "nss-user-lookup.target"),
          "describe a unit");
  // Each run has a limit of its own.
  require(sd_bus_message_append(pMessage, "(sv)", "TasksMax", "t", UINT64_MAX), "describe a unit");
}

void appendService(sd_bus_message* pMessage, const std::vector<std::string>& vecCommand) {
  require(
      sd_bus_message_append(pMessage, "(sv)(sv)(sv)(sv)(sv)", "Type", "s", "exec", "IgnoreSIGPIPE", "b", 0, "OOMPolicy",
                            "s", "continue", "KillMode", "s", "mixed", "TimeoutStartUSec", "t", UINT64_MAX),
      "describe a unit");
  // Mail delivery and background processes of scripts do not end with the last task.
  require(sd_bus_message_append(pMessage, "(sv)", "ExitType", "s", "cgroup"), "describe a unit");
  appendCommand(pMessage, vecCommand);
}

Message describe(sd_bus* pBus, const std::string& strUnit, const Properties& fnAppend) {
  sd_bus_message* pRaw = nullptr;
  require(sd_bus_message_new_method_call(pBus, &pRaw, SERVICE, OBJECT, MANAGER, "StartTransientUnit"),
          "describe a unit");
  Message message(pRaw);
  require(sd_bus_message_append(pRaw, "ss", strUnit.c_str(), "fail"), "describe a unit");
  require(sd_bus_message_open_container(pRaw, 'a', "(sv)"), "describe a unit");
  fnAppend(pRaw);
  require(sd_bus_message_close_container(pRaw), "describe a unit");
  // No auxiliary units.
  require(sd_bus_message_append(pRaw, "a(sa(sv))", 0), "describe a unit");
  return message;
}

/// The start of one unit, over several connections if need be.
class UnitStart {
public:
  explicit UnitStart(std::string strUnit) : m_strUnit(std::move(strUnit)) {}

  /// Requests the start, unless that was done, and waits for it.
  /// \throw Interrupted when it should be tried again.
  void run(const Properties& fnAppend);

private:
  static int onJobRemoved(sd_bus_message* pMessage, void* pData, sd_bus_error*);
  void ask(sd_bus* pBus, sd_bus_message* pMessage);
  void wait(sd_bus* pBus);
  std::string lookAtState(sd_bus* pBus) const;

  std::string m_strUnit;
  std::string m_strResult;  ///< how its job ended
  bool m_blAsked = false;
  bool m_blTaken = false;
};

/// Handles the signal of systemd that a job has ended.
int UnitStart::onJobRemoved(sd_bus_message* pMessage, void* pData, sd_bus_error*) {
  std::uint32_t iJob = 0;
  const char* szPath = nullptr;
  const char* szUnit = nullptr;
  const char* szResult = nullptr;
  auto& start = *static_cast<UnitStart*>(pData);
  if (sd_bus_message_read(pMessage, "uoss", &iJob, &szPath, &szUnit, &szResult) >= 0 && start.m_strUnit == szUnit) {
    start.m_strResult = szResult;
  }
  return 0;
}

void UnitStart::ask(sd_bus* pBus, sd_bus_message* pMessage) {
  BusError error;
  const bool blAgain = std::exchange(m_blAsked, true);
  const int iResult = sd_bus_call(pBus, pMessage, 0, error.get(), nullptr);
  // The name is unique: an earlier request has started it, and its answer was lost.
  const bool blThere = blAgain && sd_bus_error_has_name(error.get(), "org.freedesktop.systemd1.UnitExists") > 0;
  if (!blThere) {
    require(iResult, fmt::format("have systemd start the unit {}", m_strUnit), &error);
  }
  m_blTaken = true;
}

/// The result of the job, for when its signal was missed; empty while it runs.
std::string UnitStart::lookAtState(sd_bus* pBus) const {
  constexpr char UNIT[] = "org.freedesktop.systemd1.Unit";
  constexpr char WHAT[] = "learn whether systemd has started the unit";
  char* szRaw = nullptr;
  require(sd_bus_path_encode("/org/freedesktop/systemd1/unit", m_strUnit.c_str(), &szRaw), WHAT);
  const std::unique_ptr<char, decltype(&std::free)> szPath(szRaw, &std::free);
  BusError error;
  sd_bus_message* pRaw = nullptr;
  require(sd_bus_get_property(pBus, SERVICE, szPath.get(), UNIT, "Job", error.get(), &pRaw, "(uo)"), WHAT, &error);
  const Message message(pRaw);
  std::uint32_t iJob = 0;
  const char* szJob = nullptr;
  require(sd_bus_message_read(pRaw, "(uo)", &iJob, &szJob), WHAT);
  if (iJob != 0) {
    return {};
  }
  char* szState = nullptr;
  require(sd_bus_get_property_string(pBus, SERVICE, szPath.get(), UNIT, "ActiveState", error.get(), &szState), WHAT,
          &error);
  const std::string strState(szState);
  std::free(szState);
  // A transient service that has ended is inactive.
  return strState == "failed" ? strState : "done";
}

void UnitStart::wait(sd_bus* pBus) {
  constexpr auto LOOK_MICROSECONDS = 1'000'000U;
  while (m_strResult.empty()) {
    const int iResult = sd_bus_process(pBus, nullptr);
    require(iResult, "learn whether systemd has started the unit");
    if (iResult > 0) {
      continue;
    }
    const int iReady = sd_bus_wait(pBus, LOOK_MICROSECONDS);
    require(iReady == -EINTR ? 0 : iReady, "learn whether systemd has started the unit");
    if (iReady == 0) {
      m_strResult = lookAtState(pBus);
    }
  }
}

void UnitStart::run(const Properties& fnAppend) {
  const Bus bus = connect();
  sd_bus_slot* pSlot = nullptr;
  require(
      sd_bus_match_signal(bus.get(), &pSlot, SERVICE, OBJECT, MANAGER, "JobRemoved", &UnitStart::onJobRemoved, this),
      "listen to systemd");
  const Slot slot(pSlot);
  BusError error;
  require(sd_bus_call_method(bus.get(), SERVICE, OBJECT, MANAGER, "Subscribe", error.get(), nullptr, nullptr),
          "listen to systemd", &error);
  if (!m_blTaken) {
    const Message message = describe(bus.get(), m_strUnit, fnAppend);
    ask(bus.get(), message.get());
  }
  wait(bus.get());
  if (m_strResult != "done") {
    throw Failure(fmt::format("systemd did not start the unit {}: {}", m_strUnit, m_strResult));
  }
}

void startUnit(const std::string& strUnit, const Properties& fnAppend) {
  using namespace std::chrono_literals;
  constexpr auto PAUSE = 100ms;
  constexpr auto START_LIMIT = 60s;
  const auto deadline = std::chrono::steady_clock::now() + START_LIMIT;
  for (UnitStart start(strUnit);;) {
    try {
      start.run(fnAppend);
      return;
    } catch (const Interrupted&) {
      if (std::chrono::steady_clock::now() > deadline) {
        throw;
      }
    }
    std::this_thread::sleep_for(PAUSE);
  }
}

}  // namespace

/// The process id and the time make the name unique.
std::string unitName(const std::string& strName, const char* szType) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  std::string strEscaped = escapeUnitName(strName);
  if (strEscaped.size() > CB_NAME) {
    // Not within an escape: a backslash and three characters.
    const std::size_t iEscape = strEscaped.rfind('\\', CB_NAME);
    const bool blCut = iEscape != std::string::npos && iEscape + 4 > CB_NAME;
    strEscaped.resize(blCut ? iEscape : CB_NAME);
  }
  return fmt::format(
      "eorva-{}-{:x}-{:x}.{}", strEscaped,
      static_cast<std::uint64_t>(now.tv_sec) * 1000000U + static_cast<std::uint64_t>(now.tv_nsec) / 1000U, getpid(),
      szType);
}

void startService(const std::string& strUnit, const std::string& strDescription,
                  const std::vector<std::string>& vecCommand, std::chrono::seconds stopTime, bool blKeepFailed) {
  startUnit(strUnit, [&](sd_bus_message* pMessage) {
    appendCommon(pMessage, strDescription, stopTime, blKeepFailed);
    appendService(pMessage, vecCommand);
  });
}

void becomeScope(const std::string& strUnit, const std::string& strDescription, int iEndSignal,
                 std::chrono::seconds stopTime) {
  startUnit(strUnit, [&](sd_bus_message* pMessage) {
    appendCommon(pMessage, strDescription, stopTime);
    require(sd_bus_message_append(pMessage, "(sv)(sv)", "KillSignal", "i", iEndSignal, "PIDs", "au", 1,
                                  static_cast<std::uint32_t>(getpid())),
            "describe a unit");
  });
}

}  // namespace Host

#include "script_end.h"

#include <csignal>
#include <cstring>
#include <fmt/format.h>

#include "common/text/json_members.h"

namespace Host {

namespace {

constexpr Json::Int64 NOT_STARTED = -1;

/// A shell exits with this number plus the signal when a signal killed its command.
constexpr int KILLED_COMMAND = 128;

ScriptEnd endOfShell(int iExit) {
  const bool blKilled = !signalName(iExit - KILLED_COMMAND).empty();
  return blKilled ? ScriptEnd{ScriptEnd::Kind::KILLED, iExit - KILLED_COMMAND}
                  : ScriptEnd{ScriptEnd::Kind::EXITED, iExit};
}

}  // namespace

std::optional<ScriptEnd> scriptEndOf(const Json::Value& jRun) {
  const Json::Value& jStatus = memberOf(jRun, "shell_status");
  if (!jStatus.isInt64()) {
    return std::nullopt;
  }
  const Json::Int64 iStatus = jStatus.asInt64();
  if (iStatus == NOT_STARTED) {
    return ScriptEnd{ScriptEnd::Kind::NOT_STARTED};
  }
  const int iSignal = static_cast<int>(iStatus & 0x7f);
  return iSignal != 0 ? ScriptEnd{ScriptEnd::Kind::KILLED, iSignal} : endOfShell(static_cast<int>(iStatus >> 8 & 0xff));
}

std::string signalName(Json::Int64 iSignal) {
  if (iSignal == SIGRTMIN) {
    return "SIGRTMIN";
  }
  if (iSignal > SIGRTMIN && iSignal <= SIGRTMAX) {
    return fmt::format("SIGRTMIN+{}", iSignal - SIGRTMIN);
  }
  const char* szName = iSignal > 0 && iSignal < NSIG ? sigabbrev_np(static_cast<int>(iSignal)) : nullptr;
  return szName != nullptr ? fmt::format("SIG{}", szName) : std::string();
}

}  // namespace Host

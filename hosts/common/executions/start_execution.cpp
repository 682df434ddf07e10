#include "start_execution.h"

#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <sys/wait.h>
#include <utility>

#include "common/events/event_catalogue.h"
#include "common/runs/reconcile.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "execution_watch.h"
#include "service_process.h"

namespace Host {

namespace {

std::string closedText(const std::vector<Json::Value>& vecRuns) {
  std::string strText;
  for (const Json::Value& jRun : vecRuns) {
    strText += fmt::format("; run {} was interrupted, and is closed now", intOf(jRun, "result_id"));
  }
  return strText;
}

}  // namespace

void checkRequest(const ExecutionRequest& request, bool blDetached) {
  const OpenStore session;
  if (request.blByEvent) {
    requireEvent(session, request.strName);
  } else if (blDetached) {
    refuseSecondRun(session, request.strName);
  } else {
    requireTask(session, request.strName);
  }
}

PreparedExecution::PreparedExecution(ExecutionRequest request) : m_request(std::move(request)) {
  const OpenStore session;
  m_vecInterrupted = reconcile(session);
  try {
    m_plan = prepareExecution(session, m_request, m_lock);
    if (!m_request.blByEvent) {
      refuseSecondRun(session, m_request.strName);
    }
  } catch (const Failure& failure) {
    // Nobody else finds the closed runs again.
    throw Failure(failure.what() + closedText(m_vecInterrupted), failure.hint());
  }
}

int followExecution(Execution& execution, ServiceProcess* pService, const FollowExecution& follow) {
  // Nothing is waited for that long: only a clock on a terminal has to be set.
  constexpr std::chrono::seconds SLEEP(10);
  constexpr std::chrono::milliseconds PAUSE(100);
  if (pService != nullptr) {
    pService->passOnTo(execution.pid());
  }
  for (;;) {
    // The end is checked before the rest is read, so that nothing is missed.
    const std::optional<int> status = execution.status();
    if (const std::string strText = execution.takeMessages(); !strText.empty()) {
      follow.fnTell(strText);
    }
    follow.fnLook();
    if (status) {
      if (pService != nullptr) {
        pService->passOnTo(0);
        pService->setGroup(execution.group());
      }
      return *status;
    }
    // Many runs that begin together are shown together.
    if (!execution.waitEnd(PAUSE)) {
      execution.wait(SLEEP);
    }
  }
}

ExecutionEnd endOf(int iStatus) {
  if (WIFSIGNALED(iStatus)) {
    throw Failure(fmt::format("the execution was killed by signal {} (SIG{})", WTERMSIG(iStatus),
                              sigabbrev_np(WTERMSIG(iStatus))));
  }
  switch (WEXITSTATUS(iStatus)) {
    case 0:
      return ExecutionEnd::DONE;
    case RESULT_ENDED:
      return ExecutionEnd::ENDED;
    case RESULT_REFUSED:
      return ExecutionEnd::REFUSED;
    case RESULT_BUDGET:
      return ExecutionEnd::BUDGET;
    default:
      throw Failure(fmt::format("the execution failed; {}", SEE_LOG));
  }
}

}  // namespace Host

#include "rename_task.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <fmt/format.h>
#include <functional>
#include <optional>
#include <sqlite3.h>
#include <thread>
#include <utility>
#include <vector>

#include "eorvascheduler.h"

#include "common/output/output_place.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "dependency_list.h"
#include "rename_lock.h"
#include "task_members.h"
#include "task_rules.h"

namespace Host {

namespace {

constexpr char DELETED[] = "deleted";
constexpr char RENAMED[] = "renamed";
constexpr auto BUSY_LIMIT = std::chrono::seconds(10);

/// The library changes only the first copy of an entry; the second would wait for a missing task.
void refuseDoubleEntries(Session& session, const std::string& strTask) {
  for (const Json::Value& jTask : listTasks(session)) {
    const std::vector<std::string> vecWaitsFor = readDependencyList(textOf(jTask, "depend_on_task"));
    if (std::count(vecWaitsFor.begin(), vecWaitsFor.end(), strTask) > 1) {
      const std::string strOther = textOf(jTask, "task_name");
      std::vector<std::string> vecNames{strOther};
      for (const std::string& strAwaited : vecWaitsFor) {
        if (std::find(vecNames.begin() + 1, vecNames.end(), strAwaited) == vecNames.end()) {
          vecNames.push_back(strAwaited);
        }
      }
      throw Failure(fmt::format("the task \"{}\" waits for \"{}\" twice", strOther, strTask),
                    {Hint::SET_WAITS_FOR, vecNames});
    }
  }
}

/// Calls a function of the library that has its own transaction. It does not wait for other writers, and a failure
/// leaves the transaction open. So each try has its own connection.
void changeSubtree(const std::string& strTask, const char* szDo, const std::function<int(Session&)>& fnChange) {
  const auto deadline = std::chrono::steady_clock::now() + BUSY_LIMIT;
  for (;;) {
    Session session;
    requireTask(session, strTask);
    refuseDoubleEntries(session, strTask);
    if (fnChange(session) >= 0) {
      return;
    }
    if ((sqlite3_errcode(session.db()) & 0xFF) != SQLITE_BUSY) {
      throw Failure(fmt::format("the store refused to {} the task \"{}\"; {}", szDo, strTask, SEE_LOG));
    }
    if (std::chrono::steady_clock::now() > deadline) {
      throw Failure(fmt::format("cannot {} the task \"{}\": other processes keep writing to the store", szDo, strTask));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

/// Moves the task folder in every place, or in none.
class FolderMove {
public:
  FolderMove(const std::string& strTask, const std::string& strNew)
      : m_strTask(strTask), m_strNew(strNew), m_vecPlaces(OutputPlace::placesOf(strTask)) {}

  void run() {
    try {
      for (const OutputPlace& place : m_vecPlaces) {
        m_vecMoved.emplace_back(place, place.rename(m_strTask, m_strNew));
      }
    } catch (...) {
      moveBack();
      throw;
    }
  }

  void moveBack() {
    for (const auto& [place, vecMoves] : std::exchange(m_vecMoved, {})) {
      place.moveBack(vecMoves);
    }
  }

private:
  std::string m_strTask;
  std::string m_strNew;
  std::vector<OutputPlace> m_vecPlaces;
  std::vector<std::pair<OutputPlace, std::vector<OutputPlace::Move>>> m_vecMoved;
};

/// Moves the folder right before the commit: the write lock is held then, so nothing delays the commit. When the move
/// fails, the store is rolled back.
class MoveAtCommit {
public:
  MoveAtCommit(sqlite3* pDb, FolderMove& move) : m_pDb(pDb), m_move(move) {
    sqlite3_commit_hook(m_pDb, &MoveAtCommit::onCommit, this);
  }
  ~MoveAtCommit() { sqlite3_commit_hook(m_pDb, nullptr, nullptr); }
  MoveAtCommit(const MoveAtCommit&) = delete;
  MoveAtCommit& operator=(const MoveAtCommit&) = delete;

  /// Moves the folder back when the commit failed. \throw the failure of the move.
  void finish(bool blCommitted) {
    if (!blCommitted) {
      m_move.moveBack();
    }
    m_signals.reset();
    if (m_error) {
      std::rethrow_exception(m_error);
    }
  }

private:
  /// \return not 0 for a rollback. SQLite cannot pass on exceptions.
  static int onCommit(void* pSelf) {
    auto* const pMove = static_cast<MoveAtCommit*>(pSelf);
    try {
      pMove->m_signals.emplace(DeferredSignals::Signals::ALL);
      pMove->m_move.run();
    } catch (...) {
      pMove->m_error = std::current_exception();
    }
    return pMove->m_error ? 1 : 0;
  }

  sqlite3* m_pDb;
  FolderMove& m_move;
  std::optional<DeferredSignals> m_signals;
  std::exception_ptr m_error;
};

void checkName(Session& session, const std::string& strTask, const std::string& strNew) {
  const Json::Value jBefore = requestOf(requireTask(session, strTask));
  if (strNew == strTask) {
    throw Failure(fmt::format("the task \"{}\" already has this name", strTask));
  }
  Json::Value jTask = jBefore;
  jTask["task_name"] = strNew;
  Findings findings = checkChangedTask(jTask, jBefore, listTasks(session), AllowedEvents::ANY);
  findings.vecWarnings.clear();
  requireNoErrors(strTask, findings, RENAMED);
}

}  // namespace

std::vector<std::string> checkDelete(const std::string& strTask) {
  Session session;
  requireTask(session, strTask);
  return RenameLock(session, {strTask}, DELETED).dependants();
}

std::string deleteTask(const std::string& strTask) {
  Session session;
  requireTask(session, strTask);
  const RenameLock lock(session, {strTask}, DELETED);
  changeSubtree(strTask, "delete", [&](Session& own) {
    Json::Value jIn(Json::objectValue);
    jIn["task_name"] = strTask;
    return recDelete(own.tasks(), jIn, own.db());
  });
  std::string strOutput = putOutputAside(strTask);
  lock.makeSure();
  return strOutput;
}

std::vector<std::string> checkRename(const std::string& strTask, const std::string& strNew) {
  Session session;
  checkName(session, strTask, strNew);
  return RenameLock(session, {strTask}, RENAMED).dependants();
}

void renameTask(const std::string& strTask, const std::string& strNew) {
  Session session;
  checkName(session, strTask, strNew);
  const RenameLock lock(session, {strTask, strNew}, RENAMED);
  checkName(session, strTask, strNew);
  FolderMove move(strTask, strNew);
  changeSubtree(strTask, "rename", [&](Session& own) {
    MoveAtCommit atCommit(own.db(), move);
    Json::Value jIn(Json::objectValue);
    jIn["task_name"] = strNew;
    jIn["old_task_name"] = strTask;
    const int iResult = recUpdate(own.tasks(), jIn, own.db());
    atCommit.finish(iResult >= 0);
    return iResult;
  });
  lock.makeSure();
}

}  // namespace Host

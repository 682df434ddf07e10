#include "subtree_change.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <functional>
#include <optional>
#include <sqlite3.h>
#include <thread>
#include <vector>

#include "eorvascheduler.h"

#include "depend_text.h"
#include "failure.h"
#include "json_read.h"
#include "output_folder.h"
#include "session.h"

namespace Host {

namespace {

constexpr auto BUSY_LIMIT = std::chrono::seconds(10);

/// The library changes the first copy of an entry alone, and a second one would wait for a task that is gone.
void refuseDoubleEntries(Session& session, const std::string& strTask) {
  for (const Json::Value& jTask : listTasks(session)) {
    const std::vector<std::string> vecNeeds = readDependText(textOf(jTask, "depend_on_task"));
    if (std::count(vecNeeds.begin(), vecNeeds.end(), strTask) > 1) {
      const std::string strOther = textOf(jTask, "task_name");
      throw Failure(
          fmt::format("the task \"{0}\" lists \"{1}\" twice: set its list anew, with 'eorva task edit {0} "
                      "--after {1} ...'",
                      strOther, strTask));
    }
  }
}

/// Makes a change that the library makes in a transaction of its own. It does not wait for other writers, and a
/// failure leaves its transaction open: so each try has a connection of its own.
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
      throw Failure(
          fmt::format("the store refused to {} the task \"{}\"; the reason is in the system log (--log-stdout "
                      "shows it here)",
                      szDo, strTask));
    }
    if (std::chrono::steady_clock::now() > deadline) {
      throw Failure(fmt::format("cannot {} the task \"{}\": other processes keep writing to the store", szDo, strTask));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
  }
}

std::optional<OutputFolder> folderPlace(const std::string& strTask) {
  return OutputFolder::isFolderName(strTask) ? OutputFolder::place() : std::nullopt;
}

}  // namespace

std::string deleteTask(const std::string& strTask) {
  changeSubtree(strTask, "delete", [&](Session& session) {
    Json::Value jIn(Json::objectValue);
    jIn["task_name"] = strTask;
    return recDelete(session.tasks(), jIn, session.db());
  });
  // The task is gone; a folder that cannot be moved does not bring it back.
  try {
    const std::optional<OutputFolder> folder = folderPlace(strTask);
    const std::string strAside = folder ? folder->moveAside(strTask) : std::string();
    return strAside.empty() ? std::string() : fmt::format("its output is kept in {}", strAside);
  } catch (const Failure& error) {
    return fmt::format("its output stays where it is: {}", error.what());
  }
}

void renameTask(const std::string& strTask, const std::string& strNew) {
  const std::optional<OutputFolder> folder = folderPlace(strTask);
  const bool blMoved = folder && folder->rename(strTask, strNew);
  try {
    changeSubtree(strTask, "rename", [&](Session& session) {
      Json::Value jIn(Json::objectValue);
      jIn["task_name"] = strNew;
      jIn["old_task_name"] = strTask;
      return recUpdate(session.tasks(), jIn, session.db());
    });
  } catch (...) {
    if (blMoved) {
      folder->rename(strNew, strTask);
    }
    throw;
  }
}

}  // namespace Host

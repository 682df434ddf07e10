/// \file records.h
/// Reading the records of tasks and runs.

#pragma once

#include <functional>
#include <json/value.h>
#include <memory>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Host {

class Session;

/// The store, open for as long as this lives. Replaces a Session where the header of that is not needed.
class OpenStore {
public:
  /// \throw Failure when there is no store, or when it cannot be opened.
  OpenStore();
  ~OpenStore();

  operator Session&() const { return *m_pSession; }

private:
  std::unique_ptr<Session> m_pSession;
};

/// Lists tasks in the order of their names.
/// \throw Failure when the store fails; here and below.
Json::Value listTasks(Session& session, const Json::Value& jFilter = Json::Value(Json::objectValue));

/// Names of members of records.
using Members = std::vector<const char*>;

/// All members of a task record.
extern const Members TASK_MEMBERS;

/// \name Tasks in the order of their names, with some of their members: without scripts, thousands of them are cheap
/// \param strWhere  a WHERE text.
/// @{
void forEachTask(Session& session, const Members& members, const std::string& strWhere,
                 const std::function<void(Json::Value&&)>& fnTask);
Json::Value listTaskMembers(Session& session, const Members& members, const std::string& strWhere = "1");
/// @}

/// WHERE texts for one task, for several, and for the tasks of an event.
std::string whereTask(const std::string& strTask);
std::string whereTasks(const std::set<std::string>& setTasks);
std::string whereEvent(const std::string& strEvent);

/// A WHERE text for tasks with a member that begins with a text.
std::string whereBegins(const char* szMember, const std::string& strBegin);

/// A WHERE text that all tasks match which wait for a task, and perhaps others.
std::string whereAwaits(const std::string& strTask);

/// Lists those of the named tasks that are there, in the order of their names, without scripts, so it is cheap. The
/// members: task_name, event, depend_on_task, enable, owner, owner_name, run_the_same_time, time_limit,
/// output_limit, directory, nice, io_class, memory_limit, environment, only_after_success,
/// retries, retry_after.
Json::Value listRelations(Session& session, const std::set<std::string>& setNames);

/// The names of all tasks, in their order.
std::vector<std::string> taskNames(Session& session);

/// The names of the tasks of an event, in their order.
std::vector<std::string> taskNames(Session& session, const std::string& strEvent);

/// The events that have tasks.
std::set<std::string> eventNames(Session& session);

/// A task that waits for others.
struct WaitingTask {
  std::string strName;
  std::string strDepend;  ///< the list as it is stored
};
std::vector<WaitingTask> waitingTasks(Session& session);

/// Lists tasks, or gives one, in a session of its own.
Json::Value listTasks();
Json::Value requireTask(const std::string& strTask);

/// The uids that own these tasks; -1 stands for those without one. \param jTasks  array of stored task records.
std::set<Json::Int64> ownersOf(const Json::Value& jTasks);

/// Gives one task, or null.
Json::Value findTask(Session& session, const std::string& strTask);

/// Gives one task. \throw Failure when there is none.
Json::Value requireTask(Session& session, const std::string& strTask);

/// Gives a text as an SQL literal, for a WHERE text.
std::string sqlText(const std::string& strText);

/// Lists run records by a WHERE text, the oldest first.
/// \param cNewest  how many at most, the newest of those that match; 0 lists all.
Json::Value listRuns(Session& session, const std::string& strWhere, unsigned cNewest = 0);

/// The newest run of each task that has one, with some of its members.
void forEachNewestRun(Session& session, const Members& members, const std::function<void(Json::Value&&)>& fnRun);

/// Tells whether a WHERE text matches any run record.
bool hasRun(Session& session, const std::string& strWhere);

/// Gives one run record. \throw Failure when there is none.
Json::Value requireRun(Session& session, Json::Int64 iRun);

/// The process id in a run record; 0 when it has none.
pid_t pidOf(const Json::Value& jRun);

}  // namespace Host

/// \file retries.h
/// Which tasks of an execution are run again after a failure.

#pragma once

#include <chrono>
#include <json/value.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Host {

/// A retry is open from the end of the run that failed to the end of the last try. Until then, the tasks that wait for
/// the task do not start.
class Retries {
public:
  using Clock = std::chrono::steady_clock;

  /// Tells the record of a new run which try it is.
  void begin(const std::string& strTask, Json::Value& jRun);

  /// The number of the run that has begun last.
  void setNumber(const std::string& strTask, Json::Int64 iRun);

  /// A run has ended. Opens a retry if it failed by itself and its task has tries left.
  /// \param jEnd      the members of its record that tell how it ended.
  /// \param cRetries  of its task.
  /// \param after     the time until the next try.
  /// \return whether there is one.
  bool end(const std::string& strTask, const Json::Value& jEnd, Json::Int64 cRetries, std::chrono::seconds after);

  /// Takes the tasks that are due. A task that does not begin then is given up when it is asked for again.
  std::vector<std::string> takeDue();

  /// Makes a task due now that is waiting.
  void hasten(const std::string& strTask);

  /// No more tries of a task.
  void giveUp(const std::string& strTask);

  bool isOpen(const std::string& strTask) const;

  /// The number of tries so far.
  Json::Int64 triesOf(const std::string& strTask) const;

  /// When the next task is due; nothing when none is waiting.
  std::optional<Clock::time_point> due() const;

private:
  struct Task {
    Json::Int64 cTries = 0;
    Json::Int64 iFirst = 0;  ///< number of the first run
    std::optional<Clock::time_point> due;
    bool blOpen = false;
  };

  std::map<std::string, Task> m_mapTasks;
};

}  // namespace Host

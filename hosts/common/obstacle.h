/// \file obstacle.h
/// What keeps a task from being started.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "task_graph.h"

namespace Host {

struct Obstacle {
  std::string strCode;    ///< a word for programs, stable
  std::string strText;    ///< goes on after the name of the task: "is disabled"
  std::string strAdvice;  ///< what to type; may be empty
  std::string strOther;   ///< the task that it is about, when that is another one
};

/// Says why a task is not started when its event is fired, as far as the tasks themselves tell.
///
/// The codes: "disabled"; "malformed", a list that names nobody; "missing", "circle", "other_event", "need_disabled"
/// and "need_blocked", about a task that it waits for.
/// \return empty when it is started.
std::vector<Obstacle> obstaclesOf(const TaskGraph& graph, const GraphTask& task);

/// For programs.
Json::Value obstacleForPrograms(const Obstacle& obstacle);

}  // namespace Host

/// \file farewell.h
/// The message when a display is interrupted while its execution continues.

#pragma once

#include <json/value.h>
#include <map>
#include <sys/types.h>
#include <vector>

/// Handles termination signals: prints how to follow and stop the execution, then exits. Signals that were ignored stay
/// ignored.
class Farewell {
public:
  explicit Farewell(pid_t pidWatch);
  ~Farewell();
  Farewell(const Farewell&) = delete;
  Farewell& operator=(const Farewell&) = delete;

  /// The runs so far, by their numbers.
  void setRuns(const std::map<Json::Int64, Json::Value>& mapRuns);

private:
  pid_t m_pidWatch;
  std::vector<int> m_vecChanged;
};

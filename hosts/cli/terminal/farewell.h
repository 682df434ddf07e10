/// \file farewell.h
/// The last words of a display that is ended while what it shows goes on.

#pragma once

#include <json/value.h>
#include <map>
#include <sys/types.h>
#include <vector>

/// While an execution is under way, what ends this process tells how it is looked at, and ended, from now on. What the
/// process was told to ignore it goes on ignoring.
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

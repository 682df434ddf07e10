/// \file stored.h
/// Records for tests.

#pragma once

#include <json/value.h>
#include <string>
#include <sys/types.h>

namespace Host {
class Session;
}

namespace HostTest {

/// Adds an enabled task of root for the event "bootup".
void addTask(const Host::Session& session, const std::string& strTask, const std::string& strScript = "true",
             const Json::Value& jMore = Json::Value());

/// Adds an open run that has just begun. \return its number.
Json::Int64 addRun(const Host::Session& session, const std::string& strTask, pid_t pid,
                   const Json::Value& jMore = Json::Value());

/// Changes a run. \throw std::runtime_error
void changeRun(const Host::Session& session, Json::Int64 iRun, const Json::Value& jUpdate);

}  // namespace HostTest

/// \file state_document.h
/// Everything about a server that is set by hand: its tasks and its configuration, as one document that is the same
/// for the same state.
///
///     version: 1
///     configuration:
///       output_path: scheduler
///       retention_runs: 100
///     tasks:
///       backup:
///         event: daily
///         owner: alice
///         waits_for: [check-disk]
///         script: |
///           #!/bin/sh
///           tar -cf /srv/backup.tar /home
///     ...
///
/// The last line tells that nothing is missing.
/// Of a task, `event`, `owner` and a script are required. The rest is absent where it is usual: `enable: true`,
/// `waits_for: []`, `description: ""`, `time_limit: 0`, `run_the_same_time: false`, `notify_enable: false`,
/// `notify_if_error: false`, `notify_mail: ""`, `operation_type: script`. A script that is no text in UTF-8 is
/// `script_base64`.

#pragma once

#include <json/value.h>
#include <map>
#include <string>
#include <vector>

#include "common/config/configuration.h"

namespace Host {

class Session;

struct StateDocument {
  ConfigValues config;                          ///< what is not set stays as it is
  std::map<std::string, Json::Value> mapTasks;  ///< records in the form of the user interface, by name
  bool blTasks = true;                          ///< false for a document that does not speak of tasks
};

bool operator==(const StateDocument& left, const StateDocument& right);

/// The state of this server.
StateDocument currentState(Session& session);

/// The document, in YAML. \throw Failure when a task cannot be written as text.
std::string stateText(const StateDocument& state);

/// The document, in JSON.
Json::Value stateJson(const StateDocument& state);

/// Reads a document in YAML or JSON.
/// \param vecErrors  receives what is wrong with its shape; what can be read is given all the same.
/// \throw Failure when it is neither.
StateDocument readState(const std::string& strText, std::vector<std::string>& vecErrors);

}  // namespace Host

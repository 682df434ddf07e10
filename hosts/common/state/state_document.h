/// \file state_document.h
/// The tasks, the events and the configuration of a server as one document. The same state gives the same document.
///
///     version: 1
///     configuration:
///       output_path: scheduler
///       retention_runs: 100
///     events:
///       daily:
///         enabled: true
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
/// Without the last line the document is incomplete.
/// A task needs `event`, `owner` and a script. Members with defaults are left out: `enabled: true`,
/// `waits_for: []`, `description: ""`, `time_limit: 0s`, no `output_limit`, `directory: /`, `nice: 0`, `io_class:
/// none`, `memory_limit: 0`, `environment: {}`, `only_after_success: false`, `retry: 0`, `retry_after: 1m`, `parallel:
/// false`, `mail: ""`, `mail_if_error: false`, `operation_type: script`. `send_mail` says whether a task sends mail;
/// the default is true with `mail`, else false. A script that is not UTF-8 is `script_base64`. event_section.h
/// describes the events.

#pragma once

#include <json/value.h>
#include <map>
#include <string>
#include <vector>

#include "common/config/configuration.h"
#include "common/events/own_events.h"

namespace Host {

class Session;

struct StateDocument {
  ConfigValues config;                          ///< settings that are missing are unchanged
  EventsByName events;                          ///< settings of events; without those of events that are not installed
  std::map<std::string, Json::Value> mapTasks;  ///< records in the form of the user interface, by name
  bool blTasks = true;                          ///< false for a document without tasks
  bool blEvents = true;                         ///< false for a document without events
};

bool operator==(const StateDocument& left, const StateDocument& right);

/// The state of this server; without a session, in one of its own.
StateDocument currentState(Session& session);
StateDocument currentState();

/// The document, in YAML. \throw Failure when a task cannot be written as text.
std::string stateText(const StateDocument& state);

/// The document, in JSON.
Json::Value stateJson(const StateDocument& state);

/// Reads a document in YAML or JSON.
/// \param vecErrors  receives faults of its structure; the rest is read.
/// \throw Failure when it is neither.
StateDocument readState(const std::string& strText, std::vector<std::string>& vecErrors);

}  // namespace Host

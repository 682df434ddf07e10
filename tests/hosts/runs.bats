#!/usr/bin/env bats
# Run records.

load common

setup() { fresh_store; }

@test "the table shows the newest run first" {
  add_task one bootup alice 'exit 0'
  add_task two bootup bob 'exit 2' --after one
  run -3 eorva fire bootup
  run -0 eorva runs list
  [[ ${lines[0]} =~ RUN\ +TASK\ +OWNER\ +TRIGGER\ +START\ +STOP\ +TIME\ +HOW\ IT\ ENDED$ ]]
  [[ ${lines[1]} =~ 2\ +two\ +bob\ +bootup\ +[0-9-]+\ [0-9:]+\ +[0-9-]+\ [0-9:]+\ +[0-9]+\ s\ +exit\ 2\ or\ signal\ 2\ \(SIGINT\)$ ]]
  [[ ${lines[2]} =~ 1\ +one\ +alice\ +bootup\ .*exit\ 0$ ]]
}

@test "the record has these members and no others" {
  add_task one bootup alice 'exit 0'
  run -0 eorva run one
  run -0 eorva runs list --json
  same "members" '["duration","event_fire_time","exit_info","extra","outcome","outcome_text","owner_name","pid","result_id","run_time_env","start_time","stop_time","task_name","trigger_event"]' \
    "$(jq -c '.[0] | del(.boot_id, .start_ticks) | keys' <<<"$output")"
  same "types" '["number","number","object","string","number"]' \
    "$(jq -c '.[0] | [.duration, .start_time, .exit_info, .outcome, .result_id] | map(type)' <<<"$output")"
}

@test "a run that does not exist is named" {
  local command
  for command in show output script; do
    run -1 --separate-stderr eorva runs "$command" 4711
    complains "there is no run 4711"
  done
}

@test "show explains one run" {
  add_task three bootup alice 'exit 3'
  run -3 eorva run three
  run -0 eorva runs show 1
  says "task:          three"
  says "trigger:       on_demand"
  says "exit 3, exit 131 or signal 3 (SIGQUIT)"
}

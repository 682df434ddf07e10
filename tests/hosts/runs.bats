#!/usr/bin/env bats
# Run records.

load common

setup() { fresh_store; }

@test "the table shows the newest run first" {
  add_task one bootup alice 'exit 0'
  add_task two bootup bob 'exit 255' --after one
  run -3 eorva fire bootup
  run -0 eorva runs list
  [[ ${lines[0]} =~ RUN\ +TASK\ +OWNER\ +TRIGGER\ +START\ +STOP\ +TIME\ +HOW\ IT\ ENDED$ ]]
  [[ ${lines[1]} =~ 2\ +two\ +bob\ +bootup\ +[0-9-]+\ [0-9:]+\ +[0-9-]+\ [0-9:]+\ +[0-9]+s\ +exit\ 255$ ]]
  [[ ${lines[2]} =~ 1\ +one\ +alice\ +bootup\ .*exit\ 0$ ]]
}

@test "the record has these members and no others" {
  add_task one bootup alice 'exit 0'
  run -0 eorva run one
  run -0 eorva runs list --json
  same "members" '["attempt","cpu_seconds","directory_error","duration","end","event_fire_time","exit_info","extra","io_read","io_written","memory_peak","out_of_memory","outcome","outcome_text","output_cut","owner","owner_name","pid","result_id","retry_of","run_time_env","start_time","stop_time","task_name","trigger_event"]' \
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
  shows_member "task" "three"
  shows_member "trigger" "on_demand"
}

@test "a record of another program does not tell exit 3 from signal 3" {
  add_task three bootup alice 'exit 3'
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, stop_time, exit_info)
    values ('three', 3600, 3700, '{\"exit_code\":3,\"exit_type\":\"by_signal\"}')"
  run -0 eorva runs show 1
  shows_member "how it ended" "exit 3, exit 131 or signal 3 (SIGQUIT): the record does not tell which"
  shows_member "CPU time" "-"
  says $'disk I/O:      -\n'
  run -0 eorva runs list
  [[ ${lines[1]} == *" 1m40s exit or signal 3" ]]
  same "for programs" '[null,null,"failed"]' "$(eorva runs show 1 --json | jq -c '[.end, .cpu_seconds, .outcome]')"
}

@test "show has the costs of a run" {
  add_task heavy bootup alice 'exit 0'
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, stop_time, shell_status, cpu_usec, memory_peak,
    io_read, io_written) values ('heavy', 3600, 3700, 0, 12345678, 1610612736, 4096, 0)"
  run -0 eorva runs show 1
  shows_member "CPU time" "12.3s"
  shows_member "peak memory" "1.5 GiB"
  says "disk I/O:      4.0 KiB read, 0 B written"
  same "for programs" '"cpu_seconds" : 12.345678,' "$(eorva runs show 1 --json | grep -o '"cpu_seconds".*')"
  same "the others" '[1610612736,4096,0]' "$(eorva runs show 1 --json | jq -c '[.memory_peak, .io_read, .io_written]')"
}

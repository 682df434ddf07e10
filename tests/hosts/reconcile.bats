#!/usr/bin/env bats
# Runs whose process has ended.

load common

setup() {
  fresh_store
  add_task long bootup alice 'echo $$ >/tmp/pid; exec sleep 300'
  add_task quick other bob 'exit 0'
  chmod 1777 /tmp
  rm -f /tmp/pid
}

teardown() { pkill -u alice sleep || true; }

# Starts the long task in the background; sets display, watch, execution and child, each the parent of the next.
start_long() {
  eorva run long >long.out 2>long.err 3>&- &
  display=$!
  wait_until runs_are 1
  wait_until test -s /tmp/pid
  child=$(field 1 pid)
  execution=$(parent_of "$child")
  watch=$(parent_of "$execution")
}

# Reads the store directly: eorva would close a run whose process has ended.
is_open() { [[ $(sqlite3 "$DATABASE" 'select stop_time is null from task_result where result_id = 1') == 1 ]]; }

@test "a run whose processes were all killed is closed by the next event" {
  start_long
  kill -9 "$display" "$watch" "$execution" "$child" "$(cat /tmp/pid)"
  wait "$display" || true
  wait_until gone "$child"
  is_open
  same "running list" "[$child]" "$(eorva task show long --json | jq -c .status.running)"
  run -0 --separate-stderr eorva fire other
  complains 'run 1 of "long", started '
  complains 'was interrupted; it is closed now'
  same "exit information" '{"exit_type":"interrupted"}' "$(field 1 exit_info)"
  same "outcome" '"interrupted"' "$(field 1 outcome_text)"
  same "task" '[{"running":[]},{"exit_type":"interrupted"},true]' \
    "$(eorva task show long --json | jq -c '[.status, .last_exit_info, (.last_stop_time > 0)]')"
  run -0 --separate-stderr eorva fire other
  same "said again" "" "$stderr"
  same "left of executions" "" "$(ls -A /run/eorva/executions)"
}

@test "when an execution is killed, its watch ends and closes its runs" {
  start_long
  local identity='[.boot_id, .start_ticks]' process
  process=[\"$(cat /proc/sys/kernel/random/boot_id)\",$(sed 's/.*) //' "/proc/$child/stat" | cut -d ' ' -f 20)]
  same "its process" "$process" "$(eorva runs show 1 --json | jq -c "$identity")"
  kill -9 "$execution"
  local status=0
  wait "$display" || status=$?
  same "answer" 1 "$status"
  grep -q "the execution was killed by signal 9 (SIGKILL)" long.err
  grep -q 'run 1 of "long" could not be closed in time; it is closed now' long.err
  same "left of it" "" "$(pgrep -u alice || true)"
  same "outcome" '"interrupted"' "$(field 1 outcome_text)"
  same "its process" "$process" "$(eorva runs show 1 --json | jq -c "$identity")"
  same "left in /tmp" "" "$(find /tmp -maxdepth 1 -name 'eorvascheduler*')"
  same "left of executions" "" "$(ls -A /run/eorva/executions)"
}

@test "when a watch is killed, its execution ends, and the next command ends and closes the runs" {
  start_long
  kill -9 "$watch"
  local status=0
  wait "$display" || status=$?
  same "answer" 1 "$status"
  wait_until gone "$execution"
  is_open
  run -0 --separate-stderr eorva fire other
  complains "was interrupted"
  same "left of it" "" "$(pgrep -u alice || true)"
  same "outcome" '"interrupted"' "$(field 1 outcome_text)"
  same "left in /tmp" "" "$(find /tmp -maxdepth 1 -name 'eorvascheduler*')"
  same "left of executions" "" "$(ls -A /run/eorva/executions)"
}

@test "an unreadable status is repaired, and its other members are kept" {
  local damaged
  for damaged in '{"running":7,"kept":1}' '{"running":null,"kept":1}' '{"running":{"a":1},"kept":1}' \
    '{"running":"x","kept":1}' '{"running":[-5,"x",4000000],"kept":1}'; do
    sqlite3 "$DATABASE" "update task set status = '$damaged' where task_name = 'quick'"
    run -0 eorva fire other
    sqlite3 "$DATABASE" "update task set status = '$damaged' where task_name = 'long'"
    run -0 eorva fire other
    same "after $damaged" '{"kept":1,"running":[]}' "$(eorva task show long --json | jq -cS .status)"
  done
  for damaged in '[]' '7' '"x"'; do
    sqlite3 "$DATABASE" "update task set status = '$damaged' where task_name = 'quick'"
    run -0 eorva fire other
    says "event other: 1 run, 1 ok"
  done
}

@test "the execution closes a run whose process was killed" {
  start_long
  kill -9 "$child"
  local status=0
  wait "$display" || status=$?
  same "answer" 3 "$status"
  same "outcome" '"killed"' "$(field 1 outcome_text)"
  same "running list" '{"running":[]}' "$(eorva task show long --json | jq -c .status)"
}

@test "a process id reused by another process does not block a task" {
  start_long
  kill -9 "$display" "$watch" "$execution" "$child" "$(cat /tmp/pid)"
  wait "$display" || true
  wait_until gone "$child"
  # As after a reboot: the process id belongs to another process.
  sqlite3 "$DATABASE" "update task_result set pid = $$; update task set status = '{\"running\":[$$]}' where task_name = 'long'"
  run -0 --separate-stderr eorva fire other
  complains "was interrupted"
  same "running list" '{"running":[]}' "$(eorva task show long --json | jq -c .status)"
}

@test "a process id reused by an eorva command does not block a task" {
  add_task other-long busy bob 'exit 0'
  start_long
  # As after a reboot: the process id belongs to a process of a later execution.
  local number
  for number in $display $watch $execution; do
    sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, pid, exit_info) values ('other-long', 1, $number, '{}');
      update task set status = '{\"running\":[$number]}' where task_name = 'other-long'"
  done
  run -0 --separate-stderr eorva fire other
  same "closed" '["interrupted","interrupted","interrupted"]' \
    "$(eorva runs list --task other-long --json | jq -c '[.[].outcome_text]')"
  same "running list" '{"running":[]}' "$(eorva task show other-long --json | jq -c .status)"
  is_open
  kill "$(cat /tmp/pid)"
  wait
}

@test "of two open runs with one process id, only the newer is alive" {
  start_long
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, pid, exit_info, trigger_event) select task_name, start_time, pid, '{}', trigger_event from task_result;
    update task_result set start_time = start_time - 1000 where result_id = 1"
  run -0 --separate-stderr eorva fire other
  complains 'run 1 of "long"'
  same "the newer" '"running"' "$(field 2 outcome)"
  same "the task's last end" 0 "$(eorva task show long --json | jq .last_stop_time)"
  kill "$(cat /tmp/pid)"
  wait
}

@test "a run is left to the execution that is about to close it" {
  # As between the end of the process and the closing of its record.
  mkdir -p /run/eorva/executions
  bash -c 'exit 0' &
  local dead=$! holder
  wait "$dead"
  printf 'after 0\nrun %s 0\n' "$dead" >/run/eorva/executions/under-way
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, pid, exit_info) values ('long', 1, $dead, '{}');
    update task set status = '{\"running\":[$dead]}' where task_name = 'long'"
  flock --no-fork /run/eorva/executions/under-way sleep 300 3>&- &
  holder=$!
  wait_until eval '! flock --nonblock /run/eorva/executions/under-way true'
  run -0 --separate-stderr eorva fire other
  same "standard error" "" "$stderr"
  is_open
  same "running list" "[$dead]" "$(eorva task show long --json | jq -c .status.running)"
  kill "$holder"
  wait_until gone "$holder"
  run -0 --separate-stderr eorva fire other
  complains "was interrupted"
  same "left of executions" "" "$(ls -A /run/eorva/executions)"
}

@test "runs of a running execution are not closed" {
  add_task brief busy alice 'exit 0' --parallel
  local i
  for i in 1 2 3; do
    (for round in 1 2 3; do eorva fire busy; done) >busy.$i 2>&1 3>&- &
  done
  for i in 1 2 3; do
    eorva fire other >>other.out 2>&1
  done
  wait
  ! grep -l interrupted busy.* other.out
  same "interrupted" 0 "$(eorva runs list --limit 0 --json | jq '[.[] | select(.outcome_text == "interrupted")] | length')"
}

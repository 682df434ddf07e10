#!/usr/bin/env bats
# Starts and changes at the same time.

load common

setup() { fresh_store; }

# locked FILE_OFFSETS: the number of locks, by kind.
locks() {
  local inode
  inode=$(stat -c %i /run/eorva/task-locks)
  awk -v inode=":$inode\$" '$2 == "OFDLCK" && $6 ~ inode { n[$4]++ } END { printf "read %d, write %d", n["READ"], n["WRITE"] }' /proc/locks
}

@test "an execution announces its tasks, and withdraws each when it has started" {
  add_task first bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  add_task second bootup alice 'while [ ! -e /tmp/go2 ]; do sleep 0.1; done' --after first
  add_task third bootup alice 'exit 0' --after second
  rm -f /tmp/go2
  eorva fire bootup >/dev/null 3>&- &
  wait_until runs_are 1
  wait_until eval '[[ $(locks) == "read 2, write 0" ]]'
  touch /tmp/go
  wait_until runs_are 2
  wait_until eval '[[ $(locks) == "read 1, write 0" ]]'
  touch /tmp/go2
  wait
  same "left of the locks" "read 0, write 0" "$(locks)"
}

@test "tasks stay announced when the display is killed, and scripts do not hold their locks" {
  add_task first bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done; setsid sleep 300 >/dev/null 2>&1 &'
  add_task second bootup alice 'exit 0' --after first
  eorva fire bootup >/dev/null 3>&- &
  local display=$!
  wait_until runs_are 1
  wait_until eval '[[ $(locks) == "read 1, write 0" ]]'
  kill -9 "$display"
  wait "$display" || true
  same "the display is gone" "read 1, write 0" "$(locks)"
  touch /tmp/go
  wait_until runs_are 2
  wait_until eval '[[ $(locks) == "read 0, write 0" ]]'
  pkill -u alice sleep
}

@test "of 20 simultaneous starts of a task, one runs and the others are refused" {
  add_task single bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  local i
  for i in {1..20}; do
    eorva run single >/dev/null 2>"refused.$i" 3>&- &
  done
  all_refused() { [[ $(cat refused.* | grep -c 'is running already') == 19 ]]; }
  wait_until all_refused
  same "runs" 1 "$(eorva runs list --json | jq length)"
  touch /tmp/go
  wait
}

@test "of 10 simultaneous events, one starts the task" {
  add_task single bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  local i
  for i in {1..10}; do
    eorva fire bootup >"fired.$i" 3>&- &
  done
  nine_over() { [[ $(cat fired.* | grep -c 'not started (single') == 9 ]]; }
  wait_until nine_over
  same "runs" 1 "$(eorva runs list --json | jq length)"
  touch /tmp/go
  wait
}

@test "a run that starts while restore asks makes it fail" {
  add_task slow bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  eorva backup kept.db >/dev/null
  mkfifo answer
  script -qec 'eorva restore kept.db' /dev/null <answer >asked 2>&1 3>&- &
  local restore=$! status=0
  exec 4>answer
  wait_until grep -q 'Restore it?' asked
  eorva run slow >/dev/null 3>&- 4>&- &
  wait_until runs_are 1
  echo y >&4
  exec 4>&-
  wait "$restore" || status=$?
  same "answer" 1 "$status"
  grep -q 'cannot restore while run 1 is running' asked
  touch /tmp/go
  wait
  same "the run is known" '"ok"' "$(field 1 outcome)"
}

@test "an event fired during a restore waits, and runs the restored tasks" {
  add_task one bootup alice 'echo as it was'
  eorva backup kept.db >/dev/null
  eorva task delete one --yes >/dev/null
  add_task one bootup bob 'echo as it came later'
  # Another writer holds the store, so that the restore waits halfway.
  mkfifo hold
  sqlite3 "$DATABASE" <hold >held 3>&- &
  exec 4>hold
  echo 'begin immediate; select 1;' >&4
  wait_until test -s held
  eorva restore kept.db --yes >/dev/null 3>&- 4>&- &
  local restore=$!
  wait_until eval '[[ $(locks) == "read 0, write 1" ]]'
  kill -STOP "$restore"
  exec 4>&-
  eorva fire bootup >fired 3>&- &
  local fire=$!
  waits() { [[ $(readlink /proc/"$fire"/fd/*) == *task-locks* ]]; }
  wait_until waits
  same "runs meanwhile" 0 "$(eorva runs list --json | jq length)"
  kill -CONT "$restore"
  wait "$restore"
  wait "$fire"
  same "run" '["ok","alice"]' "$(eorva runs show 1 --json | jq -c '[.outcome, .owner_name]')"
  same "output" "as it was" "$(eorva runs output 1)"
  wait
}

# go_on_together COUNT SCRIPT [OPTION...]: COUNT executions of bootup reach the task "second" at the same moment.
go_on_together() {
  local i count=$1 script=$2
  shift 2
  add_task first bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done' --parallel
  add_task second bootup alice "$script" --after first "$@"
  for ((i = 1; i <= count; i++)); do
    eorva fire bootup >"fired.$i" 3>&- &
  done
  wait_until runs_are "$count"
  touch /tmp/go
}

@test "of 4 executions that reach a task at the same moment, one starts it" {
  rm -f /tmp/go2
  go_on_together 4 'while [ ! -e /tmp/go2 ]; do sleep 0.1; done'
  three_over() { [[ $(cat fired.* | grep -c 'not started (second') == 3 ]]; }
  wait_until three_over
  same "runs of second" 1 "$(eorva runs list --task second --json | jq length)"
  touch /tmp/go2
  wait
}

@test "4 executions that reach a parallel task at the same moment start it in different seconds" {
  go_on_together 4 'exit 0' --parallel
  wait
  same "starts of second" 4 "$(eorva runs list --task second --json | jq '[.[].start_time] | unique | length')"
  same "locks" "read 0, write 0" "$(locks)"
}

@test "a task added during an execution of its event is announced, and gets its folder before it starts" {
  rm -f /tmp/go2
  add_task first bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  eorva fire bootup >fired 3>&- &
  wait_until runs_are 1
  add_task late bootup bob 'while [ ! -e /tmp/go2 ]; do sleep 0.1; done' --after first
  rm -rf "${KEPT:?}/late"
  touch /tmp/go
  wait_until runs_are 2
  same "folder of late" "bob 700" "$(stat -c '%U %a' "$KEPT/late")"
  touch /tmp/go2
  wait
  same "late" '"ok"' "$(eorva runs list --task late --json | jq '.[0].outcome')"
}

STARTS=1000

@test "$STARTS starts by 4 executions at once: each run of a task starts in its own second" {
  local i
  jq -n --argjson count $((STARTS / 4)) '{version: 1, tasks: ([range($count)] | map({key: "root\(.)", value:
    {event: "bootup", owner: "alice", script: "exit 0", run_the_same_time: true}}) | from_entries)}' >tasks.json
  eorva apply tasks.json --yes >/dev/null
  for i in {1..4}; do
    eorva fire bootup >"fired.$i" 3>&- &
  done
  wait
  same "runs in seconds of their own" "$STARTS" \
    "$(eorva runs list --limit 0 --json | jq '[.[] | [.task_name, .start_time]] | unique | length')"
  same "run folders" "$STARTS" "$(find "$KEPT" -mindepth 2 -maxdepth 2 -name '[0-9]*' | wc -l)"
}

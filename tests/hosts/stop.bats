#!/usr/bin/env bats
# Runs that are ended early.

load common

setup() { fresh_store; }

teardown() { pkill -KILL -u alice,bob || true; }

# Processes that are hard to end: own sessions, no parents, and TERM ignored.
STUBBORN='trap "" TERM
(setsid sh -c "trap \"\" TERM; (trap \"\" TERM; sleep 401 & ); sleep 402" &)
setsid -f sh -c "trap \"\" TERM; setsid -f sleep 403; sleep 404"
touch /tmp/go
sleep 405'

alice_has() { [[ $(pgrep -u alice sleep | wc -l) == "$1" ]]; }

# start TASK [OPTION...]: runs a task in the background until it has begun.
start() {
  eorva run "$@" >"$1.out" 2>"$1.err" 3>&- &
  display=$!
  wait_until test -e /tmp/go
}

@test "a run is ended with all processes of its script, also after double forks and in own sessions" {
  add_task stubborn bootup alice "$STUBBORN"
  chmod 1777 /tmp
  start stubborn
  wait_until alice_has 5
  run -0 eorva stop 1 --grace 1
  same "said" "run 1 of stubborn: stopped" "$output"
  same "left of it" "" "$(pgrep -u alice || true)"
  same "record" '["stopped",{},"failed"]' \
    "$(eorva runs show 1 --json | jq -c '[.ended_by, .exit_info, .outcome]')"
  local status=0
  wait "$display" || status=$?
  same "answer of the execution" 3 "$status"
  grep -q 'stubborn: stopped, after' stubborn.out
  same "running list" '{"running":[]}' "$(eorva task show stubborn --json | jq -c .status)"
}

@test "a script may clean up on TERM, and the record tells how it ended" {
  add_task polite bootup alice 'trap "echo cleaned; exit 7" TERM; touch /tmp/go; while :; do sleep 0.1; done'
  chmod 1777 /tmp
  start polite
  run -0 eorva stop 1 --json
  same "record" '["stopped",7]' "$(jq -c '[.ended_by, .exit_info.exit_code]' <<<"$output")"
  wait "$display" || true
  [[ $(eorva runs output 1) == *cleaned ]]
}

@test "other runs of the same execution continue, and so do waiting tasks" {
  add_task one bootup alice 'touch /tmp/go; sleep 300'
  add_task two bootup alice 'while [ ! -e /tmp/go2 ]; do sleep 0.1; done; echo done'
  add_task then bootup bob 'echo after' --after one --after two
  chmod 1777 /tmp
  rm -f /tmp/go2
  eorva fire bootup >fired 3>&- &
  wait_until runs_are 2
  wait_until test -e /tmp/go
  run -0 eorva stop "$(run_of one)"
  same "two" '"running"' "$(field "$(run_of two)" outcome)"
  touch /tmp/go2
  wait
  same "then" '"ok"' "$(field "$(run_of "then")" outcome)"
  grep -q 'event bootup: 3 runs, 2 ok, 1 failed' fired
}

@test "a script that keeps starting processes is ended, too" {
  add_task restless bootup alice 'trap "" TERM; for i in 1 2 3 4 5 6 7 8 9 10; do
    (while :; do (setsid -f sleep 0.3); sleep 0.05; done) & done; touch /tmp/go; wait'
  chmod 1777 /tmp
  start restless
  run -0 eorva stop 1 --grace 0
  same "left of it" "" "$(pgrep -u alice || true)"
  wait "$display" || true
}

sleeps() { [[ $(cat "/proc/$1/wchan") == *nanosleep ]]; }

# held PID: the process waits for a writer of the pipe that it opens.
held() { [[ $(cat "/proc/$1/wchan") == wait_for_partner ]]; }

@test "a run whose script has not started yet is ended as soon as it starts" {
  add_task slow bootup alice 'touch /tmp/go; sleep 300'
  chmod 1777 /tmp
  # The process of the run waits for the groups of its user.
  cp /etc/group group.kept
  mkfifo /etc/group.held
  ln -sf group.held /etc/group
  eorva run slow >/dev/null 2>&1 3>&- &
  display=$!
  wait_until runs_are 1
  wait_until held "$(field 1 pid)"
  eorva stop 1 >stopped 3>&- &
  local stop=$!
  wait_until sleeps "$stop"
  cp group.kept /etc/group.new
  mv /etc/group.new /etc/group
  # Opened for reading and writing, so that it does not wait for a reader.
  cat group.kept 1<>/etc/group.held
  wait "$stop"
  wait "$display" || true
  rm /etc/group.held
  same "said" "run 1 of slow: stopped" "$(cat stopped)"
}

@test "ending a run that has ended changes nothing" {
  add_task quick bootup alice 'exit 0'
  eorva run quick >/dev/null
  run -0 --separate-stderr eorva stop 1
  complains "run 1 has ended already"
  same "record" '[null,"ok"]' "$(eorva runs show 1 --json | jq -c '[.ended_by, .outcome]')"
  run -1 --separate-stderr eorva stop 77
  complains "there is no run 77"
}

@test "a process that got a reused id is never signalled" {
  add_task long bootup alice 'touch /tmp/go; sleep 300'
  chmod 1777 /tmp
  start long
  sleep 300 3>&- &
  local other=$!
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, pid, exit_info) values ('long', 1, $other, '{}')"
  run -0 eorva stop 2 --grace 0
  same "outcome of the other" '"interrupted"' "$(field 2 outcome_text)"
  kill -0 "$other"
  # A run that is older than the execution that the process belongs to.
  sqlite3 "$DATABASE" "insert into task_result (result_id, task_name, start_time, pid, exit_info)
    select -5, 'long', 1, pid, '{}' from task_result where result_id = 1"
  run -0 eorva stop --grace 0 -- -5
  same "outcome of the older" interrupted "$(sqlite3 "$DATABASE" "select json_extract(exit_info, '$.exit_type') from task_result where result_id = -5")"
  same "the run goes on" '"running"' "$(field 1 outcome)"
  kill -0 "$(field 1 pid)"
  kill -9 "$other"
  eorva stop 1 --grace 0
  wait "$display" || true
}

@test "a script with many short background processes does not use up the process ids" {
  add_task leaver bootup alice 'i=0; while [ $i -lt 300 ]; do (true &); i=$((i + 1)); done; touch /tmp/go; while [ ! -e /tmp/go2 ]; do sleep 0.1; done'
  chmod 1777 /tmp
  rm -f /tmp/go2
  start leaver
  few_zombies() { [[ $(ps -o stat= --ppid "$(field 1 pid)" | grep -c '^Z') -lt 60 ]]; }
  wait_until few_zombies
  touch /tmp/go2
  wait
  same "outcome" '"ok"' "$(field 1 outcome)"
}

@test "a run can be stopped by the name of its task" {
  add_task it bootup alice 'touch /tmp/go; sleep 300'
  add_task other bootup alice 'exit 0'
  chmod 1777 /tmp
  start it
  run -0 --separate-stderr eorva stop other
  complains 'task "other" is not running'
  run -1 --separate-stderr eorva stop othr
  complains 'there is no task "othr"'
  run -0 eorva stop it --grace 0
  says "run 1 of it: stopped"
  wait "$display" || true
}

@test "a number is always that of a run; --task names a task that is a number" {
  add_task 17 bootup alice 'touch /tmp/go; sleep 300'
  chmod 1777 /tmp
  start 17
  run -1 --separate-stderr eorva stop 17
  complains 'there is no run 17; to stop the task "17": eorva stop --task 17'
  run -0 eorva stop --task 17 --grace 0s --json
  same "the run" '["17","stopped"]' "$(jq -c '[.task_name, .ended_by]' <<<"$output")"
  wait "$display" || true
}

@test "several runs of a task are stopped only with --all or after a question" {
  add_task many bootup alice 'sleep 300' --parallel
  eorva run many --detach >/dev/null
  wait_until runs_are 1
  eorva run many --detach >/dev/null
  wait_until runs_are 2
  run -1 --separate-stderr eorva stop many </dev/null
  complains '2 runs of task "many" are running: 2 (started '
  complains 'to stop all, add --all; to stop one, type its number'
  same "open" 2 "$(eorva runs list --running --json | jq length)"
  echo n >answer
  run -1 script -qec "eorva stop many" /dev/null <answer
  says "Stop all? [y/N]"
  says "no run was stopped"
  run -0 eorva stop many --all --grace 0
  says "run 1 of many: stopped"
  says "run 2 of many: stopped"
}

@test "a task is ended at its time limit" {
  add_task limited bootup alice 'sleep 300'
  add_task unlimited bootup alice 'sleep 5'
  add_task after bootup bob 'exit 0' --after limited
  sqlite3 "$DATABASE" "update task set time_limit = 2 where task_name = 'limited'"
  run -3 eorva fire bootup
  says "limited: time limit, after"
  same "record" '["time_limit",{"exit_code":15,"exit_type":"by_signal"}]' \
    "$(eorva runs show "$(run_of limited)" --json | jq -c '[.ended_by, .exit_info]')"
  same "unlimited" '"ok"' "$(field "$(run_of unlimited)" outcome)"
  same "after" '"ok"' "$(field "$(run_of after)" outcome)"
}

@test "the time limit works after the display has ended" {
  add_task limited bootup alice 'trap "" TERM; touch /tmp/go; sleep 300'
  chmod 1777 /tmp
  echo stop_grace=1 >/etc/eorva.conf
  sqlite3 "$DATABASE" "update task set time_limit = 3 where task_name = 'limited'"
  start limited
  kill -9 "$display"
  wait_until eval '[[ $(field 1 ended_by) == "\"time_limit\"" && $(field 1 outcome) == "\"failed\"" ]]'
  same "left of it" "" "$(pgrep -u alice || true)"
  rm /etc/eorva.conf
}

@test "when the budget of an event is used up, its runs are ended and closed, and no more tasks start" {
  add_task one bootup alice 'sleep 300'
  add_task two bootup bob 'trap "" TERM; setsid -f sleep 301; sleep 302'
  add_task quick bootup bob 'exit 0'
  add_task then bootup alice 'echo never' --after one
  echo stop_grace=1 >/etc/eorva.conf
  run -3 --separate-stderr eorva fire bootup --budget 4
  complains 'the event "bootup" took longer than 4s; its runs were ended'
  says "event bootup: 3 runs, 1 ok, 2 failed, 1 not started (then: out of time)"
  same "ended" '[["one","budget",15],["quick",null,0],["two","budget",null]]' \
    "$(eorva runs list --json | jq -c '[.[] | [.task_name, .ended_by, .exit_info.exit_code]] | sort')"
  same "left of it" "" "$(pgrep -f 'sleep 30[0-2]' || true)"
  same "left of executions" "" "$(ls -A /run/eorva/executions)"
  same "running lists" '[{"running":[]},null]' "$(eorva task list --json | jq -c '[.[].status] | unique | sort_by(. == null)')"
  rm /etc/eorva.conf
}

@test "a budget that is not used up changes nothing" {
  add_task quick bootup alice 'exit 0'
  run -0 --separate-stderr eorva fire bootup --budget 100
  same "standard error" "" "$stderr"
  same "record" '[null,"ok"]' "$(eorva runs show 1 --json | jq -c '[.ended_by, .outcome]')"
}

# A script that cleans up on TERM, and one that ignores it.
CLEANS='trap "echo cleaned; exit 7" TERM; touch /tmp/go; while :; do sleep 0.1; done'

watch_of() { parent_of "$(parent_of "$(field "$1" pid)")"; }

@test "ending the process that watches an execution ends and closes its runs" {
  add_task polite bootup alice "$CLEANS"
  add_task deaf bootup bob 'trap "" TERM; sleep 302'
  add_task then bootup alice 'echo never' --after polite
  chmod 1777 /tmp
  echo stop_grace=1 >/etc/eorva.conf
  eorva fire bootup >fired 2>said 3>&- &
  display=$!
  wait_until test -e /tmp/go
  wait_until runs_are 2
  wait_until pgrep -f 'sleep 302'
  kill "$(watch_of 1)"
  local status=0
  wait "$display" || status=$?
  rm /etc/eorva.conf
  same "answer" 3 "$status"
  grep -q 'the execution of the event "bootup" was ended, with all its runs' said
  grep -q 'not started (then' fired
  same "ended" '[["deaf","stopped",null],["polite","stopped",7]]' \
    "$(eorva runs list --json | jq -c '[.[] | [.task_name, .ended_by, .exit_info.exit_code]] | sort')"
  [[ $(eorva runs output "$(run_of polite)") == *cleaned ]]
  same "left of it" "" "$(pgrep -f 'sleep 302' || true)"
  same "left of executions" "" "$(ls -A /run/eorva/executions)"
}

@test "the process of a service ends its execution on TERM, and records a shutdown" {
  add_task polite bootup alice "$CLEANS"
  chmod 1777 /tmp
  mkdir -p /run/systemd/system
  mv /usr/bin/systemctl kept
  printf '#!/bin/sh\necho stopping\n' >/usr/bin/systemctl
  chmod 755 /usr/bin/systemctl
  eorva fire --as-service bootup >/dev/null 2>&1 3>&- &
  display=$!
  wait_until test -e /tmp/go
  kill "$display"
  wait "$display" || true
  mv -f kept /usr/bin/systemctl
  rmdir /run/systemd/system
  same "record" '["shutdown",7]' "$(eorva runs show 1 --json | jq -c '[.ended_by, .exit_info.exit_code]')"
  run -0 eorva runs show 1
  says "ended by the shutdown of the server"
}

# A background process that reports TERM.
LEAVES='(trap "touch /tmp/asked; exit" TERM; touch /tmp/go; while :; do sleep 0.1; done) >/dev/null 2>&1 &'

@test "the process of a service waits for background processes, and ends them on TERM" {
  add_task leaver bootup alice "$LEAVES"
  chmod 1777 /tmp
  rm -f /tmp/asked
  eorva fire --as-service bootup >fired 2>&1 3>&- &
  display=$!
  wait_until test -e /tmp/go
  wait_until grep -q '1 run, 1 ok' fired
  kill -0 "$display"
  [[ ! -e /tmp/asked ]]
  kill "$display"
  wait "$display"
  [[ -e /tmp/asked ]]
  same "left of it" "" "$(pgrep -u alice || true)"
}

@test "with --leave-nothing, background processes are asked to end, then killed" {
  add_task leaver bootup alice "$LEAVES"
  add_task deaf bootup bob '(trap "" TERM; sleep 303) >/dev/null 2>&1 & exit 0'
  chmod 1777 /tmp
  rm -f /tmp/asked
  echo stop_grace=1 >/etc/eorva.conf
  run -0 timeout 60 eorva fire bootup --budget 300 --leave-nothing
  rm /etc/eorva.conf
  [[ -e /tmp/asked ]]
  same "left of it" "" "$(pgrep -u alice,bob || true)"
  same "outcomes" '["ok","ok"]' "$(eorva runs list --json | jq -c '[.[].outcome]')"
}

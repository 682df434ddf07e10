#!/usr/bin/env bats
# How scripts really ended, and what the commands say about it.

load common
load ends

setup() { fresh_store; }

teardown() {
  pkill -KILL -u alice || true
  [[ ! -e kept ]] || mv -f kept /usr/bin/systemctl
  rm -rf /etc/eorva.conf /run/systemd/system
  [[ ! -e memory-group ]] || rmdir "$(<memory-group)"
}

# Each line: the task, its text in tables, its end in JSON, its script; the script has the escapes of printf.
ENDS='empty|exit 0|{"exit":0}|
exit-0|exit 0|{"exit":0}|exit 0
exit-1|exit 1|{"exit":1}|exit 1
exit-2|exit 2|{"exit":2}|exit 2
exit-3|exit 3|{"exit":3}|exit 3
exit-63|exit 63|{"exit":63}|exit 63
exit-64|exit 64|{"exit":64}|exit 64
exit-100|exit 100|{"exit":100}|exit 100
exit-125|exit 125|{"exit":125}|exit 125
exit-126|exit 126 (not executable)|{"exit":126}|exit 126
exit-127|exit 127 (not found)|{"exit":127}|exit 127
exit-128|exit 128|{"exit":128}|exit 128
exit-129|killed by SIGHUP|{"name":"SIGHUP","signal":1}|exit 129
exit-137|killed by SIGKILL|{"name":"SIGKILL","signal":9}|exit 137
exit-160|exit 160|{"exit":160}|exit 160
exit-192|killed by SIGRTMIN+30|{"name":"SIGRTMIN+30","signal":64}|exit 192
exit-193|exit 193|{"exit":193}|exit 193
exit-200|exit 200|{"exit":200}|exit 200
exit-255|exit 255|{"exit":255}|exit 255
exit-256|exit 0|{"exit":0}|#!/bin/bash\nexit 256
bash|exit 7|{"exit":7}|#!/bin/bash\nexit 7
no-command|exit 127 (not found)|{"exit":127}|no-such-command
no-interpreter|exit 127 (not found)|{"exit":127}|#!/no/such/shell\nexit 0
lines-of-dos|exit 127 (not found)|{"exit":127}|#!/bin/sh\r\nexit 0\r\n
folder-as-interpreter|exit 126 (not executable)|{"exit":126}|#!/tmp\nexit 0
file-as-command|exit 126 (not executable)|{"exit":126}|/etc/passwd
syntax-error|exit 2|{"exit":2}|if
false|exit 1|{"exit":1}|false
failure-before-the-end|exit 0|{"exit":0}|false; true
no-file-left|exit 5|{"exit":5}|rm -f "$0"; exit 5
last-command-killed|killed by SIGKILL|{"name":"SIGKILL","signal":9}|sh -c "kill -KILL \\$\\$"
signal-caught|exit 9|{"exit":9}|trap "exit 9" TERM; kill -TERM $$
signal-ignored|exit 0|{"exit":0}|trap "" TERM; kill -TERM $$
stopped-and-continued|exit 0|{"exit":0}|(sleep 0.1; kill -CONT $$) & kill -STOP $$; wait
core|killed by SIGSEGV|{"name":"SIGSEGV","signal":11}|case $(cat /proc/sys/kernel/core_pattern) in [\\|/]*) ;; *) cd; ulimit -c unlimited;; esac; kill -SEGV $$
processor-time|killed by SIGKILL|{"name":"SIGKILL","signal":9}|ulimit -t 1; while :; do :; done
shell-killed|killed by SIGKILL|{"name":"SIGKILL","signal":9}|kill -KILL $PPID
shell-hung-up|killed by SIGHUP|{"name":"SIGHUP","signal":1}|kill -HUP $PPID
run-killed|killed|null|read -r _ _ _ parent _ </proc/$PPID/stat; kill -KILL $parent; sleep 60'

SIGNALS='1 HUP 2 INT 3 QUIT 4 ILL 5 TRAP 6 ABRT 7 BUS 8 FPE 9 KILL 10 USR1 11 SEGV 12 USR2 13 PIPE 14 ALRM 15 TERM
  16 STKFLT 24 XCPU 25 XFSZ 26 VTALRM 27 PROF 29 POLL 30 PWR 31 SYS 34 RTMIN 49 RTMIN+15 64 RTMIN+30'

# ends: the lines above, and one for each signal that a script can send to itself.
ends() {
  local number name
  printf '%s\n' "$ENDS"
  while read -r number name; do
    printf '%s|killed by SIG%s|{"name":"SIG%s","signal":%s}|kill -%s $$\n' "by-${name/+/-}" "$name" "$name" "$number" "$number"
  done < <(xargs -n 2 <<<"$SIGNALS")
}

# wanted FIELD...: these fields of all lines, sorted.
wanted() { ends | cut -d '|' -f "$1" | sort; }

# document: the tasks as a document for eorva apply.
document() {
  local name text end script
  while IFS='|' read -r name text end script; do
    printf '%b\n' "$script" | jq -Rs --arg name "$name" '{($name): {event: "ends", owner: "alice", script: .}}'
  done < <(ends) | jq -s '{version: 1, tasks: add}'
}

# of_runs FILTER: a line for each run, sorted.
of_runs() { eorva runs list --limit 0 --json "${@:2}" | jq -r ".[] | $1" | sort; }

@test "every way in which a script can end is shown as it was" {
  document | eorva apply - --yes --any-event >/dev/null
  run -3 eorva fire ends
  same "lines of fire" "$(wanted 1,2)" "$(sed -nE 's/^[0-9-]+ [0-9:]+  (.*): (.*), after [0-9]+s$/\1|\2/p' <<<"$output" | sort)"
  same "left of the scripts" "" "$(pgrep -u alice || true)"
  local ok
  ok=$(ends | grep -c '|exit 0|')
  says "event ends: $(ends | wc -l) runs, $ok ok, $(($(ends | wc -l) - ok)) failed"
  same "summary of fire" "$(wanted 1,2 | grep -v '|exit 0$')" "$(sed -nE 's/^  (.*): (.*)    eorva runs output [0-9]+$/\1|\2/p' <<<"$output" | sort)"
  same "runs" "$(wanted 1-3)" "$(of_runs '"\(.task_name)|\(.outcome_text)|\(.end | tojson)"')"
  same "successes" "$(ends | awk -F '|' '$2 == "exit 0" { print $1 }' | sort)" "$(of_runs .task_name --outcome ok)"
  same "failures" "$(ends | awk -F '|' '$2 != "exit 0" { print $1 }' | sort)" "$(of_runs .task_name --outcome failed)"
  same "table of runs" "$(wanted 1,2)" "$(eorva runs list --limit 0 | sed -nE 's/^ *[0-9]+ ([^ ]+) .* [0-9]+s ([a-z].*)$/\1|\2/p' | sort)"
  same "table of tasks" "$(wanted 1,2)" "$(eorva task list | sed -nE 's/^([^ ]+) +ends .* [0-9:]+ ([a-z].*)$/\1|\2/p' | sort)"
}

@test "a task and a run are explained with the true end" {
  add_task failing ends alice 'exit 128'
  add_task killed ends alice 'kill -KILL $$' --after failing
  run -3 eorva fire ends
  run -0 eorva runs show "$(run_of killed)"
  shows_member "how it ended" "killed by SIGKILL, which shells report as exit 137"
  run -0 eorva task show failing
  shows_member "how it ended" "exit 128"
  run -0 eorva explain killed
  [[ ${lines[1]} =~ \ with:\ killed\ by\ SIGKILL$ ]]
  [[ ${lines[3]} =~ ^\ \ failing:\ .*\ with:\ exit\ 128$ ]]
  same "for programs" '["killed by SIGKILL","failed",[["exit 128","failed"]]]' "$(eorva explain killed --json |
    jq -c '[.run.outcome_text, .run.outcome, (.needs | map([.run.outcome_text, .run.outcome]))]')"
}

@test "only exit status 0 is a success of eorva run" {
  add_task it ends alice 'exit $RESULT'
  local result
  for result in 0 1 128 255; do
    run -$((result == 0 ? 0 : 3)) eorva run it --env "RESULT=$result"
    says "it: exit $result, after"
  done
  same "failures" '["exit 255","exit 128","exit 1"]' "$(eorva runs list --outcome failed --json | jq -c '[.[].outcome_text]')"
  eorva config set retention_runs=1 retention_failed_runs=2 >/dev/null
  eorva runs prune >/dev/null
  same "remaining runs" '["exit 255","exit 128"]' "$(eorva runs list --json | jq -c '[.[].outcome_text]')"
}

@test "a script that cannot be started is told from one that ended" {
  add_task it ends alice 'exit 0'
  eorva fire ends >/dev/null
  # Its owner has put a folder where each next script is to be written.
  local now=$EPOCHSECONDS
  setpriv --reuid=alice --regid=alice --init-groups bash -c "mkdir -p $KEPT/it/{$now..$((now + 30))}/script.log"
  run -3 eorva fire ends
  says "it: could not start, after"
  same "for programs" '["could not start",{"not_started":true},"failed"]' \
    "$(eorva runs list --json | jq -c '.[0] | [.outcome_text, .end, .outcome]')"
  run -0 eorva runs show 2
  shows_member "how it ended" "could not start: for example, the owner does not exist or the script could not be written"
}

# fire_it [OPTION...]: fires the event of the task "it", whose script does not end by itself; succeeds when the answer is that of
# a failed run.
fire_it() {
  local status=0
  eorva fire ends "$@" >fired 2>&1 || status=$?
  same "answer" 3 "$status"
}

# begin_it [OPTION...]: the same in the background, until the script has begun.
begin_it() {
  fire_it "$@" 3>&- &
  display=$!
  wait_until eval '[[ $(eorva runs output "$(run_of it)") == begun ]]'
}

@test "every way in which a run can be ended early is shown as it was" {
  add_task it ends alice 'trap "exit 7" TERM; echo begun; while :; do sleep 0.1; done'
  echo stop_grace=20 >/etc/eorva.conf
  fire_it --budget 2
  shown_as it budget
  begin_it
  eorva stop "$(run_of it)" >/dev/null
  wait "$display"
  shown_as it stopped
  begin_it
  kill -KILL "$(field "$(run_of it)" pid)"
  wait "$display"
  shown_as it killed
  eorva task edit it --time-limit 1 >/dev/null
  fire_it
  shown_as it time_limit
  run -3 eorva run it
  says "it: time limit, after"
}

@test "a run that the shutdown of the server ends is shown as that" {
  add_task it ends alice 'trap "exit 7" TERM; echo begun; while :; do sleep 0.1; done'
  mkdir -p /run/systemd/system
  mv /usr/bin/systemctl kept
  printf '#!/bin/sh\necho stopping\n' >/usr/bin/systemctl
  chmod 755 /usr/bin/systemctl
  eorva fire ends --as-service >fired 2>&1 3>&- &
  display=$!
  wait_until eval '[[ $(eorva runs output "$(run_of it)") == begun ]]'
  kill "$display"
  wait "$display" || true
  shown_as it shutdown
}

@test "a run that a power cut ends is shown as interrupted" {
  add_task it ends alice 'echo begun; exec sleep 300'
  begin_it
  kill -KILL "$(parent_of "$(parent_of "$(field "$(run_of it)" pid)")")"
  wait "$display" || true
  # As after a restart of the server.
  rm -r /run/eorva
  sqlite3 "$DATABASE" "update task_result set boot_id = 'of an earlier start'"
  add_task next other bob 'exit 0'
  eorva fire other >/dev/null
  shown_as it interrupted
}

# limited_memory: what a script of root's does first, so that the kernel kills it when it takes more than 32 MB. Prints
# nothing where there is no controller for memory.
limited_memory() {
  local mount
  if [[ -e /sys/fs/cgroup/memory/memory.limit_in_bytes ]]; then
    mktemp -d /sys/fs/cgroup/memory/eorva-test-XXXXXXXX >memory-group
    echo "cd $(<memory-group); echo 32M >memory.limit_in_bytes; echo \$\$ >cgroup.procs"
    return
  fi
  mount=$(findmnt --noheadings --first-only --types cgroup2 --output TARGET) || return 0
  ! grep -qw memory "$mount/cgroup.controllers" || echo "echo 32M >$mount\$(sed -n s/^0:://p /proc/self/cgroup)/memory.max"
}

@test "a script that the kernel kills for the memory that it takes is shown as killed" {
  local limit
  limit=$(limited_memory)
  [[ -n $limit ]] || skip "there is no controller for memory"
  add_task greedy ends root "$limit; head -c 100000000 /dev/zero | tail"
  run -3 eorva run greedy
  says "greedy: killed by SIGKILL, after"
  same "for programs" '["killed by SIGKILL",{"name":"SIGKILL","signal":9},"failed"]' \
    "$(eorva runs list --json | jq -c '.[0] | [.outcome_text, .end, .outcome]')"
}

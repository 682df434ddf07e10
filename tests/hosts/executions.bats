#!/usr/bin/env bats
# Firing events and running tasks: real children of real users.

load common

setup() { fresh_store; }

@test "roots run first, then each task whose dependencies have ended, as their owners" {
  add_task root-a bootup alice 'id -un; echo a >>/home/alice/order'
  add_task root-b bootup bob 'id -un'
  add_task then-c bootup alice 'echo c >>/home/alice/order' --after root-a --after root-b
  add_task then-d bootup alice 'echo d >>/home/alice/order' --after then-c
  add_task apart shutdown alice 'echo never'
  add_task resting bootup alice 'echo never' --disabled
  rm -f /home/alice/order
  run -0 --separate-stderr eorva fire bootup
  says "event bootup: 4 runs, 4 ok, 0 failed"
  same "order" "a c d" "$(paste -sd ' ' /home/alice/order)"
  same "user of root-a" alice "$(eorva runs output "$(run_of root-a)")"
  same "user of root-b" bob "$(eorva runs output "$(run_of root-b)")"
  same "runs" 4 "$(eorva runs list --json | jq length)"
  same "triggers" '["bootup"]' "$(eorva runs list --json | jq -c '[.[].trigger_event] | unique')"
  same "standard error" "" "$stderr"
}

@test "without a terminal, each start and each end is a line" {
  add_task quick bootup alice 'exit 0'
  add_task next bootup bob 'exit 255' --after quick
  run -3 eorva fire bootup
  [[ ${lines[0]} =~ ^[0-9-]+\ [0-9:]+\ \ quick:\ started\ as\ alice\ \(run\ 1\)$ ]]
  [[ ${lines[1]} =~ ^[0-9-]+\ [0-9:]+\ \ quick:\ exit\ 0,\ after\ [0-9]+s$ ]]
  [[ ${lines[2]} =~ next:\ started\ as\ bob\ \(run\ 2\)$ ]]
  [[ ${lines[3]} =~ next:\ exit\ 255,\ after ]]
  same "summary" "event bootup: 2 runs, 1 ok, 1 failed" "${lines[4]}"
  [[ ${lines[5]} =~ next:.*eorva\ runs\ output\ 2$ ]]
}

@test "on a terminal, a table is redrawn" {
  add_task quick bootup alice 'exit 0'
  add_task next bootup bob 'exit 0' --after quick
  run -0 script -qec 'TERM=xterm COLUMNS=100 eorva fire bootup' /dev/null
  says $'\033[3A\r\033[J'
  says "waiting"
  says "exit 0"
  says "event bootup: 2 runs, 2 ok, 0 failed"
}

@test "scripts get a clean environment" {
  add_task look bootup alice '
    env | sort
    echo "umask $(umask), folder $(pwd), user $(id -un), groups $(id -Gn)"
    grep -E "^Sig(Blk|Ign)" /proc/self/status
    ls /proc/self/fd | wc -l
    ps -o tty= -p $$'
  add_task root-look bootup 0 'echo "HOME=$HOME USER=$USER"'
  (
    umask 077
    export SECRET=1 LD_LIBRARY_PATH=/nowhere IFS=x ENV=/etc/passwd
    exec 7</etc/shadow 8>/dev/null
    trap '' PIPE INT TERM CHLD
    cd /home
    eorva fire bootup
  )
  run -0 eorva runs output "$(run_of look)"
  same "environment" "EORVA_EVENT=bootup EORVA_FIRED_AT=now HOME=/home/alice LANG=C.UTF-8 LOGNAME=alice PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin PWD=/ SHELL=/bin/sh USER=alice" \
    "$(grep = <<<"$output" | grep -vE '^(_|OLDPWD|SHLVL)=' | sed -E 's/^(EORVA_FIRED_AT)=[0-9]{10}$/\1=now/' | paste -sd ' ')"
  says "umask 0022, folder /, user alice, groups alice staff-of-two"
  says "SigBlk:	0000000000000000"
  # The C library ignores its two internal signals, 32 and 33, in its children.
  [[ $output =~ SigIgn:.0{7}[01][08]0{7} ]]
  # Standard input, output and error, and the listed folder.
  same "descriptors" 4 "$(grep -xE '[0-9]+' <<<"$output")"
  same "terminal" "?" "$(tail -n 1 <<<"$output")"
  same "root's" "HOME=/root USER=root" "$(eorva runs output "$(run_of root-look)")"
}

@test "an event without tasks does nothing, says so, and succeeds" {
  run -0 --separate-stderr eorva fire hourly
  complains 'the event "hourly" starts no task now'
  says "event hourly: 0 runs"
  add_task resting silence alice 'exit 0' --disabled
  run -0 eorva fire silence
  same "runs" 0 "$(eorva runs list --json | jq length)"
}

@test "an unknown event is a failure that names it" {
  run -1 --separate-stderr eorva fire botup
  complains 'there is no event "botup"; did you mean "bootup"?'
  run -1 --separate-stderr eorva fire botup --detach
  complains 'there is no event "botup"'
}

@test "run starts a disabled task without its dependencies, and none of its dependants" {
  add_task first bootup alice 'exit 0'
  add_task second bootup alice 'echo "by $EORVA_EVENT"' --after first --disabled
  add_task third bootup alice 'exit 0' --after second
  run -0 eorva run second
  says "task second: 1 run, 1 ok, 0 failed"
  same "runs" '[["second","on_demand"]]' "$(eorva runs list --json | jq -c '[.[] | [.task_name, .trigger_event]]')"
  same "printed" "by on_demand" "$(eorva runs output 1)"
}

@test "run exits with 3 when the task does not end with 0" {
  add_task bad bootup alice 'exit 4'
  run -3 eorva run bad
  says "task bad: 1 run, 0 ok, 1 failed"
}

@test "the summary tells what failed and what was not started, and how to see why" {
  add_task good bootup alice 'exit 0'
  add_task bad bootup alice 'exit 4'
  add_task hang bootup alice 'exit 0' --disabled
  run -3 eorva fire bootup
  says $'\nevent bootup: 2 runs, 1 ok, 1 failed, 1 not started (hang: disabled)\n  bad: exit 4    eorva runs output '
  says $'\n  hang was disabled\n      eorva task enable hang'
  local i
  for i in 1 2 3 4 5 6; do add_task "off-$i" bootup alice 'exit 0' --disabled; done
  run -3 eorva fire bootup
  says "7 not started (hang: disabled; off-1: disabled; off-2: disabled; off-3: disabled; off-4: disabled; 2 more)"
}

@test "a second run is refused while the first is running, unless the task allows it" {
  add_task single bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  add_task several bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done' --parallel
  eorva fire bootup >/dev/null 3>&- &
  wait_until runs_are 2
  run -1 --separate-stderr eorva run single
  complains 'the task "single" is running already (process '
  eorva run several >/dev/null 3>&- &
  wait_until runs_are 3
  run -0 eorva task show several
  shows_member "running now" "process "
  touch /tmp/go
  wait
  same "outcomes" '["ok"]' "$(eorva runs list --json | jq -c '[.[].outcome] | unique')"
}

@test "an event whose task is running names the tasks that were not started" {
  add_task single bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  add_task after bootup alice 'exit 0' --after single
  eorva run single >/dev/null 3>&- &
  wait_until runs_are 1
  run -3 eorva fire bootup
  says "event bootup: 0 runs, 0 ok, 0 failed, 2 not started (after: waited for single; single: already running)"
  touch /tmp/go
  wait
}

@test "a task whose owner does not exist does not run, and the others do" {
  useradd --uid 7050 shortlived
  add_task orphan bootup shortlived 'echo never'
  add_task other bootup alice 'exit 0'
  userdel shortlived
  run -3 eorva fire bootup
  says "orphan had no owner: user shortlived (7050) does not exist"
  same "outcome of other" '"ok"' "$(field "$(run_of other)" outcome)"
  same "runs" 1 "$(eorva runs list --json | jq length)"
}

@test "with --json, only JSON is printed, when all runs have ended" {
  add_task one bootup alice 'exit 0'
  add_task two bootup bob 'exit 6' --after one
  run -3 --separate-stderr eorva fire bootup --json
  same "runs" '["bootup",[["one","ok"],["two","failed"]],[]]' \
    "$(jq -c '[.event, [.runs[] | [.task_name, .outcome]], .not_started]' <<<"$output")"
  run -0 eorva run one --json
  same "task" '"one"' "$(jq .task <<<"$output")"
}

@test "simultaneous starts of one task get different seconds and folders" {
  add_task quick bootup alice 'echo "$$"' --parallel
  local i
  for i in 1 2 3 4 5; do
    eorva run quick >/dev/null 3>&- &
  done
  wait
  same "starts" 5 "$(eorva runs list --json | jq '[.[].start_time] | unique | length')"
  same "folders" 5 "$(find "$KEPT/quick" -mindepth 1 -maxdepth 1 | wc -l)"
}

@test "two runs of a task never start in the same second" {
  add_task quick bootup alice 'exit 0'
  # As after the clock was set back: the next seconds are in use already.
  local now
  now=$(date +%s)
  sqlite3 "$DATABASE" "with recursive later(s) as (select $now union all select s + 1 from later where s < $now + 4)
    insert into task_result (task_name, start_time, stop_time, exit_info) select 'quick', s, s, '{}' from later"
  run -0 eorva fire bootup
  same "starts" 6 "$(eorva runs list --json | jq '[.[].start_time] | unique | length')"
}

@test "a signal that ends the display does not end the execution" {
  add_task slow bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done; echo done'
  env --default-signal=INT eorva fire bootup >/dev/null 2>fire.err 3>&- &
  local display=$!
  wait_until runs_are 1
  kill -INT "$display"
  local status=0
  wait "$display" || status=$?
  same "answer of the display" 130 "$status"
  grep -q "the execution continues in the background, in process" fire.err
  touch /tmp/go
  wait_until eval '[[ $(eorva runs show 1 --json | jq -r .outcome) == ok ]]'
  same "printed" done "$(eorva runs output 1)"
}

@test "an event with an unsafe graph from another program is refused" {
  add_task root bootup alice 'exit 0'
  add_task one bootup alice 'exit 0' --after root
  add_task two bootup alice 'exit 0' --after one
  sqlite3 "$DATABASE" "update task set depend_on_task = '[root][two]' where task_name = 'one'"
  run -1 --separate-stderr eorva fire bootup
  complains "the tasks wait for each other in a circle: "
  same "runs" 0 "$(eorva runs list --json | jq length)"
  run -0 timeout 20 eorva task graph bootup
}

ended_well() { [[ $(eorva runs list --json | jq '[.[] | select(.outcome == "ok")] | length') == "$1" ]]; }

# unread COMMAND...: runs the command with a standard output without a reader.
unread() {
  python3 -c 'import os, signal, sys
reader, writer = os.pipe()
os.dup2(writer, 1)
os.close(reader)
signal.signal(signal.SIGPIPE, signal.SIG_DFL)
os.execvp(sys.argv[1], sys.argv[1:])' "$@"
}

@test "an execution continues when the reader of its log ends" {
  add_task first bootup alice 'exit 0'
  add_task second bootup bob 'exit 0' --after first
  eorva --log-stdout --debug fire bootup | head -n 1 || true
  wait_until ended_well 2
}

@test "an execution continues when the reader of its output ends" {
  add_task first bootup alice 'exit 0'
  add_task second bootup bob 'exit 0' --after first
  unread eorva --log-stdout --debug fire bootup || true
  wait_until ended_well 2
  unread eorva fire bootup || true
  wait_until ended_well 4
}

@test "fire lists the tasks that it left out, with the reasons" {
  add_task off bootup alice 'exit 0' --disabled
  add_task behind bootup alice 'exit 0' --after off
  add_task on bootup alice 'exit 0'
  run -0 eorva fire bootup
  says "event bootup: 1 run, 1 ok, 0 failed, 2 not started (behind: waits for off, disabled; off: disabled)
  behind waited for \"off\", which was disabled
      eorva task enable off
  off was disabled
      eorva task enable off"
  run -0 eorva fire bootup --json
  same "left out" '[["behind","need_disabled"],["off","disabled"]]' "$(jq -c '.left_out | map([.task_name, .reasons[0].code])' <<<"$output")"
  eorva task disable on >/dev/null
  run -0 eorva fire bootup
  says "event bootup: 0 runs, 0 ok, 0 failed"
  says "  on was disabled"
}

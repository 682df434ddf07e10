#!/usr/bin/env bats
# The variables of scripts, and executions in the background.

load common

setup() { fresh_store; }

@test "scripts get the event, its time, and the variables of --env" {
  add_task look bootup alice 'echo "$EORVA_EVENT|$EORVA_FIRED_AT|$DISK|$WORDS|$EMPTY"'
  local before after
  before=$(date +%s)
  run -0 eorva fire bootup --env DISK=/dev/sdb --env 'WORDS=a b=$HOME "c"' --env EMPTY=
  after=$(date +%s)
  IFS='|' read -r event fired rest <<<"$(eorva runs output 1)"
  same "event" bootup "$event"
  ((before <= fired && fired <= after))
  same "told" '/dev/sdb|a b=$HOME "c"|' "$rest"
  run -0 eorva run look --env DISK=x
  [[ $(eorva runs output 2) == on_demand\|*\|x\|\| ]]
}

@test "variables that change how programs are found, loaded or run are refused" {
  add_task look bootup alice 'exit 0'
  local variable
  for variable in PATH=/tmp LD_PRELOAD=/tmp/x.so LD_LIBRARY_PATH=/tmp IFS=x ENV=/tmp/x BASH_ENV=/tmp/x HOME=/ USER=root \
    LOGNAME=root SHELL=/tmp/x LANG=C LC_ALL=C GLIBC_TUNABLES=x GCONV_PATH=/tmp MALLOC_TRACE=/tmp/x PYTHONPATH=/tmp \
    PERL5OPT=-d RUBYOPT=-r TMPDIR=/tmp EORVA_EVENT=x EORVA_FIRED_AT=1 BASH_FUNC_ls%%=x 1A=x A-B=x =x A 'A B=x'; do
    run -2 --separate-stderr eorva fire bootup --env "$variable"
    complains "environment variable \"${variable%%=*}"
  done
  same "runs" 0 "$(eorva runs list --json | jq length)"
}

ended_well() { [[ $(eorva runs list --json | jq '[.[] | select(.outcome == "ok")] | length') == "$1" ]]; }

@test "a detached execution continues alone, and has started when the command ends" {
  add_task slow bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done; echo "$EORVA_EVENT $DISK"'
  run -0 --separate-stderr eorva fire bootup --detach --env DISK=sdb
  [[ $output =~ ^event\ bootup:\ started\ in\ process\ ([0-9]+)$ ]]
  local pid=${BASH_REMATCH[1]}
  kill -0 "$pid"
  same "standard error" "" "$stderr"
  wait_until runs_are 1
  same "open files of the watch" "/dev/null" "$(readlink "/proc/$pid/fd/0" "/proc/$pid/fd/1" "/proc/$pid/fd/2" | sort -u)"
  touch /tmp/go
  wait_until ended_well 1
  same "printed" "bootup sdb" "$(eorva runs output 1)"
  wait_until gone "$pid"
  run -0 eorva run slow --detach --json
  same "the started task" '["slow","number"]' "$(jq -c '[.task, (.pid | type)]' <<<"$output")"
  wait_until ended_well 2
}

@test "--detach reports why nothing was started" {
  run -1 --separate-stderr eorva run nothing --detach
  complains 'there is no task "nothing"'
  add_task one bootup alice 'exit 0'
  chmod 777 "$KEPT"
  run -1 --separate-stderr eorva fire bootup --detach
  complains "may be changed by others (mode 0777)"
  chmod 711 "$KEPT"
  run -0 --separate-stderr eorva fire hourly --detach
  says "event hourly: 0 runs"
}

@test "a service that systemd starts twice, or too late, does not run again" {
  add_task one bootup alice 'echo "$NUMBER"'
  mkdir -p /run/eorva/tickets
  touch /run/eorva/tickets/eorva-fire-1.service
  run -0 eorva fire --as-service --ticket eorva-fire-1.service --env NUMBER=1 -- bootup
  same "runs" 1 "$(eorva runs list --json | jq length)"
  local command
  for command in "fire --as-service --ticket eorva-fire-1.service -- bootup" "run --as-service --ticket never -- one"; do
    # shellcheck disable=SC2086
    run -0 --separate-stderr eorva $command
    complains "was not started: it has started already, or this request is too late"
  done
  same "runs" 1 "$(eorva runs list --json | jq length)"
}

@test "a failed request to systemd is reported, and nothing starts later" {
  add_task one bootup alice 'true'
  mkdir -p /run/systemd/system
  DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nowhere run -1 --separate-stderr eorva fire bootup --detach
  rmdir /run/systemd/system
  complains "cannot reach systemd over the system bus"
  same "tickets" "" "$(ls /run/eorva/tickets)"
}

@test "an event fired while its tasks run is not lost" {
  add_task single bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  add_task several bootup bob 'exit 0' --parallel
  eorva fire bootup --detach
  wait_until ended_well 1
  local i
  for i in 1 2 3; do
    eorva fire bootup --detach
  done
  wait_until ended_well 4
  touch /tmp/go
  wait_until ended_well 5
  same "runs" '{"several":4,"single":1}' "$(eorva runs list --json | jq -cS 'group_by(.task_name) | map({(.[0].task_name): length}) | add')"
}

@test "no file gets the number of a closed standard descriptor" {
  add_task one bootup alice 'exit 0'
  run -0 bash -c 'exec eorva run one >/dev/null <&- 2>&-'
  run -1 bash -c 'exec eorva runs list >&-'
  run -0 bash -c 'eorva fire bootup --detach <&- 2>&- | cat'
  wait_until ended_well 2
  same "integrity" ok "$(sqlite3 "$DATABASE" 'pragma integrity_check')"
}

@test "a display that ignores interrupts continues" {
  add_task slow bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  (
    trap '' INT
    exec eorva fire bootup >shown 2>&1 3>&-
  ) &
  local display=$!
  wait_until runs_are 1
  kill -INT "$display"
  touch /tmp/go
  wait "$display"
  grep -q '1 ok' shown
}

@test "a display that cannot read the store says that the execution continues" {
  add_task slow bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  eorva fire bootup >shown 2>&1 3>&- &
  local display=$!
  wait_until runs_are 1
  mv /usr/orva/share/eorvascheduler /usr/orva/share/aside
  wait_until grep -q 'the display failed: .*; the execution continues in process' shown
  mv /usr/orva/share/aside /usr/orva/share/eorvascheduler
  touch /tmp/go
  local status=0
  wait "$display" || status=$?
  same "answer" 1 "$status"
  grep -q "the execution has ended; for the result: eorva runs list" shown
  same "outcome" '"ok"' "$(field 1 outcome)"
}

# The answers that a shutdown gets from systemd: it is stopping, and these executions are still ending. One of them is
# killed meanwhile.
fake_systemctl() {
  cat >/usr/bin/systemctl <<END
#!/bin/sh
case \$1 in
  is-system-running) echo "$1" ;;
  list-units)
    echo "\$*" >>$PWD/asked
    [ "\$(wc -l <$PWD/asked)" = 1 ] || exit 0
    sqlite3 $DATABASE "insert into task_result (task_name, start_time, pid, exit_info) values ('late', 1, 4194999, '{}')"
    echo eorva-fire-late.service
    ;;
esac
END
  chmod 755 /usr/bin/systemctl
}

@test "a shutdown fires its event, waits for ending executions, and closes interrupted runs" {
  add_task late other alice true
  add_task last shutdown bob '(sleep 304) >/dev/null 2>&1 & echo "$EORVA_EVENT"'
  mv /usr/bin/systemctl kept
  fake_systemctl running
  run -0 /usr/libexec/eorva/fire-shutdown
  same "runs while it is not stopping" 0 "$(eorva runs list --json | jq length)"
  fake_systemctl stopping
  run /usr/libexec/eorva/fire-shutdown
  mv -f kept /usr/bin/systemctl
  # Read from the store directly: eorva would close the run itself.
  same "late" interrupted \
    "$(sqlite3 "$DATABASE" "select json_extract(exit_info, '$.exit_type') from task_result where task_name = 'late'")"
  same "answer" 0 "$status"
  same "left of it" "" "$(pgrep -f 'sleep 304' || true)"
  same "asked" "2 list-units --plain --no-legend eorva-fire* eorva-run*" \
    "$(sort asked | uniq -c | xargs)"
  same "last" '"ok"' "$(field "$(run_of last)" outcome)"
}

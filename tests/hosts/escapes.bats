#!/usr/bin/env bats
# Scripts that try to escape the end of their run.

load common

# How often each way to escape is tried against each way to end a run, and how many of these tries are made at once.
TRIES=${EORVA_TRIES:-5}
AT_ONCE=$((TRIES < 5 ? TRIES : 5))

setup() {
  fresh_store
  chmod 1777 /tmp
  # Root's, so that alice and bob can write to it with every setting of fs.protected_regular.
  : >/tmp/begun
  chmod 666 /tmp/begun
  add_task next other bob 'exit 0'
  /usr/bin/python3 "$BATS_TEST_DIRNAME/held/stall.py" 3>&- &
  stall=$!
}

teardown() {
  kill "$stall"
  [[ ! -e kept ]] || mv -f kept /usr/bin/systemctl
  pkill -KILL -u alice,bob || true
  pkill -KILL '^eorva' || true
  rm -rf /etc/eorva.conf /tmp/begun /tmp/go /run/systemd/system
}

held() { cat "$BATS_TEST_DIRNAME/held/$1"; }

of_runs() { eorva runs list --limit 0 --json | jq -c "[.[] | select(.trigger_event == \"bootup\") | $1] | sort | unique"; }

none_left() { ! pgrep -u alice,bob; }

# The process of the run is the parent of the shell above the script.
RUN='read -r _ _ _ run _ </proc/$PPID/stat'

WAYS=7

# ways: the ways to escape, each with a script that notes when it has begun. Only the fork bombs are bob's: they stop at
# a number of processes of their user.
ways() {
  local sleep='while :; do sleep 300; done'
  jq -n --arg comet "$(held comet.py)" --arg bomb "$(held fork_bomb.py)" \
    --arg kills "$RUN; trap 'kill -KILL \$run' TERM; echo kills at TERM >>/tmp/begun; while :; do sleep 0.1; done" \
    --arg stops "$RUN; trap '' TERM; kill -STOP \$run; echo stops its run >>/tmp/begun; $sleep" \
    --arg sleeps "echo stops itself >>/tmp/begun; kill -STOP \$\$; $sleep" \
    --arg traps "trap '' HUP INT QUIT USR1 USR2 PIPE ALRM TERM TSTP TTIN TTOU XCPU RTMIN; echo traps >>/tmp/begun; $sleep" \
    '{comet: $comet, "fork-bomb": $bomb, "kills-at-term": $kills, "stops-its-run": $stops, "stops-itself": $sleeps, traps: $traps,
      stalls: "exec sleep 299"}'
}

# add_escapes [MEMBERS]: AT_ONCE tasks for each way to escape.
add_escapes() {
  ways | jq --argjson at_once "$AT_ONCE" --argjson more "${1:-{\}}" '{version: 1, tasks: [to_entries[] | . as $way | range($at_once) |
    {key: "\($way.key)-\(.)",
     value: ({event: "bootup", owner: (if $way.key == "fork-bomb" then "bob" else "alice" end), script: $way.value} + $more)}] |
    from_entries}' | eorva apply - --yes >/dev/null
  echo stop_grace=1 >/etc/eorva.conf
}

# tried: how often the rarest way has been tried.
tried() { sort /tmp/begun | uniq -c | awk -v ways="$WAYS" 'NR == 1 || $1 < least { least = $1 } END { print NR == ways ? least : 0 }'; }

all_begun() { [[ $(wc -l </tmp/begun) -ge $((ROUND * WAYS * AT_ONCE)) ]]; }

# begin [OPTION...]: fires the event, and waits until all scripts have begun.
begin() {
  eorva fire bootup "$@" >fired 2>said 3>&- &
  display=$!
  wait_until all_begun
}

# each_ended_by REASON COMMAND...: fires the event and ends its runs with the command, until each way has been tried often
# enough. Checks that all is over each time, and that the records say why.
each_ended_by() {
  local reason=$1
  shift
  for ((ROUND = 1; ROUND == 1 || $(tried) < TRIES; ROUND++)); do
    # A script that was ended before it had begun was no try.
    ((ROUND <= 10 + 2 * TRIES / AT_ONCE))
    "$@"
    wait "$display" || true
    wait_until none_left
  done
  echo "# tried $(tried) times" >&3
  same "records" "[[\"$reason\",\"failed\"]]" "$(of_runs '[.ended_by, .outcome]')"
  same "runs" $(((ROUND - 1) * WAYS * AT_ONCE)) "$(eorva runs list --limit 0 --json | jq length)"
  eorva run next >/dev/null
  same "left of executions" "" "$(ls -A /run/eorva/executions)"
}

# fire_with [OPTION...]: the runs end by themselves, perhaps before all of them have begun.
fire_with() {
  eorva fire bootup "$@" >fired 2>said 3>&- &
  display=$!
}

stop_all() {
  begin
  local number stops=()
  for number in $(eorva runs list --limit 0 --json | jq '.[] | select(.stop_time == null) | .result_id'); do
    eorva stop "$number" --grace 1 >>stopped 2>&1 3>&- &
    stops+=($!)
  done
  wait "${stops[@]}"
}

end_watch() {
  begin
  pkill -TERM -P "$display" -x eorva-watch
}

end_service() {
  begin --as-service
  kill -TERM "$display"
}

@test "$TRIES tries of $WAYS ways to escape: the time limit ends them" {
  add_escapes '{"time_limit": 3}'
  each_ended_by time_limit fire_with
}

@test "$TRIES tries of $WAYS ways to escape: eorva stop ends them" {
  add_escapes
  each_ended_by stopped stop_all
  same "said" "" "$(grep -v ': stopped$' stopped || true)"
}

@test "$TRIES tries of $WAYS ways to escape: the budget ends them" {
  add_escapes
  each_ended_by budget fire_with --budget 3
}

@test "$TRIES tries of $WAYS ways to escape: ending the execution ends them" {
  add_escapes
  each_ended_by stopped end_watch
}

@test "$TRIES tries of $WAYS ways to escape: the shutdown of the server ends them" {
  add_escapes
  mkdir -p /run/systemd/system
  mv /usr/bin/systemctl kept
  printf '#!/bin/sh\necho stopping\n' >/usr/bin/systemctl
  chmod 755 /usr/bin/systemctl
  each_ended_by shutdown end_service
}

@test "$TRIES scripts that kill the processes above them: the runs end as killed, with their background processes" {
  local i tried
  for ((i = 1; i <= AT_ONCE; i++)); do
    add_task "run-killed-$i" bootup alice "$RUN"'; kill -KILL $run; sleep 300'
    add_task "run-killed-from-afar-$i" bootup alice "$RUN"'; run=$run setsid -f sh -c "trap \"\" TERM; kill -KILL \$run; sleep 300"; sleep 300'
  done
  add_task bystander bootup bob 'exit 0'
  for ((tried = 0; tried < TRIES; tried += AT_ONCE)); do
    run -3 timeout 60 eorva fire bootup
    wait_until none_left
  done
  same "records" '[["bystander",null,"ok"],["run-killed","killed","failed"],["run-killed-from-afar","killed","failed"]]' \
    "$(of_runs '[(.task_name | sub("-[0-9]$"; "")), .ended_by, .outcome]')"
}

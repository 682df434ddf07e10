#!/usr/bin/env bats
# Tasks that many executions want to start in the same moment.

load common

STARTS=${EORVA_STARTS:-300}

setup() {
  fresh_store
  chmod 1777 /tmp
  rm -f /tmp/{starts,overlaps,lock-*}
}

teardown() { rm -f /tmp/{starts,overlaps,lock-*}; }

# Notes when another run of the task has its lock, or uses its folder.
ALONE='echo >>/tmp/starts
exec 9>"/tmp/lock-$NAME"
flock -n 9 || echo "$NAME overlaps" >>/tmp/overlaps
mkdir "${0%/*}/taken" || echo "$NAME shares a folder" >>/tmp/overlaps
sleep 0.05'

# add_graph: 96 tasks; each "b" waits for two "a", each "c" for one, each "d" for a "b" and a "c".
add_graph() {
  local i width=24
  for ((i = 0; i < width; i++)); do
    printf 'a%d\nb%d a%d a%d\nc%d a%d\nd%d b%d c%d\n' "$i" "$i" "$i" $(((i + 1) % width)) "$i" "$i" "$i" "$i" "$i"
  done | jq -nR --arg script "$ALONE" '{version: 1, tasks: [inputs | split(" ") |
    {key: .[0], value: {event: "graph", owner: "alice", script: "NAME=\(.[0]); \($script)", waits_for: .[1:]}}] | from_entries}' |
    eorva apply - --yes --any-event >/dev/null
}

# start COMMAND...: starts executions until there were enough starts of tasks; some are refused.
start() {
  until [[ -e /tmp/starts && $(wc -l </tmp/starts) -ge $STARTS ]]; do
    eorva "$@" >/dev/null 2>&1 || true
  done
}

@test "$STARTS starts by 8 executions of one graph: no two runs of a task overlap or share a folder" {
  local task i
  add_graph
  for i in 1 2 3 4 5; do
    start fire graph 3>&- &
  done
  for task in b0 c1 d2; do
    start run "$task" 3>&- &
  done
  wait
  same "noted by the scripts" "" "$(cat /tmp/overlaps 2>/dev/null || true)"
  eorva runs list --limit 0 --json >runs
  (($(jq length runs) >= STARTS))
  same "starts of a task in one second" 0 "$(jq '[group_by([.task_name, .start_time])[] | select(length > 1)] | length' runs)"
  same "records without an end" 0 "$(jq '[.[] | select(.stop_time == null)] | length' runs)"
  same "runs that were not ok" 0 "$(jq '[.[] | select(.outcome != "ok")] | length' runs)"
}

#!/usr/bin/env bats
# The processes of executions are killed at random moments.

load common

KILLS=${EORVA_KILLS:-64}
EVENTS=(one two three four five six seven eight)

setup() {
  fresh_store
  chmod 1777 /tmp
  rm -f /tmp/go
}

teardown() { rm -f /tmp/go; }

@test "$KILLS kills of the processes of executions: the next command closes all runs with their true ends, and nothing is lost" {
  local event i
  for event in "${EVENTS[@]}"; do
    for i in 0 1 2 3 4 5 6 7 8 9; do
      # In a session of its own: it ends only with the group of the run. One does not end by itself.
      add_task "$event-$i" "$event" alice "setsid --wait sh -c '$( ((i == 4)) && echo 'while [ ! -e /tmp/go ]; do sleep 0.1; done;') sleep 0.$i'; exit $i" \
        $( ((i > 4)) && echo --after "$event-$((i - 5))")
    done
  done
  add_task next other bob 'exit 0'
  /usr/bin/python3 "$BATS_TEST_DIRNAME/held/kill_rounds.py" "$KILLS" "$DATABASE" "${EVENTS[@]}" 3>&- >told
  echo "# $(tail -n 1 told)" >&3
  same "running lists that are not empty" 0 \
    "$(sqlite3 "$DATABASE" "select count(*) from task where json_array_length(json_extract(status, '\$.running')) > 0")"
  same "integrity" ok "$(sqlite3 "$DATABASE" 'pragma integrity_check')"
  # No task is blocked.
  touch /tmp/go
  for event in "${EVENTS[@]}"; do
    run -3 eorva fire "$event"
    says "event $event: 10 runs, 1 ok, 9 failed"
  done
}

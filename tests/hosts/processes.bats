#!/usr/bin/env bats
# Several processes on one database.

load common

PROCESSES=8
ROUNDS=3
TASKS=18

setup() { fresh_store; }

# Fires an event repeatedly; keeps all messages.
fire_rounds() {
  local round
  for ((round = 0; round < ROUNDS; round++)); do
    eorva --log-stdout fire "event-$1" >>"log-$1" 2>&1 || echo "answer $?" >>"answers"
  done
}

@test "8 processes, 432 runs: every record is closed once, no write is refused" {
  local process task
  for ((process = 0; process < PROCESSES; process++)); do
    for ((task = 0; task < TASKS; task++)); do
      # A chain of three, so that dependants are found and started too.
      add_task "p$process-t$task" "event-$process" "$((task % 2 ? 7001 : 7002))" 'exit 0' \
        $( ((task % 6 == 5)) && echo --after "p$process-t$((task - 1))")
    done
  done
  : >answers
  for ((process = 0; process < PROCESSES; process++)); do
    fire_rounds "$process" 3>&- &
  done
  wait
  same "answers other than 0" "" "$(cat answers)"
  local runs
  runs=$(eorva runs list --limit 0 --json)
  same "runs" $((PROCESSES * ROUNDS * TASKS)) "$(jq length <<<"$runs")"
  same "closed with 0" $((PROCESSES * ROUNDS * TASKS)) "$(jq '[.[] | select(.stop_time != null and .outcome == "ok")] | length' <<<"$runs")"
  same "runs of each task" "[$ROUNDS]" "$(jq -c '[group_by(.task_name)[] | length] | unique' <<<"$runs")"
  same "left on running lists" '[{"running":[]}]' "$(eorva task list --json | jq -c '[.[].status] | unique')"
  same "integrity" ok "$(sqlite3 "$DATABASE" 'pragma integrity_check')"
  same "references" "" "$(sqlite3 "$DATABASE" 'pragma foreign_key_check')"
  same "failures" "" "$(grep -hE 'Failed|error|interrupted|locked|busy' log-* || true)"
  same "closed in the logs" $((PROCESSES * ROUNDS * TASKS)) "$(cat log-* | grep -cE ': exit 0, after')"
  same "left in /tmp" "" "$(find /tmp -maxdepth 1 -name 'eorvascheduler*')"
}

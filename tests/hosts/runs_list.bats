#!/usr/bin/env bats
# Lists of runs.

load common

setup() {
  fresh_store
  add_task one bootup alice 'exit 0'
  add_task two shutdown bob 'exit 0'
  # Run N started N hours after the epoch.
  sqlite3 "$DATABASE" "
    insert into task_result (result_id, task_name, trigger_event, start_time, stop_time, exit_info, pid, owner) values
      (1, 'one', 'bootup',    3600,  3660, '{\"exit_code\":0,\"exit_type\":\"normal\"}', 1, 7001),
      (2, 'two', 'shutdown',  7200,  7260, '{\"exit_code\":2,\"exit_type\":\"by_signal\"}', 1, 7002),
      (3, 'one', 'on_demand', 10800, 10860, '{\"exit_code\":1,\"exit_type\":\"normal\"}', 1, 7001),
      (4, 'one', 'bootup',    14400, 14460, 'no JSON', 1, 7001);"
}

numbers() { eorva runs list "$@" --json | jq -c '[.[].result_id]'; }

@test "lists can be filtered by task, event and owner" {
  same "all" "[4,3,2,1]" "$(numbers)"
  same "of one" "[4,3,1]" "$(numbers --task one)"
  same "by shutdown" "[2]" "$(numbers --event shutdown)"
  same "by hand" "[3]" "$(numbers --event on_demand)"
  same "of bob" "[2]" "$(numbers --owner bob)"
  same "of bob, by id" "[2]" "$(numbers --owner 7002)"
  same "of somebody without tasks" "[]" "$(numbers --owner root)"
  same "together" "[1]" "$(numbers --owner alice --event bootup --outcome ok)"
  run -1 --separate-stderr eorva runs list --event "x' or '1'='1"
  complains "there is no event \"x' or '1'='1\""
}

@test "lists can be filtered by outcome" {
  same "ok" '[1]' "$(numbers --outcome ok)"
  same "failed" '[4,3,2]' "$(numbers --outcome failed)"
  same "running" '[]' "$(numbers --outcome running)"
  same "shown" '["failed","failed","failed","ok"]' "$(eorva runs list --json | jq -c '[.[].outcome]')"
}

@test "interrupted runs can be listed alone" {
  local end='stop_time = start_time + 1, ended_by = null, shell_status = null'
  sqlite3 "$DATABASE" "update task_result set $end, exit_info = '{\"exit_type\": \"interrupted\"}' where result_id in (2, 3);
    update task_result set ended_by = 'stopped' where result_id = 3; update task_result set $end, exit_info = 'x' where result_id = 4"
  same "interrupted" '[2]' "$(numbers --outcome interrupted)"
  same "shown" "interrupted" "$(eorva runs list --outcome interrupted | sed -n '2s/.* //p')"
}

@test "an open run is listed as running" {
  add_task slow bootup alice 'echo $$ >/tmp/pid; read -r line </tmp/go'
  mkfifo /tmp/go
  eorva run slow >/dev/null &
  wait_until test -s /tmp/pid
  wait_until runs_are 5
  same "running" '[5]' "$(numbers --running)"
  same "ok" '[1]' "$(numbers --outcome ok)"
  echo >/tmp/go
  wait
  same "running afterwards" '[]' "$(numbers --running)"
}

@test "times are absolute or relative and local, and both limits are included" {
  export TZ=UTC
  same "from a time" "[4,3]" "$(numbers --since '1970-01-01 03:00')"
  same "from a second later" "[4]" "$(numbers --since '1970-01-01 03:00:01')"
  same "in the other form" "[4,3]" "$(numbers --since 1970-01-01T03:00:00)"
  same "up to a time" "[2,1]" "$(numbers --until '@7200')"
  same "between" "[3,2]" "$(numbers --since @7200 --until @10800)"
  same "up to a day" "[]" "$(numbers --until 1970-01-01)"
  same "up to the next day" "[4,3,2,1]" "$(numbers --until 1970-01-02)"
  same "elsewhere" "[2,1]" "$(TZ=Asia/Tokyo eorva runs list --until '1970-01-01 11:00' --json | jq -c '[.[].result_id]')"
  local now word
  now=$(date +%s)
  sqlite3 "$DATABASE" "update task_result set start_time = $now - 7200 where result_id = 4"
  same "in three hours" "[4]" "$(numbers --since 3h)"
  same "in one hour" "[]" "$(numbers --since 1h)"
  same "in an hour and a half" "[]" "$(numbers --since '1 hour 30min')"
  same "before an hour ago" "[4,3,2,1]" "$(numbers --until '1h ago')"
  for word in yesterday 2d 1w '-50 hours' "$(date -d yesterday +%F)"; do
    same "since $word" "[4]" "$(numbers --since "$word")"
  done
  same "from tomorrow" "[]" "$(numbers --since tomorrow)"
}

@test "a value that is not a time is wrong usage" {
  local time
  for time in 'soon' '2026-02-31' '2026-13-01' '25:00' '5' '2x' '2h later' '@' '@-5' '1e3h' '99999999999999999999d'; do
    run -2 --separate-stderr eorva runs list --since "$time"
    complains "--since \"$time\" is not a time"
    complains "yesterday"
  done
}

@test "an unknown user or task is named" {
  run -1 --separate-stderr eorva runs list --owner nobody-there
  complains 'there is no user "nobody-there"'
  run -1 --separate-stderr eorva runs list --task three
  complains 'there is no task "three"'
}

@test "pages have no gaps, even when runs are added meanwhile" {
  same "first page" "[4,3]" "$(numbers --limit 2)"
  run -0 --separate-stderr eorva runs list --limit 2
  complains "there are older runs: add --before 3"
  sqlite3 "$DATABASE" "insert into task_result (result_id, task_name, start_time, stop_time) values (9, 'one', 1, 2)"
  same "second page" "[2,1]" "$(numbers --limit 2 --before 3)"
  run -0 --separate-stderr eorva runs list --limit 2 --before 3
  same "nothing more" "" "$stderr"
  same "no limit" "[9,4,3,2,1]" "$(numbers --limit 0)"
}

@test "an interrupted run is not listed as running" {
  sqlite3 "$DATABASE" "insert into task_result (result_id, task_name, start_time, exit_info, pid) values (8, 'one', 5, '{}', 999999)"
  same "running" '[]' "$(numbers --running)"
  same "outcome" '"interrupted"' "$(eorva runs list --json --limit 1 | jq '.[0].outcome_text')"
}

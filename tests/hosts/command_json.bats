#!/usr/bin/env bats
# JSON output has the members that docs/command-json.md describes, and no others.

load common

DOCUMENT=$BATS_TEST_DIRNAME/../../docs/command-json.md

setup() { fresh_store; }

# members HEADING [MARK]: the members in the first table below a heading, sorted; with a mark, only those without it.
members() {
  awk -v heading="$1" -v mark="${2:-@}" '
    /^#/ { inside = ($0 ~ "^#+ " heading "$"); seen = 0 }
    inside && /^\| `/ { seen = 1; if (index($0, mark) == 0) { split($0, part, "`"); print part[2] } }
    inside && seen && !/^\|/ { inside = 0 }' "$DOCUMENT" | sort | jq -Rcn '[inputs]'
}

# documented HEADING OBJECT [ALSO]: checks that the object has all required members, and no unknown ones.
documented() {
  local all always
  all=$(members "$1")
  always=$(members "$1" 'may be absent')
  [[ $all != '[]' ]] || { echo "no table below $1" >&2; return 1; }
  same "missing in: $1" '[]' "$(jq -c --argjson always "$always" '$always - keys' <<<"$2")"
  same "not documented in: $1" '[]' "$(jq -c --argjson all "$all" 'keys - $all - $ARGS.positional' --args "${3:-}" <<<"$2")"
}

@test "tasks and runs" {
  add_task first bootup alice 'exit 0' --description 'what it is for'
  documented "A task" "$(eorva task show first --json)"
  run -0 eorva fire bootup
  add_task second bootup alice 'exit 0' --after first
  documented "A task" "$(eorva task show first --json)"
  documented "A task" "$(eorva task list --json | jq '.[1]')"
  documented "A task" "$(eorva task relate second --needs --json | jq '.[0]')"
  documented "A task" "$(eorva task graph bootup --json | jq '.[0]')" needed_by
  documented "A run" "$(eorva runs list --json | jq '.[0]')"
  documented "A run" "$(eorva runs show 1 --json)" next_try
}

@test "executions, starts and stopped runs" {
  add_task first bootup alice 'exit 0'
  add_task slow slow alice 'exec sleep 1000'
  local execution
  execution=$(eorva fire bootup --json)
  documented "An execution" "$execution"
  documented "A run" "$(jq '.runs[0]' <<<"$execution")"
  documented "An execution" "$(eorva run first --json)"
  documented "A start in the background" "$(eorva run slow --detach --json)"
  documented "An execution" "$(eorva fire shutdown --detach --json)"
  wait_until runs_are 3
  documented "A run" "$(eorva stop "$(run_of slow)" --grace 0 --json)"
  same "several runs" '["array",2]' "$(eorva stop 1 2 --json 2>/dev/null | jq -c '[type, length]')"
}

@test "a task that was printed can be added again" {
  add_task first bootup alice 'exit 0' --mail root --description 'what it is for'
  eorva run first >/dev/null
  eorva task show first --json | jq '.owner = {(.owner | tostring): .owner_name} |
    del(.status, .last_start_time, .last_stop_time, .last_exit_info, .owner_name, .waits_for)' >task.json
  local before
  before=$(eorva task show first --json | jq -S 'del(.status, .last_start_time, .last_stop_time, .last_exit_info)')
  run -0 eorva task delete first --yes
  run -0 eorva task add --record task.json
  same "the task" "$before" "$(eorva task show first --json | jq -S .)"
}

@test "plans, explanations and checks" {
  add_task first bootup alice 'exit 0'
  add_task second bootup alice '' --after first --disabled
  local plan explanation check
  plan=$(eorva event plan bootup --json)
  documented "A plan" "$plan"
  documented "A task of a plan" "$(jq '.would_run[0]' <<<"$plan")"
  documented "A reason" "$(jq '.would_not_run[0].reasons[0]' <<<"$plan")"
  same "a task that would not run" '["reasons","task_name"]' "$(jq -c '.would_not_run[0] | keys' <<<"$plan")"
  run -0 eorva fire bootup
  explanation=$(eorva explain second --json)
  documented "An explanation" "$explanation"
  documented "A reason" "$(jq '.reasons[0]' <<<"$explanation")"
  same "a task that it waits for" '["run","task_name"]' "$(jq -c '.needs[0] | keys' <<<"$explanation")"
  documented "A run" "$(jq '.needs[0].run' <<<"$explanation")"
  check=$(eorva check --json || true)
  documented "A check" "$check"
  documented "A finding" "$(jq '.findings[0]' <<<"$check")"
}

@test "configuration, documents, events and pruned runs" {
  add_task first bootup alice 'exit 0'
  eorva run first >/dev/null
  documented "The configuration" "$(eorva config show --json)"
  documented "An exported document" "$(eorva export --json)"
  documented "Applied changes" "$(eorva export | eorva apply - --json)"
  documented "An event of the log" "$(eorva log --json | jq '.[-1]')"
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, stop_time) values ('first', 1, 2)"
  cp /etc/eorva.conf eorva.conf
  printf 'retention_runs=1\nretention_failed_runs=0\n' >/etc/eorva.conf
  local pruned
  pruned=$(eorva runs prune --json --dry-run)
  cp eorva.conf /etc/eorva.conf
  documented "A pruning" "$pruned"
  documented "A pruned run" "$(jq '.runs[0]' <<<"$pruned")"
}

@test "settings, files of runs, events and shares" {
  add_task first bootup alice 'printf "a\nb\nc\n"'
  eorva run first >/dev/null
  printf 'printf "\\374\\n"; : \374\n' | eorva task edit first --script - >/dev/null
  eorva run first >/dev/null
  documented "A setting" "$(eorva config get retention_runs --json)"
  same "setting" '{"key":"retention_runs","value":"50"}' \
    "$(eorva config set retention_runs=50 >/dev/null; eorva config get retention_runs --json | jq -c .)"
  documented "A file of a run" "$(eorva runs output 1 --json)"
  documented "A file of a run" "$(eorva runs script 2 --json)" text_base64
  same "its last lines" '{"file":"output.log","offset":2,"result_id":1,"size":6,"task_name":"first","text":"b\nc\n","truncated":false}' \
    "$(eorva runs output 1 --json --tail 2 | jq -cS .)"
  same "bytes" $'\374' "$(eorva runs output 2 --json | jq -r .text_base64 | base64 -d)"
  same "text" '"\ufffd\n"' "$(eorva runs output 2 --json | jq -a .text)"
  run -2 --separate-stderr eorva runs output 1 --json --follow
  run -3 eorva runs diff 1 2 --json
  documented "A difference" "$output" difference_base64
  same "the two runs" '[1,2,false]' "$(jq -c '[.left, .right, .same]' <<<"$output")"
  jq -r .difference_base64 <<<"$output" | base64 -d | grep -axF -- $'+printf "\\374\\n"; : \374'
  run -0 eorva runs diff 1 1 --json
  same "no difference" '[true,""]' "$(jq -c '[.same, .difference]' <<<"$output")"
  documented "An event" "$(eorva event list --json | jq '.[0]')"
  documented "A share" "$(eorva share list --json | jq '.[0]')"
}

@test "JSON has the end of a long output" {
  add_task long bootup alice 'head -c 3000000 /dev/zero | tr "\0" x; echo end'
  eorva run long >/dev/null
  eorva runs output 1 --json >long.json
  same "its members" '[3000004,1951428,1048576,true,"xend\n"]' "$(jq -c '[.size, .offset, (.text | length), .truncated, .text[-5:]]' long.json)"
  # Each character has three bytes, so the limit cuts one.
  yes € | head -n 400000 | tr -d '\n' >"$KEPT/long/$(field 1 start_time)/output.log"
  same "whole characters" '[1200000,151425,1048575,"€",false]' \
    "$(eorva runs output 1 --json | jq -c '[.size, .offset, (.text | utf8bytelength), .text[0:1], has("text_base64")]')"
}

@test "a script that is not UTF-8 is printed as JSON, with its bytes in base64" {
  printf 'echo \374\n' | eorva task add latin --event bootup --owner alice --script - >/dev/null
  eorva run latin --env "X=$(printf 'a\377')" >/dev/null
  local command
  for command in "task list" "task show latin" "task graph bootup" "runs list" "runs show 1" "event plan bootup" \
    "explain latin" "export" "runs output 1" "runs script 1"; do
    eorva $command --json >out.json
    iconv -f UTF-8 -t UTF-8 out.json >/dev/null || { echo "$command" >&2; return 1; }
    jq . out.json >/dev/null
  done
  same "text" '"echo \ufffd\n"' "$(eorva task show latin --json | jq -a .operation)"
  documented "A task" "$(eorva task show latin --json)" operation_base64
  same "bytes" "$(printf 'echo \374' | base64)" "$(eorva task show latin --json | jq -r .operation_base64 | base64 -d | head -c 6 | base64)"
  eorva task show latin --json | jq '.owner = {(.owner | tostring): .owner_name} | .task_name = "again" |
    del(.status, .last_start_time, .last_stop_time, .last_exit_info, .owner_name, .waits_for)' >task.json
  run -0 eorva task add --record task.json
  same "the same script" "$(sqlite3 "$DATABASE" "select hex(operation) from task where task_name = 'latin'")" \
    "$(sqlite3 "$DATABASE" "select hex(operation) from task where task_name = 'again'")"
  eorva task show again --json | jq '{operation_base64: "?"}' >task.json
  run -1 --separate-stderr eorva task edit again --record task.json
  complains "operation_base64: is not base64"
}

#!/usr/bin/env bats
# What --json prints has the members that docs/command-json.md tells of, and no others.

load common

DOCUMENT=$BATS_TEST_DIRNAME/../../docs/command-json.md

setup() { fresh_store; }

# members HEADING [MARK]: of the first table below a heading, sorted; with a mark, only those without it.
members() {
  awk -v heading="$1" -v mark="${2:-@}" '
    /^#/ { inside = ($0 ~ "^#+ " heading "$"); seen = 0 }
    inside && /^\| `/ { seen = 1; if (index($0, mark) == 0) { split($0, part, "`"); print part[2] } }
    inside && seen && !/^\|/ { inside = 0 }' "$DOCUMENT" | sort | jq -Rcn '[inputs]'
}

# documented HEADING OBJECT [ALSO]: it has all members that are always there, and none besides.
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
  documented "A run" "$(eorva runs show 1 --json)"
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
  documented "An obstacle" "$(jq '.would_not_run[0].reasons[0]' <<<"$plan")"
  same "a task that would not run" '["reasons","task_name"]' "$(jq -c '.would_not_run[0] | keys' <<<"$plan")"
  run -0 eorva fire bootup
  explanation=$(eorva explain second --json)
  documented "An explanation" "$explanation"
  documented "An obstacle" "$(jq '.reasons[0]' <<<"$explanation")"
  same "a task that it waits for" '["run","task_name"]' "$(jq -c '.needs[0] | keys' <<<"$explanation")"
  documented "A run" "$(jq '.needs[0].run' <<<"$explanation")"
  check=$(eorva check --json || true)
  documented "A check" "$check"
  documented "A finding" "$(jq '.findings[0]' <<<"$check")"
}

@test "configuration, documents, events and what was pruned" {
  add_task first bootup alice 'exit 0'
  eorva run first >/dev/null
  documented "The configuration" "$(eorva config show --json)"
  documented "An exported document" "$(eorva export --json)"
  documented "What was applied" "$(eorva export | eorva apply - --json)"
  documented "An event of the log" "$(eorva log --json | jq '.[-1]')"
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, stop_time) values ('first', 1, 2)"
  cp /etc/eorva.conf eorva.conf
  printf 'retention_runs=1\nretention_failed_runs=0\n' >/etc/eorva.conf
  local pruned
  pruned=$(eorva runs prune --json --dry-run)
  cp eorva.conf /etc/eorva.conf
  documented "What was pruned" "$pruned"
  documented "A run that was pruned" "$(jq '.runs[0]' <<<"$pruned")"
}

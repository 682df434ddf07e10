#!/usr/bin/env bats
# What is kept of runs.

load common

setup() { fresh_store; }

@test "the table shows the newest run first" {
  add_task one bootup alice 'exit 0'
  add_task two bootup bob 'exit 2' --after one
  run -3 eorva fire bootup
  run -0 eorva runs list
  [[ ${lines[0]} =~ RUN\ +TASK\ +OWNER\ +TRIGGER\ +START\ +STOP\ +TIME\ +HOW\ IT\ ENDED$ ]]
  [[ ${lines[1]} =~ 2\ +two\ +bob\ +bootup\ +[0-9-]+\ [0-9:]+\ +[0-9-]+\ [0-9:]+\ +[0-9]+\ s\ +exit\ 2\ or\ signal\ 2\ \(SIGINT\)$ ]]
  [[ ${lines[2]} =~ 1\ +one\ +alice\ +bootup\ .*exit\ 0$ ]]
}

@test "the record has these members and no others" {
  add_task one bootup alice 'exit 0'
  run -0 eorva run one
  run -0 eorva runs list --json
  same "members" '["duration","event_fire_time","exit_info","extra","outcome","outcome_text","owner_name","pid","result_id","run_time_env","start_time","stop_time","task_name","trigger_event"]' \
    "$(jq -c '.[0] | keys' <<<"$output")"
  same "types" '["number","number","object","string","number"]' \
    "$(jq -c '.[0] | [.duration, .start_time, .exit_info, .outcome, .result_id] | map(type)' <<<"$output")"
}

@test "lists are narrowed by task, event and number" {
  add_task one bootup alice 'exit 0'
  add_task two shutdown alice 'exit 0'
  eorva fire bootup >/dev/null
  eorva fire shutdown >/dev/null
  eorva run one >/dev/null
  numbers() { eorva runs list "$@" --json | jq -c '[.[].result_id]'; }
  same "all" "[3,2,1]" "$(numbers)"
  same "of one" "[3,1]" "$(numbers --task one)"
  same "by shutdown" "[2]" "$(numbers --event shutdown)"
  same "by hand" "[3]" "$(numbers --event on_demand)"
  same "the newest two" "[3,2]" "$(numbers --limit 2)"
  same "no limit" "[3,2,1]" "$(numbers --limit 0)"
  same "of a hostile event" "[]" "$(numbers --event "x' or '1'='1")"
}

@test "a run that does not exist is named" {
  local command
  for command in show output script; do
    run -1 --separate-stderr eorva runs "$command" 4711
    complains "there is no run 4711"
  done
}

@test "output and script are what ran then, not what the task says now" {
  add_task one bootup alice 'echo first; echo error >&2'
  eorva run one >/dev/null
  eorva task delete one --yes >/dev/null
  add_task one bootup alice 'echo second'
  eorva run one >/dev/null
  same "output" second "$(eorva runs output "$(run_of one)")"
  same "script" "echo second" "$(eorva runs script "$(run_of one)")"
}

@test "a long log is passed on without being held in memory" {
  add_task long bootup alice 'head -c 200000000 /dev/zero'
  run -0 eorva run long
  same "bytes" 200000000 "$(eorva runs output 1 | wc -c)"
  run -0 bash -c 'ulimit -v 150000; set -o pipefail; eorva runs output 1 | wc -c'
  same "bytes with little memory" 200000000 "$output"
}

@test "bytes pass through unchanged" {
  add_task raw bootup alice 'printf "a\\000b\\377\\033[31m"'
  run -0 eorva run raw
  same "bytes" "$(printf 'a\000b\377\033[31m' | od -c)" "$(eorva runs output 1 | od -c)"
}

@test "an output that is no longer there is named" {
  add_task one bootup alice 'echo gone'
  run -0 eorva run one
  rm -r "$KEPT/one"
  run -1 --separate-stderr eorva runs output 1
  complains "$KEPT/one"
}

@test "what the owner put in the place of an output is not shown" {
  add_task one bootup alice 'exit 0'
  run -0 eorva run one
  local file
  file=$(echo "$KEPT"/one/*/output.log)
  rm "$file"
  ln -s /etc/shadow "$file"
  run -1 --separate-stderr eorva runs output 1
  complains "output.log"
  rm "$file"
  echo secret >"$KEPT/secret"
  ln "$KEPT/secret" "$file"
  run -1 --separate-stderr eorva runs output 1
  complains "it is no plain file"
  rm "$file"
  mkfifo "$file"
  run -1 --separate-stderr timeout 10 eorva runs output 1
  complains "it is no plain file"
  rm "$file"
  mkdir "$file"
  run -1 --separate-stderr eorva runs output 1
  complains "output.log"
  mv "$KEPT/one" "$KEPT/kept"
  ln -s "$KEPT/kept" "$KEPT/one"
  run -1 --separate-stderr eorva runs script 1
  complains "$KEPT/one"
}

@test "show explains one run" {
  add_task three bootup alice 'exit 3'
  run -3 eorva run three
  run -0 eorva runs show 1
  says "task:            three"
  says "trigger:         on_demand"
  says "The script ended with 3, or was killed by signal 3 (SIGQUIT), which a shell reports as 131"
}

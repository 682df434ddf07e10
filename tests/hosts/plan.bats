#!/usr/bin/env bats
# Event plans, task graphs and related tasks.

load common

setup() { fresh_store; }

# ended TASK SECONDS: records an ended run of that duration.
ended() {
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, stop_time, pid, event_fire_time, trigger_event,
    exit_info) values ('$1', 1000, 1000 + $2, 1, 1000, 'bootup', '{\"exit_type\": \"normal\", \"exit_code\": 0}')"
}

@test "a plan shows waves, durations and the expected end" {
  add_task root bootup alice 'exit 0'
  add_task left bootup bob 'exit 0' --after root
  add_task right bootup bob 'exit 0' --after root
  add_task leaf bootup alice 'exit 0' --after left --after right
  ended root 999
  ended root 10
  ended left 20
  ended right 5
  ended leaf 100
  run -0 eorva event plan bootup --json
  same "waves" '[["left",2,20,11,31],["right",2,5,11,16],["leaf",3,100,32,132],["root",1,10,0,10]]' \
    "$(jq -c '.would_run | sort_by(.wave, .task_name) | [.[1], .[2], .[3], .[0]] | map([.task_name, .wave, .last_duration, .starts_after, .ends_after])' <<<"$output")"
  same "in the order of waves" '["root","left","right","leaf"]' "$(jq -c '.would_run | map(.task_name)' <<<"$output")"
  same "the end" '[132,true,[],[]]' "$(jq -c '[.duration, .duration_known, .would_not_run, .problems]' <<<"$output")"
  run -0 eorva event plan bootup
  [[ ${lines[0]} =~ ^WAVE\ TASK\ +OWNER\ +WAITS\ FOR\ +LAST\ TIME\ +STARTS\ AFTER$ ]]
  [[ ${lines[1]} =~ ^\ +1\ root\ +alice\ +-\ +10s\ +0s$ ]]
  [[ ${lines[4]} =~ ^\ +3\ leaf\ +alice\ +left,\ right\ +1m40s\ +32s$ ]]
  says "event bootup: 4 tasks, would end after 2m12s, at "
}

@test "without earlier runs, the plan shows the earliest end" {
  add_task root bootup alice 'exit 0'
  run -0 eorva event plan bootup
  says "event bootup: 1 task, would end at the earliest after 0s, at "
  run -0 eorva event plan bootup --json
  same "duration" '[null,false]' "$(jq -c '[.would_run[0].last_duration, .duration_known]' <<<"$output")"
}

@test "the plan lists tasks that would not start, each with the reason and a command" {
  add_task root bootup alice 'exit 0'
  add_task off bootup alice 'exit 0' --disabled
  add_task behind bootup alice 'exit 0' --after off
  add_task further bootup alice 'exit 0' --after root --after behind
  add_task lonely bootup alice 'exit 0'
  add_task astray bootup alice 'exit 0'
  add_task elsewhere shutdown alice 'exit 0'
  add_task odd bootup alice 'exit 0'
  sqlite3 "$DATABASE" "update task set depend_on_task = '[ghost]' where task_name = 'lonely';
    update task set depend_on_task = '[elsewhere]' where task_name = 'astray';
    update task set depend_on_task = 'nobody' where task_name = 'odd'"
  run -0 eorva event plan bootup --json
  same "started" '["root"]' "$(jq -c '.would_run | map(.task_name)' <<<"$output")"
  same "not started" '[["astray","other_event","elsewhere"],["behind","need_disabled","off"],["further","need_blocked","behind"],["lonely","missing","ghost"],["odd","malformed",null],["off","disabled",null]]' \
    "$(jq -c '.would_not_run | map([.task_name, .reasons[0].code, .reasons[0].other_task])' <<<"$output")"
  run -0 eorva event plan bootup
  says $'  off is disabled\n      eorva task enable off'
  says $'  behind waits for "off", which is disabled\n      eorva task enable off'
  says $'  further waits for "behind", which is not started\n      eorva explain behind'
  says $'  lonely waits for "ghost", and there is no such task\n      eorva task edit lonely --no-after'
  says $'  astray waits for "elsewhere", which belongs to the event "shutdown"\n      eorva task edit elsewhere --event bootup'
  says $'  odd has a dependency list that cannot be read, "nobody"\n      eorva task edit odd --no-after'
}

@test "the event starts the tasks of the plan" {
  add_task root bootup alice 'exit 0'
  add_task off bootup alice 'exit 0' --disabled
  add_task behind bootup alice 'exit 0' --after off
  add_task next bootup bob 'exit 0' --after root
  local planned
  planned=$(eorva event plan bootup --json | jq -c '.would_run | map(.task_name)')
  run -0 eorva fire bootup
  same "planned and run" "$planned" "$(eorva runs list --json | jq -c 'map(.task_name) | reverse')"
}

@test "the plan refuses a running task, and does not start its dependants" {
  add_task long bootup alice 'exec sleep 300'
  add_task next bootup alice 'exit 0' --after long
  eorva run long >/dev/null 3>&- &
  wait_until runs_are 1
  run -0 eorva event plan bootup --json
  same "not started" '[["long","running"],["next","need_blocked"]]' \
    "$(jq -c '.would_not_run | map([.task_name, .reasons[0].code])' <<<"$output")"
  eorva task edit long --parallel
  same "started" '["long","next"]' "$(eorva event plan bootup --json | jq -c '.would_run | map(.task_name)')"
  pkill -u alice sleep
  wait %1 || true
}

@test "a plan names tasks that cannot be run safely" {
  add_task task_1 bootup alice 'exit 0'
  add_task taskX2 bootup alice 'exit 0'
  sqlite3 "$DATABASE" "update task set task_name = 'taskX1' where task_name = 'taskX2'"
  run -0 eorva event plan bootup
  says 'nothing would be started: these tasks cannot be run safely:'
  says 'the name "taskX1" is also matched by the task "task_1"'
}

@test "an event without tasks would start nothing" {
  run -0 eorva event plan bootup
  same "plan" "nothing would be started" "$output"
}

@test "the graph is written for Graphviz" {
  add_task root bootup alice 'exit 0'
  add_old_task 'two words' bootup bob 'exit 0' --after root --disabled
  run -0 eorva task graph bootup --format dot
  same "graph" 'digraph "bootup" {
  rankdir=LR;
  node [shape=box];
  "root" [label="root\nalice"];
  "two words" [label="two words\nbob", style=dashed];
  "root" -> "two words";
}' "$output"
  same "JSON" "$(eorva task graph bootup --json)" "$(eorva task graph bootup --format json)"
  run -2 --separate-stderr eorva task graph bootup --format gif
  complains gif
}

@test "relate lists dependencies and dependants, direct and indirect" {
  add_task a bootup alice 'exit 0'
  add_task b bootup alice 'exit 0' --after a
  add_task c bootup alice 'exit 0' --after b
  add_task d bootup alice 'exit 0' --after c
  add_task other bootup alice 'exit 0'
  add_task elsewhere shutdown alice 'exit 0'
  names() { eorva task relate "$@" --json | jq -c 'map(.task_name) | sort'; }
  same "c waits for" '["a","b"]' "$(names c --needs)"
  same "dependants of b" '["c","d"]' "$(names b --needed-by)"
  same "candidates for c" '["other"]' "$(names c --candidates)"
  same "a waits for" '[]' "$(names a --needs)"
  run -0 eorva task relate d --needs
  [[ ${lines[0]} =~ ^TASK\ EVENT\ +OWNER\ WAITS\ FOR$ && ${#lines[@]} == 4 ]]
  run -2 --separate-stderr eorva task relate c
  run -2 --separate-stderr eorva task relate c --needs --needed-by
  run -1 --separate-stderr eorva task relate ghost --needs
  complains 'there is no task "ghost"'
}

@test "relate refuses a graph with a circle" {
  add_task a bootup alice 'exit 0'
  add_task b bootup alice 'exit 0' --after a
  add_task c bootup alice 'exit 0' --after b
  sqlite3 "$DATABASE" "update task set depend_on_task = '[b]' where task_name = 'a'"
  run -1 --separate-stderr timeout 60 eorva task relate c --needs
  complains 'the tasks wait for each other in a circle'
}

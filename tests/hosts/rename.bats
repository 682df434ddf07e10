#!/usr/bin/env bats
# Renaming and deleting tasks.

load common

setup() { fresh_store; }

@test "a rename changes dependency lists, run records and output" {
  add_task first bootup alice 'echo of the old name'
  add_task second bootup alice 'exit 0' --after first
  add_task third bootup alice 'exit 0' --after second --after first
  eorva run first >/dev/null
  run -0 --separate-stderr eorva task rename first earliest --yes
  same "answer" "renamed first to earliest" "$output"
  same "lists" '[["earliest",""],["second","[earliest]"],["third","[second][earliest]"]]' \
    "$(eorva task list --json | jq -c 'map([.task_name, .depend_on_task])')"
  same "task of run 1" '"earliest"' "$(field 1 task_name)"
  run -0 eorva runs output 1
  same "output of run 1" "of the old name" "$output"
  [[ ! -e $KEPT/first ]]
}

@test "a new name must follow the rules for new tasks" {
  add_task it bootup alice 'exit 0'
  add_task other_1 bootup alice 'exit 0'
  local name
  for name in '../up' 'a;b' '' ' x' 'a[b' "$(printf 'x%.0s' {1..65})" -- other_1 OTHER_1 other-1 it; do
    [[ $name == -- ]] && continue
    run -1 --separate-stderr eorva task rename it "$name" --yes
    [[ $stderr == *"name: "* || $stderr == *"already has this name"* ]] || { echo "$name: $stderr" >&2; return 1; }
  done
  same "tasks" '["it","other_1"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
  run -0 eorva task rename it IT --yes
  run -1 --separate-stderr eorva task rename ghost name --yes
  complains 'there is no task "ghost"'
}

@test "a task with an invalid name can be renamed" {
  add_task it bootup alice 'exit 0'
  add_task second bootup alice 'exit 0' --after it
  sqlite3 "$DATABASE" "pragma foreign_keys = on; update task set task_name = '../it' where task_name = 'it';
    update task set depend_on_task = '[../it]' where task_name = 'second'"
  run -0 eorva task rename ../it it --yes
  same "lists" '[["it",""],["second","[it]"]]' "$(eorva task list --json | jq -c 'map([.task_name, .depend_on_task])')"
}

@test "rename lists the dependants, and accepts only a yes" {
  add_task first bootup alice 'exit 0'
  add_task second bootup alice 'exit 0' --after first
  run -1 --separate-stderr eorva task rename first earliest </dev/null
  complains 'these tasks then wait for "earliest": second'
  complains 'to confirm, add --yes'
  run -1 script -qec 'eorva task rename first earliest' /dev/null <<<'n'
  same "tasks" '["first","second"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
  run -0 script -qec 'eorva task rename first earliest' /dev/null <<<'y'
  same "tasks" '["earliest","second"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
}

@test "a running task cannot be renamed" {
  add_task long bootup alice 'exec sleep 300'
  eorva run long >/dev/null 3>&- &
  wait_until runs_are 1
  run -1 --separate-stderr eorva task rename long short --yes
  complains 'the task "long" is running (process '
  complains 'cannot be renamed now'
  pkill -u alice sleep
  wait %1 || true
  run -0 eorva task rename long short --yes
}

@test "a task that an execution may still start cannot be renamed" {
  add_task long bootup alice 'exec sleep 300'
  add_task next bootup alice 'exit 0' --after long
  eorva fire bootup >/dev/null 3>&- &
  wait_until runs_are 1
  run -1 --separate-stderr eorva task rename next other --yes
  complains 'the task "next" cannot be renamed now: an execution may still start it'
  run -1 --separate-stderr eorva task delete next --yes
  complains 'the task "next" cannot be deleted now'
  pkill -u alice sleep
  wait %1 || true
  same "runs" '["next","long"]' "$(eorva runs list --json | jq -c 'map(.task_name)')"
}

@test "a task cannot be renamed or deleted while an execution may still start a dependant" {
  add_task first bootup alice 'exit 0'
  add_task other bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  add_task second bootup alice 'exit 0' --after first --after other
  eorva fire bootup >/dev/null 3>&- &
  first_ended() { [[ $(field "$(run_of first)" outcome) == '"ok"' ]]; }
  wait_until first_ended
  run -1 --separate-stderr eorva task rename first earliest --yes
  complains 'the task "first" cannot be renamed now: "second" waits for it, and an execution may still start'
  run -1 --separate-stderr eorva task delete first --yes
  complains 'the task "first" cannot be deleted now: "second" waits for it'
  touch /tmp/go
  wait
  runs_are 3
  same "list" '"[first][other]"' "$(eorva task list --json | jq -c '.[] | select(.task_name == "second").depend_on_task')"
  run -0 eorva task rename first earliest --yes
}

@test "renaming again completes an interrupted rename" {
  add_task it bootup alice 'echo kept'
  eorva run it >/dev/null
  mv "$KEPT/it" "$KEPT/other"
  run -0 eorva task rename it other --yes
  run -0 eorva runs output 1
  same "output" kept "$output"
}

@test "when the store refuses, the output folder has its old name again" {
  add_task it bootup alice 'echo kept'
  eorva run it >/dev/null
  sqlite3 "$DATABASE" "create trigger no before update of task_name on task begin select raise(abort, 'no'); end"
  run -1 --separate-stderr eorva task rename it other --yes
  complains 'the store refused to rename the task "it"'
  run -0 eorva runs output 1
  same "output" kept "$output"
  [[ ! -e $KEPT/other ]]
}

@test "when the output folder cannot be moved, the task keeps its name" {
  add_task it bootup alice 'echo kept'
  eorva run it >/dev/null
  chmod 777 "$KEPT"
  run -1 --separate-stderr eorva task rename it other --yes
  complains "the output folder $KEPT may be changed by others"
  chmod 711 "$KEPT"
  same "tasks" '["it"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
  run -0 eorva runs output 1
}

@test "an existing folder with the new name is moved aside, and a link is not followed" {
  add_task it bootup alice 'echo kept'
  eorva run it >/dev/null
  mkdir target
  ln -s "$PWD/target" "$KEPT/other"
  run -0 eorva task rename it other --yes
  [[ -L $KEPT/other~1 && -d $KEPT/other && ! -L $KEPT/other ]]
  run -0 eorva runs output 1
  same "output" kept "$output"
  mv "$KEPT/other" elsewhere
  ln -s "$PWD/elsewhere" "$KEPT/other"
  run -0 eorva task rename other third --yes
  [[ -L $KEPT/third ]]
  run -1 --separate-stderr eorva runs output 1
  complains "it is a link, or not a folder"
}

@test "folders moved aside for another owner are renamed too, and folders of other tasks are not" {
  add_task it bootup alice 'echo of alice'
  eorva run it >/dev/null
  eorva task edit it --owner bob >/dev/null
  eorva run it >/dev/null 2>&1
  mkdir -m 700 "$KEPT/other" "$KEPT/other~1"
  run -0 eorva task rename it other --yes
  same "output of alice's run" "of alice" "$(eorva runs output 1)"
  same "output of bob's run" "of alice" "$(eorva runs output 2)"
  same "folders" "other other~1 other~2 other~3" "$(find "$KEPT" -mindepth 1 -maxdepth 1 -printf '%f\n' | sort | paste -sd ' ')"
  same "owners" "bob alice" "$(stat -c %U "$KEPT/other" "$KEPT/other~3" | paste -sd ' ')"
}

@test "when the store refuses, folders that were moved aside have their old names again" {
  add_task it bootup alice 'echo of alice'
  eorva run it >/dev/null
  eorva task edit it --owner bob >/dev/null
  eorva run it >/dev/null 2>&1
  sqlite3 "$DATABASE" "create trigger refuse before update on task_result begin select raise(abort, 'refused'); end"
  run -1 --separate-stderr eorva task rename it other --yes
  same "folders" "it it~1" "$(find "$KEPT" -mindepth 1 -maxdepth 1 -printf '%f\n' | sort | paste -sd ' ')"
  same "output of alice's run" "of alice" "$(eorva runs output 1)"
}

@test "a rename moves output after output has been switched off" {
  add_task it bootup alice 'echo kept'
  eorva run it >/dev/null
  jq '.eorvascheduler.enable_output = false' "$STORE/eorvascheduler-conf.json" >conf.json
  cp conf.json "$STORE/eorvascheduler-conf.json"
  run -0 eorva task rename it other --yes
  [[ -d $KEPT/other && ! -e $KEPT/it ]]
}

@test "a dependency list that names the task twice must be repaired first" {
  add_task it bootup alice 'exit 0'
  add_task twice bootup alice 'exit 0' --after it
  sqlite3 "$DATABASE" "update task set depend_on_task = '[it][it]' where task_name = 'twice'"
  run -1 --separate-stderr eorva task rename it other --yes
  complains "the task \"twice\" waits for \"it\" twice; set the tasks that it waits for with: eorva task edit twice --after it"
  run -1 --separate-stderr eorva task delete it --yes
  run -0 eorva task edit twice --after it
  run -0 eorva task rename it other --yes
}

@test "the output of a deleted task is moved aside, and another owner can use the name" {
  add_task it bootup alice 'echo hers'
  eorva run it >/dev/null
  run -0 --separate-stderr eorva task delete it --yes
  complains "its output is kept in $KEPT/it~1"
  same "earlier output" hers "$(cat "$KEPT"/it~1/*/output.log)"
  add_task it bootup bob 'echo his'
  run -0 eorva run it
  same "new output" his "$(eorva runs output "$(run_of it)")"
  run -0 --separate-stderr eorva task delete it --yes
  complains "its output is kept in $KEPT/it~2"
}

@test "a deletion names the tasks that no longer wait" {
  add_task it bootup alice 'exit 0'
  add_task one bootup alice 'exit 0' --after it
  add_task other bootup alice 'exit 0' --after it
  run -0 --separate-stderr eorva task delete it --yes
  same "deleted" "deleted it" "$output"
  complains "these tasks no longer wait for it: one, other"
  run -0 --separate-stderr eorva task delete one --yes
  [[ $stderr != *"no longer"* ]]
}

@test "a rename waits for other writers" {
  add_task it bootup alice 'exit 0'
  # A writer that takes and releases the lock until the name has changed.
  (for ((i = 0; i < 1000; i++)); do
    sqlite3 "$DATABASE" ".timeout 10000" "begin immediate; select sum(value) from generate_series(1, 20000); commit" >/dev/null
    [[ -e renamed ]] && break
  done) 3>&- &
  run -0 eorva task rename it other --yes
  touch renamed
  wait
  same "tasks" '["other"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
}

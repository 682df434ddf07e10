#!/usr/bin/env bats
# Completion of command lines in bash.

load common

setup() {
  fresh_store
  source /usr/share/bash-completion/completions/eorva
}

# completes WORD... : the words that complete the last word, separated by "|".
completes() {
  COMP_WORDS=(eorva "$@")
  COMP_CWORD=$#
  COMPREPLY=()
  _eorva
  local IFS='|'
  printf '%s' "${COMPREPLY[*]}"
}

# values WORD... - the values that may follow; no options
values() {
  eorva complete line -- "$@" '' | grep -v '^-' || true
}

@test "the words are printed one a line" {
  add_task first bootup alice 'exit 0'
  add_old_task 'two words' my-event alice 'exit 0'
  eorva run first >/dev/null
  eorva run first >/dev/null
  same "tasks" $'first\ntwo words' "$(values task show)"
  same "runs, the newest first, then tasks" $'2\n1\nfirst\ntwo words' "$(values runs show)"
  [[ $'\n'$(values fire)$'\n' == *$'\nbootup\n'*$'\nmy-event\n'* ]]
  [[ $'\n'$(values runs list --owner)$'\n' == *$'\nroot\n'*$'\nalice\n'* ]]
  [[ $'\n'$(values runs list --owner)$'\n' != *$'\ndaemon\n'* ]]
  same "shares" scheduler "$(values config set --output-path)"
  same "I/O classes" $'none\nidle\nbest-effort\nrealtime' "$(values task edit first --io-class)"
  same "folders" :files "$(values task edit first --directory)"
  run -2 eorva complete nonsense
  run -2 eorva complete tasks
}

@test "commands are completed, but not hidden ones" {
  same "the beginning of a command" "task" "$(completes ta)"
  same "commands of a command" "edit|enable" "$(completes task e)"
  [[ "|$(completes '')|" == *"|explain|"* && "|$(completes '')|" != *"|complete|"* ]]
  same "nothing" "" "$(completes nonsense x)"
}

@test "options are completed, those of the command and the general ones" {
  same "options" "--needs|--needed-by" "$(completes task relate x --nee)"
  same "a general option" "--color" "$(completes task relate --col)"
  same "its values" "auto|always" "$(completes --color a)"
  same "the values of a choice" "dot" "$(completes task graph bootup --format d)"
  same "with an equals sign" "bootup" "$(completes task list --event = boot)"
  [[ $'\n'$(eorva complete line -- --color=auto ta)$'\n' == *$'\ntask\n'* ]]
  same "right behind it" "--json" "$(completes task list --event = bootup --js)"
}

@test "tasks, events, runs, shares and users are completed" {
  add_task first bootup alice 'exit 0'
  add_task second my-event alice 'exit 0'
  eorva run first >/dev/null
  same "a task" "first" "$(completes task show f)"
  same "all tasks" "first|second" "$(completes explain '')"
  same "the second of several" "second" "$(completes task enable first s)"
  same "no task where a new name belongs" "" "$(completes task rename first '')"
  same "a task after an option" "second" "$(completes task edit first --after s)"
  same "an event" "bootup" "$(completes fire boot)"
  same "an event of one's own" "my-event" "$(completes event plan my)"
  eorva event add nightly
  same "an added event" "nightly" "$(completes fire night)"
  same "events that can be changed" "nightly" "$(completes event remove '')"
  same "a run" "1" "$(completes runs show 1)"
  same "a task with a run" "second" "$(completes runs output s)"
  same "a user" "alice" "$(completes task add x --owner ali)"
  same "a share" "scheduler" "$(completes config set --output-path sch)"
}

@test "names with spaces are put in quotes, and read with them" {
  add_old_task 'two words' bootup alice 'exit 0'
  add_old_task "two more" bootup alice 'exit 0'
  same "as one word" 'two\ more|two\ words' "$(completes task show two)"
  same "begun with a backslash" 'two\ words' "$(completes task show 'two\ w')"
  same "begun with a quote" "two words" "$(completes task show "'two w")"
  same "begun with a double quote" "two words" "$(completes task show '"two w')"
  same "after one that is done" "--json" "$(completes task show 'two\ words' --j)"
}

@test "typed words are not run" {
  completes task show '$(touch pwned)' '`touch pwned`' "'; touch pwned; '" '"$(touch pwned)' >/dev/null
  [[ ! -e pwned ]]
}

@test "file names are completed" {
  touch script-one.sh 'script two.sh'
  same "files" 'script two.sh|script-one.sh' "$(completes task add x --script scr | tr '|' '\n' | LC_ALL=C sort | paste -sd '|')"
}

@test "without a store, and for other users, no message appears in the line" {
  rm -r "$STORE"
  run -0 --separate-stderr values task show
  same "all of it" "" "$output$stderr"
  run -0 --separate-stderr setpriv --reuid=alice --regid=alice --init-groups /usr/sbin/eorva complete line -- ta
  same "for another user" "task" "$(grep -x task <<<"$output")"
  same "messages" "" "$stderr"
}

@test "only names that go on as typed are read" {
  add_task Other bootup alice 'exit 0'
  add_task first tea alice 'exit 0'
  run -0 eorva complete line -- task show Ot
  same "tasks" "Other" "$(grep -v "^-" <<<"$output")"
  run -0 eorva complete line -- task show x
  same "none" "" "$(grep -v "^-" <<<"$output")"
  run -0 eorva complete line -- fire te
  same "events" "tea" "$(grep -x te.* <<<"$output")"
}

@test "the function is loaded for eorva" {
  [[ $(complete -p eorva) == "complete -o nosort -F _eorva eorva" ]]
}

@test "open runs and settings are offered" {
  add_task slow bootup alice 'exec sleep 1000'
  add_task quick bootup alice 'exit 0'
  eorva run quick >/dev/null
  eorva run slow --detach >/dev/null
  wait_until runs_are 2
  same "runs and tasks to stop" "2|slow" "$(completes stop '')"
  same "settings" "retention_runs" "$(completes config get retention_r)"
  same "settings to change" "stop_grace=" "$(completes config set sto)"
  same "a variable" "" "$(completes fire bootup --env sto)"
  same "commands behind help" "edit|enable" "$(completes help task e)"
  eorva stop 2 --grace 0 >/dev/null
}

#!/usr/bin/env bats
# Adding, showing and deleting tasks.

load common

setup() { fresh_store; }

@test "a task is added, listed and shown" {
  printf 'echo hello\n' >hello.sh
  run -0 --separate-stderr eorva task add hello --event bootup --owner alice --script hello.sh
  same "answer" "added hello (event bootup, owner alice)" "$output"
  same "standard error" "" "$stderr"
  run -0 eorva task list
  [[ ${lines[0]} =~ ^TASK\ +EVENT\ +OWNER\ +ENABLED\ +WAITS\ FOR\ +TIME\ LIMIT\ +LAST\ START\ +HOW\ IT\ ENDED$ ]]
  [[ ${lines[1]} =~ ^hello\ +bootup\ +alice\ +yes\ +-\ +-\ +-\ +-$ ]]
  run -0 eorva task show hello
  shows_member "parallel runs" "no"
  says "echo hello"
}

@test "the record has these members and no others" {
  add_task hello bootup alice 'exit 0'
  run -0 eorva task list --json
  same "members" '["depend_on_task","directory","enable","environment","event","io_class","memory_limit","nice","notify_enable","notify_if_error","notify_mail","only_after_success","operation","operation_type","owner","owner_name","retries","retry_after","run_the_same_time","task_name","time_limit","waits_for"]' \
    "$(jq -c '.[0] | keys' <<<"$output")"
  same "record" '["hello","bootup",7001,"alice",true,false,"script","exit 0\n",[]]' \
    "$(jq -c '.[0] | [.task_name, .event, .owner, .owner_name, .enable, .run_the_same_time, .operation_type, .operation, .waits_for]' <<<"$output")"
  same "the same as shown" "$(jq -S '.[0]' <<<"$output")" "$(eorva task show hello --json | jq -S .)"
}

@test "an empty list is an empty array in JSON, and a message in the table" {
  run -0 eorva task list --json
  same "list" "[]" "$(jq -c . <<<"$output")"
  run -0 eorva task list
  same "said" "eorva: no tasks" "$output"
}

@test "options become members" {
  add_task first bootup alice 'exit 0'
  add_task second bootup bob 'exit 0'
  add_task both bootup 7002 'exit 0' --after first --after second --disabled --parallel --mail a@example.org,b@example.org --mail-if-error
  same "record" '["[first][second]",false,true,true,true,"a@example.org,b@example.org",7002]' \
    "$(eorva task show both --json | jq -c '[.depend_on_task, .enable, .run_the_same_time, .notify_enable, .notify_if_error, .notify_mail, .owner]')"
  run -0 eorva task show first
  shows_member "needed by" "both"
}

@test "list --event shows only tasks of that event" {
  add_task morning bootup alice 'exit 0'
  add_task evening shutdown alice 'exit 0'
  same "tasks" '["evening"]' "$(eorva task list --event shutdown --json | jq -c '[.[].task_name]')"
}

@test "an empty event is wrong usage" {
  run -2 --separate-stderr eorva task add one --event '' --owner alice --script - <<<'exit 0'
  complains "--event"
}

@test "all errors are reported at once, each with its member" {
  add_task elsewhere shutdown alice 'exit 0'
  run -1 --separate-stderr eorva task add '../up' --event on_demand --owner nobody-at-all --script - --after there \
    --after elsewhere --mail '-oops,x y' <<<'exit 0'
  complains 'the task "../up" is not added:'
  complains "name: must begin with a letter or a digit, not with '.'"
  complains 'event: must not be "on_demand", which means a manual start'
  complains 'owner: there is no user "nobody-at-all"'
  complains 'waits for: there is no task "there"'
  complains 'waits for: "elsewhere" belongs to the event "shutdown"'
  complains 'mail: "-oops" is not a mail address'
  complains 'mail: "x y" is not a mail address'
  same "tasks" 1 "$(eorva task list --json | jq length)"
}

@test "hostile names are refused as arguments too, and nothing changes" {
  local name names
  names=('..' '.' '../..' 'a/b' '/etc' "it's" 'say "x"' 'a;touch pwn' '$(touch pwn)' '`touch pwn`' 'a|b' 'a&b' 'a>b'
    'a<b' 'a*b' 'a?b' 'a[b]' 'a]b' 'a%b' 'a\b' '-rf' ' lead' 'trail ' $'new\nline' $'tab\tbed' $'bell\a' '~root' '#x'
    'a=b' 'a,b' $'\xff\xfe' $'cut\xc3' $'\xe2\x80\xae' $'dash\xe2\x80\x8b' $'\xc0\xaf' "$(printf 'x%.0s' {1..65})")
  local refused=0
  for name in "${names[@]}"; do
    run --separate-stderr eorva task add "$name" --event bootup --owner alice --script /dev/null
    [[ $status == 1 || $status == 2 ]] || { echo "not refused: $name" >&2; return 1; }
    refused=$((refused + 1))
  done
  same "refused" "${#names[@]}" "$refused"
  same "tasks" 0 "$(eorva task list --json | jq length)"
  [[ ! -e pwn && ! -e /pwn && ! -e /tmp/pwn ]]
}

@test "valid names are accepted" {
  local name
  for name in a 7 a.b under_score two-words Müll-Abfuhr 日次バックアップ "$(printf 'x%.0s' {1..64})"; do
    run -0 eorva task add "$name" --event bootup --owner alice --script /dev/null
    same "name" "\"$name\"" "$(eorva task show "$name" --json | jq .task_name)"
  done
}

@test "names that the library would confuse are refused" {
  add_task task_1 bootup alice 'exit 0'
  run -1 --separate-stderr eorva task add TASK_1 --event bootup --owner alice --script /dev/null
  complains 'name: is the same as "task_1", apart from upper and lower case or "_"'
  run -1 --separate-stderr eorva task add taskX1 --event bootup --owner alice --script /dev/null
  complains 'name: is also matched by the task "task_1"'
  add_task night-1 bootup alice 'exit 0'
  run -1 --separate-stderr eorva task add night_1 --event bootup --owner alice --script /dev/null
  complains 'name: also matches the task "night-1"'
  run -1 --separate-stderr eorva task add task_1 --event bootup --owner alice --script /dev/null
  complains 'name: is the name of another task'
}

@test "a graph that would keep the library busy is refused" {
  local layer from=() after i
  # Nine layers of three tasks, each waiting for the whole previous layer: a walk from the first makes 9,841 queries.
  for layer in 1 2 3 4 5 6 7 8 9; do
    after=()
    for i in "${from[@]}"; do after+=(--after "$i"); done
    from=()
    for i in a b c; do
      add_task "l$layer$i" bootup alice 'exit 0' "${after[@]}"
      from+=("l$layer$i")
    done
  done
  run -1 --separate-stderr eorva task add deep --event bootup --owner alice --script /dev/null \
    --after l9a --after l9b --after l9c
  complains 'waits for: too many paths through'
  same "tasks" 27 "$(eorva task list --json | jq length)"
}

@test "a record is stored completely, and checked as strictly" {
  cat >task.json <<'J'
{"task_name": "whole", "event": "bootup", "owner": {"7001": "alice"}, "operation": "exit 0\n"}
J
  run -0 eorva task add --record task.json
  same "owner" 7001 "$(eorva task show whole --json | jq .owner)"
  run -1 --separate-stderr eorva task add --record - <<<'{"task_name": "x", "status": {"running": [1]}, "event": 7, "enable": "yes", "owner": {"7001": "alice", "0": "root"}, "operation": "exit 0", "depend_on_task": "[whole"}'
  complains "status: is not a member that can be set"
  complains "event: must be a string"
  complains "enabled: must be true or false"
  complains "owner: must name one user, not 2"
  complains "waits for: must be names in brackets and nothing else"
}

@test "an owner that could be misread as root is refused" {
  local owner
  for owner in null false 0.7 '"abc"' '""' '4294967296' '{}' '{"abc": ""}' '{"": "root"}' '{"7001": "bob"}' '{"7001x": "alice"}' \
    '{"4294967296": "root"}' '{"-1": ""}' '{" 0": "root"}' '{"00": "root"}' '{"7009": ""}' '[0]' '{"7001": 7001}'; do
    run -1 --separate-stderr eorva task add --record - <<<"{\"task_name\": \"x\", \"event\": \"bootup\", \"operation\": \"id\", \"owner\": $owner}"
    complains "owner: "
  done
  same "tasks" 0 "$(eorva task list --json | jq length)"
}

@test "an invalid record is an error that names the file" {
  local text
  for text in '' '{' '[]' '7' '"x"' '{"a": 1, "a": 2}' '{} trailing' "$(printf '[%.0s' {1..2000})"; do
    printf '%s' "$text" >bad.json
    run -1 --separate-stderr eorva task add --record bad.json
    [[ $stderr == *"bad.json is not JSON"* || $stderr == *"must be an object"* ]] || { echo "$text: $stderr" >&2; return 1; }
  done
  run -2 --separate-stderr eorva task add x --record bad.json
}

@test "an unreadable script is an error that names it" {
  run -1 --separate-stderr eorva task add x --event bootup --owner alice --script missing.sh
  complains "missing.sh"
  run -1 --separate-stderr eorva task add x --event bootup --owner alice --script /
  complains "cannot read /"
  head -c 1048577 /dev/zero >long.sh
  run -1 --separate-stderr eorva task add x --event bootup --owner alice --script long.sh
  complains "long.sh is too long"
}

@test "a script that probably cannot run is stored with a warning" {
  printf '#!/bin/sh\r\nexit 0\r\n' >crlf.sh
  run -0 --separate-stderr eorva task add crlf --event bootup --owner alice --script crlf.sh
  complains 'warning: task "crlf": script: line 1 of the script ends with CR LF'
  printf '#!/no/such/shell\nexit 0\n' >shell.sh
  run -0 --separate-stderr eorva task add shell --event bootup --owner alice --script shell.sh
  complains "interpreter /no/such/shell does not exist or is not executable"
  printf 'echo a\0b\n' >nul.sh
  run -0 --separate-stderr eorva task add nul --event bootup --owner alice --script nul.sh
  complains "NUL byte (byte 7)"
  run -0 --separate-stderr eorva task add empty --event bootup --owner alice --script /dev/null
  complains "the script is empty"
  printf 'exit 0\n' >plain.sh
  run -0 --separate-stderr eorva task add plain --event bootup --owner alice --script plain.sh
  same "warnings" "" "$stderr"
}

@test "an unknown task is named" {
  run -1 --separate-stderr eorva task show ghost
  complains 'there is no task "ghost"'
  run -1 --separate-stderr eorva task delete ghost --yes
  complains 'there is no task "ghost"'
  run -1 --separate-stderr eorva run ghost
  complains 'there is no task "ghost"'
  run -1 --separate-stderr eorva runs list --task ghost
  complains 'there is no task "ghost"'
}

@test "delete lists the dependants that change, and asks" {
  add_task first bootup alice 'exit 0'
  add_task second bootup alice 'exit 0' --after first
  run -1 --separate-stderr eorva task delete first </dev/null
  complains "these tasks no longer wait for it: second"
  same "tasks" 2 "$(eorva task list --json | jq length)"
  run -0 eorva task delete first --yes
  same "dependencies of second" '""' "$(eorva task show second --json | jq .depend_on_task)"
  same "tasks" '["second"]' "$(eorva task list --json | jq -c '[.[].task_name]')"
}

@test "several tasks are deleted, or none" {
  add_task first bootup alice 'exit 0'
  add_task second bootup alice 'exit 0'
  run -1 --separate-stderr eorva task delete first ghost --yes
  complains 'there is no task "ghost"'
  same "tasks" 2 "$(eorva task list --json | jq length)"
  run -0 eorva task delete first second --yes
  same "tasks" 0 "$(eorva task list --json | jq length)"
}

@test "delete accepts only a yes on a terminal" {
  add_task first bootup alice 'exit 0'
  run -1 script -qec 'eorva task delete first' /dev/null <<<'n'
  same "tasks" 1 "$(eorva task list --json | jq length)"
  run -0 script -qec 'eorva task delete first' /dev/null <<<'y'
  same "tasks" 0 "$(eorva task list --json | jq length)"
}

@test "a running task cannot be deleted" {
  add_task long bootup alice 'exec sleep 300'
  eorva run long >/dev/null 3>&- &
  wait_until runs_are 1
  run -1 --separate-stderr eorva task delete long --yes
  complains 'the task "long" is running (process '
  pkill -u alice sleep
  wait %1 || true
  run -0 eorva task delete long --yes
}

@test "the graph is printed as a tree, or as JSON" {
  add_task root bootup alice 'exit 0'
  add_task left bootup alice 'exit 0' --after root
  add_task right bootup bob 'exit 0' --after root --disabled
  add_task leaf bootup bob 'exit 0' --after left --after right
  add_task other shutdown bob 'exit 0'
  run -0 eorva task graph bootup
  [[ ${lines[1]} == root* ]]
  [[ ${lines[2]} == "├─left"* ]]
  [[ ${lines[3]} == "│ └─leaf"*"left, right"* ]]
  [[ ${lines[4]} == "└─right"*"disabled" ]]
  [[ ${lines[5]} == "  └─leaf"*"see above" ]]
  same "lines" 6 "${#lines[@]}"
  same "JSON" '[["leaf",["left","right"],[]],["left",["root"],["leaf"]],["right",["root"],["leaf"]],["root",[],["left","right"]]]' \
    "$(eorva task graph bootup --json | jq -c '[.[] | [.task_name, .waits_for, .needed_by]]')"
}

@test "tasks are listed by event, owner, state and text, and with their time limits" {
  add_task good bootup alice 'exit 0' --time-limit 2h
  add_task bad bootup bob 'exit 1' --description 'Sends the Report'
  add_task idle shutdown alice 'echo report' --disabled
  add_task slow own alice 'exec sleep 1000'
  run -3 eorva fire bootup
  eorva run slow --detach >/dev/null
  wait_until runs_are 3
  local wanted options
  while IFS='|' read -r wanted options; do
    # shellcheck disable=SC2086
    same "$options" "$wanted" "$(eorva task list $options --json | jq -r '[.[].task_name] | join(" ")')"
  done <<T
bad good|--event bootup
good idle slow|--owner alice
bad|--owner 7002
bad good slow|--state enabled
idle|--state disabled
slow|--state running
good|--state ok
bad|--state failed
idle|--state never
bad idle|--text REPORT
idle|--text report --state never
|--text %
good|--event bootup --owner alice
T
  run -0 eorva task list --text 1000
  [[ ${lines[0]} =~ ^TASK\ EVENT\ OWNER\ ENABLED\ WAITS\ FOR\ TIME\ LIMIT\ LAST\ START ]]
  run -0 eorva task list --state ok
  [[ ${lines[1]} =~ ^good\ +bootup\ +alice\ +yes\ +-\ +2h\  ]]
  run -1 --separate-stderr eorva task list --owner nobody-at-all
  complains 'there is no user "nobody-at-all"'
  eorva stop slow --grace 0 >/dev/null
}

@test "a new name has no spaces; an old one keeps working" {
  add_old_task 'two words' bootup alice 'echo here'
  add_task one bootup alice 'exit 0'
  local command
  for command in "task add 'a b' --event bootup --owner alice --script script" "task copy one 'a b'" "task rename one 'a b' --yes"; do
    echo 'exit 0' >script
    run -1 --separate-stderr eval "eorva $command"
    complains "name: must not contain spaces: letters, digits, '.', '_' and '-' are allowed"
  done
  run -0 eorva run 'two words'
  run -0 eorva task edit 'two words' --time-limit 5m
  run -0 eorva task show 'two words'
  eorva export >old.yaml
  sed 's/echo here/echo there/' old.yaml | eorva apply - --yes
  same "changed by a document" "echo there" "$(eorva task show 'two words' --json | jq -r .operation)"
  run -1 --separate-stderr bash -c 'sed "s/^  two words:/  new words:/" old.yaml | eorva apply - --yes'
  complains 'task "new words": name: must not contain spaces'
  run eorva check
  says $'warning: task "two words": name: must not contain spaces: letters, digits, \'.\', \'_\' and \'-\' are allowed\n    eorva task rename \'two words\' two-words'
  run -0 eorva task rename 'two words' two-words --yes
  run eorva check
  [[ $output != *spaces* ]]
}

#!/usr/bin/env bats
# Changing tasks: options, the editor, enabling and disabling, copies.

load common

setup() { fresh_store; }

# member TASK FILTER: a member of the task's record, as JSON.
member() { eorva task show "$1" --json | jq -c "$2"; }

# editor TEXT: sets $EDITOR to a script with this text; the file is $1.
editor() {
  printf '#!/bin/sh\n%s\n' "$1" >"$BATS_TEST_TMPDIR/editor"
  chmod +x "$BATS_TEST_TMPDIR/editor"
  export EDITOR="$BATS_TEST_TMPDIR/editor"
  unset VISUAL
}

has_runs() { (($(sqlite3 "$DATABASE" 'select count(*) from task_result') > 0)); }

edits_left() { find /var/tmp -path '/var/tmp/eorva-edit.*' -type f; }

@test "each option changes only its member" {
  add_task first bootup alice 'exit 0'
  add_task second bootup alice 'exit 0'
  add_task it bootup alice 'exit 0'
  local before after option
  while IFS='|' read -r option members; do
    before=$(member it .)
    # shellcheck disable=SC2086
    run -0 eorva task edit it $option
    after=$(member it .)
    same "members changed by '$option'" "$members" \
      "$(jq -cn --argjson a "$before" --argjson b "$after" '[$b | to_entries[] | select($a[.key] != .value) | .key] - ["owner_name", "waits_for"]')"
  done <<'T'
--owner bob|["owner"]
--after first --after second|["depend_on_task"]
--after second|["depend_on_task"]
--no-after|["depend_on_task"]
--event shutdown|["event"]
--disabled|["enable"]
--enabled|["enable"]
--parallel|["run_the_same_time"]
--no-parallel|["run_the_same_time"]
--mail root,a@example.org|["notify_enable","notify_mail"]
--mail-if-error|["notify_if_error"]
--mail-always|["notify_if_error"]
--no-mail|["notify_enable"]
--time-limit 1m30s|["time_limit"]
--description nightly|["description"]
T
  same "at the end" '[7002,"","shutdown",true,false,false,"root,a@example.org",90,"nightly"]' \
    "$(member it '[.owner, .depend_on_task, .event, .enable, .run_the_same_time, .notify_enable, .notify_mail, .time_limit, .description]')"
  run -0 eorva task show it
  shows_member "time limit" 1m30s
  shows_member "description" "nightly"
}

@test "an edit prints the changed members, or that the task is unchanged" {
  add_task it bootup alice 'exit 0'
  run -0 eorva task edit it --event shutdown --mail root
  same "answer" "changed it (event, mail)" "$output"
  run -0 eorva task edit it --event shutdown
  same "answer" "it is unchanged" "$output"
}

@test "all errors of an edit are reported at once, and nothing changes" {
  add_task elsewhere shutdown alice 'exit 0'
  add_task it bootup alice 'exit 0'
  local before
  before=$(member it .)
  run -1 --separate-stderr eorva task edit it --event Bootup --owner nobody-at-all --after ghost --after elsewhere \
    --mail 'x y' --time-limit 3000000000 --description $'two\nlines'
  complains 'the task "it" is not changed:'
  complains 'event: unknown event "Bootup"'
  complains 'owner: there is no user "nobody-at-all"'
  complains 'waits for: there is no task "ghost"'
  complains 'waits for: "elsewhere" belongs to the event "shutdown"'
  complains 'mail: "x y" is not a mail address'
  complains 'time limit: must be from 1 to 2147483647 seconds'
  complains 'description: must be one line'
  same "the record" "$before" "$(member it .)"
}

@test "an unknown event needs --any-event once" {
  run -1 --separate-stderr eorva task add it --event my-event --owner alice --script /dev/null
  complains 'event: unknown event "my-event"'
  complains 'to create the event, use: eorva event add my-event; or add --any-event'
  run -0 eorva task add it --event my-event --any-event --owner alice --script /dev/null
  run -0 eorva task edit it --parallel
  run -1 --separate-stderr eorva task edit it --event other-event
  run -0 eorva task edit it --event other-event --any-event
}

@test "an existing fault in one member does not prevent a change of another" {
  useradd --uid 7010 carol
  add_task it bootup carol 'exit 0'
  userdel carol
  run -0 --separate-stderr eorva task edit it --event shutdown
  complains 'warning: task "it": owner: there is no user "carol"'
  run -0 --separate-stderr eorva task disable it
  run -0 --separate-stderr eorva task edit it --owner alice
  [[ $stderr != *"no user"* ]]
  same "owner" 7001 "$(member it .owner)"
}

@test "a task with dependants cannot move to another event" {
  add_task first bootup alice 'exit 0'
  add_task second bootup alice 'exit 0' --after first
  run -1 --separate-stderr eorva task edit first --event shutdown
  complains 'event: "second" waits for this task and belongs to the event "bootup"'
  run -0 eorva task edit second --no-after
  run -0 eorva task edit first --event shutdown
}

@test "a circle is refused, and an existing one can be repaired" {
  add_task a bootup alice 'exit 0'
  add_task b bootup alice 'exit 0' --after a
  add_task c bootup alice 'exit 0' --after b
  run -1 --separate-stderr eorva task edit a --after c
  complains 'waits for: the tasks wait for each other in a circle'
  run -1 --separate-stderr eorva task edit a --after a
  complains 'waits for: a task cannot wait for itself'
  sqlite3 "$DATABASE" "update task set depend_on_task = '[c]' where task_name = 'a'"
  run -0 eorva task edit a --no-after
  same "dependencies of a" '""' "$(member a .depend_on_task)"
}

@test "a script is read from a file, from standard input, or from a record" {
  add_task it bootup alice 'exit 0'
  printf 'echo file\n' >new.sh
  run -0 eorva task edit it --script new.sh
  same "script" '"echo file\n"' "$(member it .operation)"
  run -0 eorva task edit it --script - <<<'echo input'
  same "script" '"echo input\n"' "$(member it .operation)"
  run -0 eorva task edit it --record - <<<'{"operation": "echo record", "enable": false}'
  same "both" '["echo record",false]' "$(member it '[.operation, .enable]')"
  run -1 --separate-stderr eorva task edit it --record - <<<'{"task_name": "other"}'
  complains "to rename the task, use: eorva task rename it NEW"
  run -1 --separate-stderr eorva task edit it --record - <<<'{"status": {}, "enable": 1}'
  complains 'status: is not a member that can be set'
  complains 'enabled: must be true or false'
}

@test "the editor gets the script, and the edited script is stored" {
  add_task it bootup alice 'echo before'
  editor 'grep -q "echo before" "$1" && case $1 in */it.sh) echo "echo after" >"$1" ;; esac'
  run -0 --separate-stderr eorva task edit it
  same "answer" "changed it (script)" "$output"
  same "script" '"echo after\n"' "$(member it .operation)"
  same "files that are left" "" "$(edits_left)"
}

@test "a caller that ignores SIGCHLD does not keep the editor from being waited for" {
  add_task it bootup alice 'exit 0'
  editor 'echo "exit 1" >"$1"'
  run -0 env --ignore-signal=CHLD eorva task edit it
  same "script" '"exit 1\n"' "$(member it .operation)"
}

@test "VISUAL is used first, then EDITOR, then the system's editor; options in them are passed on" {
  add_task it bootup alice 'exit 0'
  editor 'echo "echo $1" >"$2"'
  VISUAL="$EDITOR --wait" EDITOR=false run -0 eorva task edit it
  same "script" '"echo --wait\n"' "$(member it .operation)"
  printf '#!/bin/sh\necho "echo system" >"$1"\n' >/usr/local/bin/sensible-editor
  chmod +x /usr/local/bin/sensible-editor
  EDITOR='' run -0 eorva task edit it
  same "script" '"echo system\n"' "$(member it .operation)"
  rm /usr/local/bin/sensible-editor
}

@test "an unchanged script leaves the task unchanged" {
  add_task it bootup alice 'exit 0'
  editor 'true'
  run -0 eorva task edit it
  same "answer" "it is unchanged" "$output"
  same "files that are left" "" "$(edits_left)"
}

@test "an edit that cannot be saved is kept, and the message says how to save it" {
  add_task it bootup alice 'exit 0'
  editor 'echo "echo precious" >"$1"; echo other | eorva task edit it --script - >/dev/null'
  run -1 --separate-stderr eorva task edit it
  complains 'somebody else changed the script of "it" meanwhile'
  local kept
  kept=$(edits_left)
  same "the saved text" "echo precious" "$(cat "$kept")"
  complains "eorva task edit 'it' --script '$kept'"
  same "script" '"other\n"' "$(member it .operation)"
  eval "$(tail -n 1 <<<"$stderr")"
  same "script" '"echo precious\n"' "$(member it .operation)"
  rm -r "$(dirname "$kept")"
}

@test "an edit is kept when the editor fails, and when the task has been deleted meanwhile" {
  add_task it bootup alice 'exit 0'
  editor 'echo half >"$1"; exit 3'
  run -1 --separate-stderr eorva task edit it
  complains 'the editor failed with exit status 3'
  same "the saved text" "half" "$(cat "$(edits_left)")"
  rm -r /var/tmp/eorva-edit.*
  editor 'echo late >"$1"; eorva task delete it --yes >/dev/null'
  run -1 --separate-stderr eorva task edit it
  complains 'there is no task "it"'
  same "the saved text" "late" "$(cat "$(edits_left)")"
  rm -r /var/tmp/eorva-edit.*
}

@test "an edit is kept when no editor is found" {
  add_task it bootup alice 'exit 0'
  mkdir empty
  run -1 --separate-stderr env PATH="$PWD/empty" VISUAL='' EDITOR='' /usr/sbin/eorva task edit it
  complains 'no editor found; set EDITOR'
  rm -r /var/tmp/eorva-edit.*
}

@test "several tasks are enabled or disabled at once: all or none" {
  add_task a bootup alice 'exit 0'
  add_task b bootup alice 'exit 0' --disabled
  run -0 eorva task disable a b
  same "answers" $'disabled a\ndisabled b (was already disabled)' "$output"
  run -1 --separate-stderr eorva task enable a ghost
  complains 'there is no task "ghost"'
  same "switched" '[false,false]' "$(eorva task list --json | jq -c 'map(.enable)')"
  run -0 eorva task enable a b
  same "switched" '[true,true]' "$(eorva task list --json | jq -c 'map(.enable)')"
}

@test "a copy has all members of the task, except those set with options" {
  add_task first bootup alice 'exit 0'
  add_task it bootup alice 'echo it' --after first --mail root --time-limit 5 --disabled
  eorva run it >/dev/null
  run -0 eorva task copy it second --owner bob --enabled
  same "answer" "added second (event bootup, owner bob)" "$output"
  same "members" '["second",7002,"[first]","root",5,true,"echo it\n",null]' \
    "$(member second '[.task_name, .owner, .depend_on_task, .notify_mail, .time_limit, .enable, .operation, .last_start_time]')"
  run -1 --separate-stderr eorva task copy it second
  complains 'name: is the name of another task'
  run -1 --separate-stderr eorva task copy it IT
  complains 'name: is the same as "it", apart from upper and lower case or "_"'
  run -1 --separate-stderr eorva task copy ghost other
  complains 'there is no task "ghost"'
}

@test "a change while the task runs is kept when the run ends" {
  add_task it bootup alice 'exec sleep 300'
  eorva run it >/dev/null 3>&- &
  wait_until runs_are 1
  run -0 eorva task edit it --script - --disabled <<<'exit 0'
  pkill -u alice sleep
  wait %1 || true
  same "members" '["exit 0\n",false,[]]' "$(member it '[.operation, .enable, .status.running]')"
}

@test "the owner of a running task cannot be changed" {
  add_task it bootup alice 'while [ ! -e /tmp/go ]; do sleep 0.1; done'
  eorva run it >/dev/null 3>&- &
  wait_until runs_are 1
  run -1 --separate-stderr eorva task edit it --owner bob
  complains 'the task "it" is running'
  complains 'cannot be given another owner now'
  run -0 eorva task edit it --owner alice --description 'the same owner'
  touch /tmp/go
  wait
  run -0 eorva task edit it --owner bob
}

@test "a change is not lost while an execution starts the task from an older copy of its record" {
  # The roots of an event are listed once and started one by one, so the last one starts long after the listing.
  add_task t10 bootup alice 'exit 0'
  sqlite3 "$DATABASE" "with recursive n(i) as (select 11 union all select i + 1 from n where i < 40)
    insert into task (task_name, event, owner, enable, operation) select 't' || i, event, owner, enable, operation
    from task, n"
  eorva fire bootup >/dev/null 2>&1 3>&- &
  wait_until has_runs
  pkill -STOP '^eorva'
  run --separate-stderr timeout 60 eorva task edit t40 --mail new
  # All of them: a stopped process may have started another program.
  kill -CONT -1
  if [[ $status != 0 ]]; then
    # The stopped process may have been about to start the task, or to write.
    [[ $stderr == *"an execution may still start it"* || $stderr == *"cannot open the store"* ]] ||
      complains "a reason that is expected here"
    wait_until eorva task edit t40 --mail new
  fi
  wait %1 || true
  same "runs" 31 "$(eorva runs list --limit 0 --json | jq length)"
  same "addresses" '"new"' "$(member t40 .notify_mail)"
}

@test "a task whose scripts are on a noexec mount gets a warning" {
  mount -t tmpfs -o noexec,mode=0711 tmpfs "$KEPT"
  printf 'exit 0\n' >plain.sh
  run -0 --separate-stderr eorva task add it --event bootup --owner alice --script plain.sh
  umount "$KEPT"
  complains "script: scripts are started in $KEPT, which is mounted noexec"
  printf '#!/usr/bin/env no-such-program\n' >env.sh
  run -0 --separate-stderr eorva task edit it --script env.sh
  complains "interpreter no-such-program does not exist or is not executable"
  printf '#!/usr/bin/env bash\nexit 0\n' >env.sh
  run -0 --separate-stderr eorva task edit it --script env.sh
  same "warnings" "" "$stderr"
}

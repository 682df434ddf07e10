#!/usr/bin/env bats
# The state of a server as one document: export and apply.

load common

setup() {
  fresh_store
  cp /etc/eorva.conf "$BATS_TEST_TMPDIR/eorva.conf"
}

teardown() {
  cp "$BATS_TEST_TMPDIR/eorva.conf" /etc/eorva.conf
  find /etc/systemd/system -name 'eorva-event@*' -delete
}

# A store with every kind of member, and scripts that are hard to quote.
fill() {
  printf '#!/bin/sh\necho "one: #1"\n\n\tindented \\ with a tab\n' | eorva task add one --event bootup --owner alice --script - \
    --description 'what: "it" is' --time-limit 60 --mail root,ops@example.org --mail-if-error >/dev/null
  add_task zwei_drei bootup bob 'echo two' --after one --disabled --parallel
  printf '  begins with blanks\nends with several\n\n\n' | eorva task add 123 --event bootup --owner 0 --script - --after one --after zwei_drei >/dev/null
  printf 'bell \a escape \033[1m trailing  \nü\r\n' | eorva task add true --event shutdown --owner alice --script - >/dev/null 2>&1
  printf 'latin \374\n' | eorva task add latin --event shutdown --owner alice --script - >/dev/null 2>&1
  printf '\n' | eorva task add blank --event shutdown --owner alice --script - >/dev/null 2>&1
  eorva config set retention_runs=7 retention_output_size=0 >/dev/null
}

scripts() { eorva task list --json | jq -S 'map({task_name, operation, event, owner, depend_on_task, enable, time_limit, run_the_same_time, notify_enable, notify_mail, notify_if_error, description})'; }

@test "applying an export to another server gives an identical export" {
  fill
  eorva export >here.yaml
  eorva export --json >here.json
  scripts >here.records
  rm -r "$STORE" /etc/eorva.conf
  eorva init >/dev/null
  run -0 eorva apply here.yaml --yes
  says "applied: 6 created, 0 changed, 0 deleted, 2 settings"
  eorva export >there.yaml
  cmp here.yaml there.yaml
  scripts >there.records
  diff here.records there.records
  rm -r "$STORE"
  eorva init >/dev/null
  run -0 eorva apply - --yes <here.json
  eorva export >there.yaml
  cmp here.yaml there.yaml
}

@test "other YAML readers read an export correctly" {
  fill
  eorva export >here.yaml
  eorva export --json >here.json
  python3 -c 'import json, sys, yaml
document = yaml.safe_load(open("here.yaml", encoding="utf-8"))
sys.exit(document != json.load(open("here.json", encoding="utf-8")))'
  same "a script" "    script: |" "$(grep -A9 '^  one:' here.yaml | grep ' script:')"
  same "the order of members" "event owner description time_limit mail mail_if_error script" \
    "$(sed -n '/^  one:/,/^    script:/p' here.yaml | sed -n 's/^    \([a-z_]*\):.*/\1/p' | paste -sd ' ')"
}

@test "events and their times go to another server" {
  eorva event add nightly --at 'Mon..Fri 22:30' --at '*:0/15' --description 'After "hours"'
  eorva event add stopped --at weekly
  eorva event disable stopped shutdown
  eorva event enable daily
  add_task one nightly alice 'exit 0'
  add_task two inbox bob 'exit 0'
  eorva export >here.yaml
  eorva export --json >here.json
  python3 -c 'import json, sys, yaml
document = yaml.safe_load(open("here.yaml", encoding="utf-8"))
sys.exit(document != json.load(open("here.json", encoding="utf-8")))'
  rm -r "$STORE"
  eorva init >/dev/null
  eorva event enable shutdown
  eorva event disable daily
  run -3 eorva apply here.yaml --dry-run
  says "+      - \"Mon..Fri 22:30\""
  says "2 created, 0 changed, 0 deleted, 0 settings, 5 events"
  [[ ! -e $STORE/own-events.json && ! -e /etc/systemd/system/eorva-event@nightly.timer ]]
  run -0 eorva apply here.yaml --yes --json
  same "events" '["daily","inbox","nightly","shutdown","stopped"]' "$(jq -c .events <<<"$output")"
  eorva export | diff here.yaml -
  same "the timer" "enabled disabled" "$(systemctl is-enabled eorva-event@nightly.timer eorva-event@stopped.timer | paste -sd ' ')"
  same "installed events" "disabled enabled" "$(systemctl is-enabled eorva-shutdown.service eorva-daily.timer | paste -sd ' ')"
  run -0 eorva apply here.json
  same "said" "nothing to change" "$output"
  eorva event enable shutdown
  eorva event disable daily
}

@test "a unit that cannot be switched is told, and applying again completes the change" {
  printf 'version: 1\nevents:\n  daily:\n  nightly: {at: daily}\n...\n' >state.yaml
  ln -s /dev/null /etc/systemd/system/eorva-daily.timer
  run -1 --separate-stderr eorva apply state.yaml --yes
  rm /etc/systemd/system/eorva-daily.timer
  says "applied: 0 created, 0 changed, 0 deleted, 0 settings, 2 events"
  complains 'the document is applied, but systemd is not as it says; apply it again'
  complains 'event "daily": '
  same "the other one" enabled "$(systemctl is-enabled eorva-event@nightly.timer)"
  run -0 eorva apply state.yaml --yes
  says "applied: 0 created, 0 changed, 0 deleted, 0 settings, 1 event"
  same "now" enabled "$(systemctl is-enabled eorva-daily.timer)"
  rm "/etc/systemd/system/timers.target.wants/eorva-event@nightly.timer"
  run -0 --separate-stderr eorva apply state.yaml --yes
  complains 'event "nightly": eorva-event@nightly.timer is not enabled'
  run -0 eorva apply state.yaml
  same "said" "nothing to change" "$output"
  eorva event disable daily
}

@test "an unknown event needs --any-event once, or its name in the document" {
  printf 'version: 1\ntasks:\n  a: {event: mine, owner: alice, script: exit 0}\n...\n' >state.yaml
  run -1 --separate-stderr eorva apply state.yaml --yes
  complains 'task "a": event: unknown event "mine"'
  complains 'to create the event, use: eorva event add mine; or add --any-event'
  run -0 eorva apply state.yaml --yes --any-event
  sed -i 's/a:/b:/' state.yaml
  run -0 eorva apply state.yaml --yes
  eorva task delete a --yes
  eorva task delete b --yes
  run -1 eorva apply state.yaml --yes
  sed -i 's/^tasks:/events: {mine: {}}\n&/' state.yaml
  run -0 eorva apply state.yaml --yes
  run -0 eorva apply state.yaml
}

@test "applying a document again changes nothing and says so" {
  fill
  eorva export >here.yaml
  run -0 eorva apply here.yaml
  same "said" "nothing to change" "$output"
  local before
  before=$(sqlite3 "$DATABASE" .dump | md5sum; stat -c %Y%i /etc/eorva.conf "$STORE/eorvascheduler-conf.json")
  run -0 eorva apply here.yaml --yes --prune --json
  same "as JSON" '{"applied":false,"changed":[],"configuration":[],"created":[],"deleted":[],"events":[]}' "$(jq -cS . <<<"$output")"
  same "untouched" "$before" "$(sqlite3 "$DATABASE" .dump | md5sum; stat -c %Y%i /etc/eorva.conf "$STORE/eorvascheduler-conf.json")"
}

@test "apply shows the difference, and changes nothing without consent" {
  fill
  eorva export | sed 's/echo two/echo zwei/; s/retention_runs: 7/retention_runs: 9/' >there.yaml
  run -3 eorva apply there.yaml --dry-run
  says "-      echo two"
  says "+      echo zwei"
  says "+  retention_runs: 9"
  says "would be applied: 0 created, 1 changed, 0 deleted, 1 setting"
  run -1 --separate-stderr eorva apply there.yaml </dev/null
  complains "to confirm, add --yes"
  same "unchanged" 7 "$(eorva config get retention_runs)"
  run -0 eorva apply there.yaml --yes
  same "changed" "echo zwei" "$(eorva task show 'zwei_drei' --json | jq -r .operation)"
  same "setting" 9 "$(eorva config get retention_runs)"
  run -0 eorva apply there.yaml --dry-run
}

@test "all errors in a document are reported at once, and nothing changes" {
  fill
  cat >wrong.yaml <<'END'
version: 1
configuration:
  retention_runs: none
  colour: blue
tasks:
  new:
    event: bootup
    owner: alice
    script: exit 0
  bad/name:
    event: bootup
    owner: nobody-there
    waits_for: [missing]
    script: exit 0
  typo:
    evnt: bootup
    owner: alice
    enable: sometimes
    retrys: 2
  loop:
    event: bootup
    owner: alice
    waits_for: [pool]
    script: exit 0
  pool:
    event: bootup
    owner: alice
    waits_for: [loop]
    script: exit 0
...
END
  sqlite3 "$DATABASE" .dump >before.sql
  run -1 --separate-stderr eorva apply wrong.yaml --yes
  complains "wrong.yaml is not applied"
  complains 'retention_runs must be a number from 1 to 1000000, or all, not "none"'
  complains 'there is no setting "colour"'
  complains 'task "bad/name": name: must not contain'
  complains 'task "bad/name": owner: there is no user "nobody-there"'
  complains 'task "bad/name": waits for: there is no task "missing"'
  complains 'task "typo": unknown member "evnt"'
  complains '; did you mean "retry"?'
  complains 'task "typo": script is missing'
  complains 'task "typo": event: is missing'
  complains 'task "typo": enabled: must be true or false'
  complains 'task "loop": waits for'
  sqlite3 "$DATABASE" .dump | diff before.sql -
  same "setting" 7 "$(eorva config get retention_runs)"
}

@test "an unreadable document is refused, and the message names the line" {
  local text
  while IFS='|' read -r text wanted; do
    printf -- "$text" >torn.yaml
    run -1 --separate-stderr eorva apply torn.yaml --yes
    complains "torn.yaml is not applied"
    complains "$wanted"
  done <<'END'
version: 1\ntasks:\n  a: [|line 4
version: 1\ntasks: {}\ntasks: {}\n|line 3: duplicate key "tasks"
version: 1\ntasks:\n  a: &x {}\n  b: *x\n|line 3: references
version: 1\ntasks: !!python/object {}\n|references and tags
version: 1\n---\nversion: 1\n|a second document
version: 1\ntasks: {}\n|line 3: the document ends without the line "..."
version: 1\ntasks: {}\n...\ntasks: {}\n...\n|line 4, column 1: did not find
version: 2\n...\n|version: must be 1
tasks: {}\n...\n|version: must be 1
version: 1\njobs: {}\n...\n|unknown member "jobs"
version: 1\ntasks: []\n...\n|tasks: must be a list of names and tasks
{"version": 1,, }|Line 1, Column 15
\377\376|line 1
- a\n...\n|the document: must have
END
  run -1 --separate-stderr eorva apply not-there.yaml --yes
  complains "cannot read not-there.yaml"
}

@test "a change that fails midway is undone" {
  fill
  eorva export | sed 's/retention_runs: 7/retention_runs: 9/; s/output_path: scheduler/output_path: scheduler\/x/; s/echo two/echo zwei/' >there.yaml
  sed -i '$d' there.yaml
  printf '  newest:\n    event: bootup\n    owner: bob\n    script: exit 0\n...\n' >>there.yaml
  eorva export >before.yaml
  mount -t tmpfs -o size=4k,nr_inodes=2 none /mnt
  cp /etc/eorva.conf /mnt/eorva.conf
  mv /etc/eorva.conf /etc/aside
  ln -s /mnt/eorva.conf /etc/eorva.conf
  run -1 --separate-stderr eorva apply there.yaml --yes
  complains "/mnt/eorva.conf"
  eorva export | diff before.yaml -
  rm /etc/eorva.conf
  mv /etc/aside /etc/eorva.conf
  umount /mnt
  run -0 eorva apply there.yaml --yes
  same "then" '"scheduler/x" "9"' "$(eorva config show --json | jq -c '.output_path, .settings.retention_runs' | paste -sd ' ')"
}

@test "a file that cannot be replaced after the tasks have changed is replaced by a later command" {
  add_task one bootup alice 'echo one'
  eorva export | sed 's/retention_runs: .*/retention_runs: 77/; s/echo one/echo two/' >there.yaml
  mount --bind /etc/eorva.conf /etc/eorva.conf
  run --separate-stderr eorva apply there.yaml --yes
  umount /etc/eorva.conf
  same "status" 1 "$status"
  complains "the tasks are changed, but the configuration is not: cannot replace /etc/eorva.conf"
  complains "the next command tries again"
  same "script" "echo two" "$(sqlite3 "$DATABASE" 'select operation from task')"
  run -0 --separate-stderr eorva config get retention_runs
  complains "an interrupted change of the configuration was finished"
  same "setting" 77 "$output"
}

@test "tasks that are not in the document are deleted only with --prune" {
  fill
  run -3 eorva run one
  printf 'version: 1\ntasks:\n  one:\n    event: bootup\n    owner: alice\n    script: exit 0\n...\n' >one.yaml
  run -0 eorva apply one.yaml --yes
  says "0 created, 1 changed, 0 deleted"
  same "tasks" 6 "$(eorva task list --json | jq length)"
  run -0 eorva apply one.yaml --yes --prune --json
  same "deleted" '["123","blank","latin","true","zwei_drei"]' "$(jq -c .deleted <<<"$output")"
  same "tasks then" '["one"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
  same "history" 1 "$(eorva runs list --json | jq length)"
}

@test "an incomplete document deletes nothing" {
  fill
  eorva export >before.yaml
  local count
  count=$(wc -l <before.yaml)
  # Each of these could be parsed. They lack the last line, the last task, and all tasks.
  run -1 --separate-stderr bash -c 'head -n -1 before.yaml | eorva apply - --yes --prune'
  complains "- is not applied:"
  complains "line $count: the document ends without the line \"...\""
  run -1 --separate-stderr bash -c 'sed "/^  zwei_drei:/,\$d" before.yaml | eorva apply - --yes --prune'
  complains 'without the line "..."'
  run -1 --separate-stderr bash -c 'sed "/^tasks:/,\$d" before.yaml | eorva apply - --yes --prune'
  complains 'without the line "..."'
  run -1 --separate-stderr bash -c 'eorva export --json | head -n -1 | eorva apply - --yes --prune'
  run -1 --separate-stderr eorva apply /dev/null --yes --prune
  complains "/dev/null is not applied:"
  run -1 --separate-stderr bash -c 'eorva export >/dev/full'
  complains "No space left on device"
  eorva export | cmp before.yaml -
}

@test "a document without tasks deletes none" {
  fill
  printf 'version: 1\nconfiguration:\n  retention_runs: 8\n...\n' >config.yaml
  run -1 --separate-stderr eorva apply config.yaml --yes --prune
  complains 'tasks: is missing; write'
  run -0 eorva apply config.yaml --yes
  says "0 created, 0 changed, 0 deleted, 1 setting"
  printf 'version: 1\ntasks: {}\n...\n' | eorva apply - --yes --prune >/dev/null
  same "tasks" 0 "$(eorva task list --json | jq length)"
}

@test "a task with dependants cannot move to another event" {
  fill
  printf 'version: 1\ntasks:\n  one:\n    event: shutdown\n    owner: alice\n    script: exit 0\n...\n' >one.yaml
  run -1 --separate-stderr eorva apply one.yaml --yes
  complains '"zwei_drei"'
  printf 'version: 1\ntasks:\n  123:\n    event: bootup\n    owner: alice\n    waits_for: [one]\n    script: exit 0\n...\n' >one.yaml
  run -1 --separate-stderr eorva apply one.yaml --yes --prune
  complains 'there is no task "one"'
}

@test "while a task runs, a document that changes or deletes it is refused" {
  mkfifo /tmp/go
  add_task slow bootup alice 'echo $$ >/tmp/pid; read -r line </tmp/go'
  eorva run slow >/dev/null &
  wait_until test -s /tmp/pid
  wait_until runs_are 1
  printf 'version: 1\ntasks:\n  new:\n    event: bootup\n    owner: alice\n    script: exit 0\n...\n' >new.yaml
  run -1 --separate-stderr eorva apply new.yaml --yes --prune
  complains 'the task "slow" is running'
  same "tasks" '["slow"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
  run -0 eorva apply new.yaml --yes
  same "without touching it" '["new","slow"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
  echo >/tmp/go
  wait
}

#!/usr/bin/env bats
# Texts of others, with characters that a terminal obeys, in every place of the store and in files.

load common

# An escape sequence, C1, a change of direction, a line separator, and a line that looks like a message.
EVIL=$'\033[2J\302\233\342\200\256\342\200\250\r\n'"FAKE: line"

setup() {
  fresh_store
  add_task plain bootup alice 'echo done'
  add_task gone bootup alice 'exit 0' --after plain
  eorva fire bootup >/dev/null
  sql() { sqlite3 "$DATABASE" "${1//EVIL/\'||char(27)||\'[2J\'||char(155)||char(8238)||char(8232)||char(13,10)||\'FAKE: line}"; }
  sql "update task set task_name = 'plainEVIL', description = 'EVIL', notify_mail = 'EVIL', owner_name = 'aliceEVIL',
      event = 'bootupEVIL', last_exit_info = '{\"exit_type\":\"EVIL\"}' where task_name = 'plain';
    update task set depend_on_task = '[plainEVIL]', event = 'bootupEVIL', notify_enable = 1 where task_name = 'gone';
    update task_result set trigger_event = 'bootupEVIL', owner_name = 'aliceEVIL', ended_by = 'EVIL',
      exit_info = '{\"exit_type\":\"EVIL\",\"exit_code\":\"EVIL\"}', shell_status = null where result_id = 1;
    update firing set event = 'bootupEVIL', problem = 'EVIL';
    insert into task (task_name, event, owner, operation) values ('otherEVIL', 'otherEVIL', 7001, 'EVIL')"
  NAME=$(sqlite3 "$DATABASE" "select task_name from task where task_name like 'plain%'")
  EVENT=$(sqlite3 "$DATABASE" "select event from task where task_name = 'gone'")
  mv "$KEPT/plain" "$KEPT/$NAME"
  printf '%s\n' "$EVIL" | tee "$KEPT/$NAME"/*/output.log >"$KEPT/$NAME/$(ls "$KEPT/$NAME")/script.log"
  printf 'version: 1\nconfiguration: {"%s": 1}\ntasks: {"x\\e[2J\\u202E\\nFAKE: line": {event: "e\\e[2J\\u202E\\nFAKE: line", owner: "o\\e[2J\\nFAKE: line", script: "", waits_for: ["\\e[2J\\nFAKE: line"]}}\n...\n' \
    'k\e[2J\u202E\nFAKE: line' >evil.yaml
  cp /etc/eorva.conf conf.before
  cp /etc/orva/shares.conf shares.before
  printf 'stop_grace=%s\n%s\n' "$EVIL" "$EVIL" >>/etc/eorva.conf
  printf '\n[share%s]\npath = relative%s\n' "$EVIL" "$EVIL" >>/etc/orva/shares.conf
}

teardown() {
  cp conf.before /etc/eorva.conf
  cp shares.before /etc/orva/shares.conf
}

# harmless WHAT FILE: fails when a text of others would act on a terminal.
harmless() {
  if LC_ALL=C grep -qP '\x1b|\xc2[\x80-\x9f]|\xe2\x80[\xaa-\xae\xa8\xa9]|[\x00-\x08\x0b\x0c\x0e-\x1a]' "$2" || grep -q '^FAKE' "$2"; then
    printf '%s wrote:\n%s\n' "$1" "$(cat -v "$2")" >&2
    return 1
  fi
}

commands() {
  printf '%s\0' 'task list' 'task list --json' 'task show NAME' 'task show NAME --json' 'task graph EVENT' \
    'task graph EVENT --format dot' 'task graph EVENT --json' 'task relate NAME' 'task copy NAME new' 'task rename NAME NAME2' \
    'task edit NAME --owner nobody' 'task edit NAME --description x' 'task enable NAME' 'task disable NAME' \
    'event list' 'event list --json' 'event plan EVENT' 'event plan EVENT --json' 'event enable EVENT' \
    'explain NAME' 'explain NAME --json' 'explain gone' 'check' 'check --json' 'check --repair' \
    'runs list' 'runs list --json' 'runs list --task NAME' 'runs list --event EVENT' 'runs show 1' 'runs show 1 --json' \
    'runs output 1' 'runs output 1 --json' 'runs script 1' 'runs script 1 --json' 'runs diff 1 2' 'runs prune --dry-run' \
    'stop 1' 'config get' 'config get --json' 'config get stop_grace' 'config set stop_grace=x' 'share list' 'share list --json' \
    'log' 'log --json' 'export' 'export --json' 'apply evil.yaml --yes' 'apply evil.yaml --dry-run --json' \
    'backup here.db' 'restore here.db --yes' 'fire EVENT' 'fire EVENT --json' 'fire EVENT --log-stdout' 'run NAME' 'run gone' \
    'task show NAMEx' 'fire EVENTx' 'event plan EVENTx' 'complete line -- task show ' 'complete line -- fire ' \
    'task delete NAME --yes'
}

each_command() {
  local how=$1 line words
  while IFS= read -rd '' line; do
    printf -v words 'eorva %s' "$line"
    words=${words//NAME/$(printf %q "$NAME")}
    words=${words//EVENT/$(printf %q "$EVENT")}
    "$how" "$words" >said 2>&1 </dev/null || true
    harmless "$line" said
  done < <(commands)
}

in_pipe() { timeout 60 bash -c "$1" 2>&1 | cat; }
# The name of the command goes through a file: script would show it to a shell of its own.
on_terminal() {
  printf '%s\n' "$1" >typed
  TERM=dumb timeout 60 script -qec 'bash typed' /dev/null
}

@test "no text of others acts on a terminal" {
  each_command on_terminal
}

@test "what eorva itself says is harmless behind a pipe, too" {
  commands() { printf '%s\0' 'task list' 'task graph EVENT' 'task graph EVENT --format dot' 'task relate NAME' 'event list' \
    'event plan EVENT' 'explain NAME' 'explain gone' 'check' 'runs list' 'runs list --json' 'runs show 1' 'runs prune --dry-run' \
    'config get' 'share list' 'log' 'export' 'apply evil.yaml --yes' 'fire EVENT' 'run NAME' 'task show NAMEx' 'task show NAME --json'; }
  each_command in_pipe
}

@test "an event name has no characters that nobody sees" {
  local name
  for name in $'a\u202eb' $'a\u200bb' $'a\ufeffb' $'a\u2028b' $'a\u00adb' $'a\u2066b'; do
    run -1 --separate-stderr eorva task add it --event "$name" --any-event --owner alice --script /dev/null
    complains "event: contains the control or format character U+"
  done
  run -0 eorva task add it --event 'später' --any-event --owner alice --script /dev/null
}

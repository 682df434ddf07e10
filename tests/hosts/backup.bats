#!/usr/bin/env bats
# Backup and restore.

load common

setup() {
  fresh_store
  cp /etc/eorva.conf "$BATS_TEST_TMPDIR/eorva.conf"
}

teardown() {
  cp "$BATS_TEST_TMPDIR/eorva.conf" /etc/eorva.conf
  find /etc/systemd/system -name 'eorva-event@*' -delete
}

@test "a restore brings back everything in the backup" {
  add_task one bootup alice 'echo one'
  eorva run one >/dev/null
  eorva event add nightly --at daily
  eorva config set retention_runs=7 >/dev/null
  run -0 eorva backup kept.db
  same "mode" 600 "$(stat -c %a kept.db)"
  same "beside it" kept.db "$(ls | grep kept | paste -sd ' ')"
  eorva export >before.yaml
  eorva runs list --json >before.json
  add_task two bootup bob 'echo two'
  eorva task delete one --yes >/dev/null 2>&1
  eorva config set retention_runs=8 output_path=scheduler/x >/dev/null
  eorva event remove nightly
  run -0 eorva restore kept.db --yes
  says "$STORE/eorvascheduler-conf.json"
  eorva export | diff before.yaml -
  same "the timer of an event" enabled "$(systemctl is-enabled eorva-event@nightly.timer)"
  eorva runs list --json | diff before.json -
  same "tables" "firing firing_task task task_result" "$(sqlite3 "$DATABASE" "select name from sqlite_master where type = 'table' and name not like 'sqlite%' order by 1" | paste -sd ' ')"
  same "journal" wal "$(sqlite3 "$DATABASE" 'pragma journal_mode')"
}

@test "a backup restores a new server" {
  add_task one bootup alice 'echo one'
  eorva backup kept.db >/dev/null
  eorva export >before.yaml
  rm -r "$STORE"
  eorva init >/dev/null
  run -0 eorva restore kept.db --yes
  eorva export | diff before.yaml -
}

@test "a backup works while other processes write" {
  add_task one bootup alice 'exit 0'
  local i
  for i in {1..60}; do
    echo "insert into task_result (task_name, start_time, stop_time) values ('one', $i, $i);"
  done | sqlite3 -cmd '.timeout 60000' "$DATABASE" &
  for i in 1 2 3; do
    run -0 eorva backup "kept$i.db"
    same "intact" ok "$(sqlite3 "kept$i.db" 'pragma integrity_check')"
  done
  wait
}

@test "restoring a damaged file, or one that is not a backup, changes nothing" {
  add_task one bootup alice 'echo one'
  eorva export >before.yaml
  eorva backup kept.db >/dev/null
  echo "no database" >text.db
  sqlite3 other.db 'create table t (a)'
  head -c 20000 kept.db >short.db
  sqlite3 kept.db 'pragma user_version = 99'
  local file
  for file in text.db other.db short.db kept.db not-there.db; do
    run -1 --separate-stderr eorva restore "$file" --yes
    complains "$file"
  done
  eorva export | diff before.yaml -
}

@test "a store that is damaged is replaced by a backup as the answers say" {
  add_task one bootup alice 'echo one'
  eorva backup kept.db >/dev/null
  sqlite3 "$DATABASE" 'pragma wal_checkpoint(truncate)' >/dev/null
  head -c 4096 /dev/zero | tr '\0' x |
    dd of="$DATABASE" bs=4096 conv=notrunc status=none \
      seek=$(($(sqlite3 "$DATABASE" "select rootpage from sqlite_schema where name = 'task_result'") - 1))
  run -1 --separate-stderr eorva backup kept.db
  complains "eorva check"
  eorva check --json >findings || true
  advice=$(jq -r '[.findings[] | select(.area == "store")][0].advice' findings)
  bash -ec "${advice/FILE /kept.db --yes }"
  same "tasks" one "$(sqlite3 "$DATABASE" 'select task_name from task')"
  same "check" ok "$(sqlite3 "$DATABASE" 'pragma quick_check')"
}

@test "a restore writes only the configuration files" {
  eorva backup kept.db >/dev/null
  sqlite3 kept.db "insert into backup_file values ('/etc/hostile', cast('x' as blob))"
  run -0 eorva restore kept.db --yes
  test ! -e /etc/hostile
}

@test "a failed backup names the path and keeps the old backup" {
  run -1 --separate-stderr eorva backup /proc/kept.db
  complains "/proc/kept.db"
  run -1 --separate-stderr eorva backup no/folder/kept.db
  complains "no/folder/kept.db"
  eorva backup kept.db >/dev/null
  mkdir taken.db
  run -1 --separate-stderr eorva backup taken.db
  complains "taken.db"
  same "left over" "" "$(ls | grep 'db\.' || true)"
}

@test "a backup replaces only regular files, and no file of the scheduler" {
  add_task one bootup alice 'echo one'
  eorva export >before.yaml
  ln -s "$DATABASE" link.db
  ln -s "$STORE" folder
  ln -s kept.db to-nothing.db
  mknod null c 1 3
  mkfifo pipe
  sqlite3 "$DATABASE" 'pragma wal_checkpoint(truncate)' >/dev/null
  local file
  for file in "$DATABASE" "$DATABASE-wal" "$DATABASE-shm" "$DATABASE-journal" "$STORE/kept.db" folder/eorvascheduler.db \
    "$STORE/../eorvascheduler/eorvascheduler.db-wal" "$STORE/eorvascheduler-conf.json" /etc/eorva.conf \
    /etc/../etc/eorva.conf link.db to-nothing.db null pipe .; do
    run -1 --separate-stderr eorva backup "$file"
    complains "cannot back up to $file: "
  done
  # A hard link to the store is replaced by the backup; the store is unchanged.
  ln "$DATABASE" /usr/orva/etc/second-name.db
  run -0 eorva backup /usr/orva/etc/second-name.db
  [[ ! /usr/orva/etc/second-name.db -ef "$DATABASE" ]]
  rm /usr/orva/etc/second-name.db
  cmp /etc/eorva.conf eorva.conf
  [[ -c null && -p pipe && -L link.db && -L to-nothing.db && ! -e kept.db ]]
  same "left over" "" "$(ls "$STORE" . /etc | grep -E '(db|null|pipe|eorva.conf)\.' || true)"
  eorva export | diff before.yaml -
}

@test "a restore is refused while a task runs, or without consent" {
  eorva backup kept.db >/dev/null
  run -1 --separate-stderr eorva restore kept.db </dev/null
  complains "to confirm, add --yes"
  mkfifo /tmp/go
  add_task slow bootup alice 'echo $$ >/tmp/pid; read -r line </tmp/go'
  eorva run slow >/dev/null &
  wait_until test -s /tmp/pid
  wait_until runs_are 1
  run -1 --separate-stderr eorva restore kept.db --yes
  complains "cannot restore while run 1 is running"
  echo >/tmp/go
  wait
}

@test "a restore ends with 0 when it has restored, even if that cannot be printed" {
  eorva backup kept.db >/dev/null
  add_task one bootup alice 'echo one'
  run -0 --separate-stderr bash -c 'eorva restore kept.db --yes >/dev/full'
  complains "the change is made, but cannot write to standard output"
  same "tasks" 0 "$(eorva task list --json | jq length)"
}

@test "an interrupted change is finished by the next command, which says so" {
  cp /etc/eorva.conf /etc/eorva.conf.new
  echo 'retention_runs=6' >>/etc/eorva.conf.new
  echo '{"change": 0, "files": {"/etc/eorva.conf.new": "/etc/eorva.conf"}}' >"$STORE/unfinished-change.json"
  run -0 --separate-stderr eorva config get retention_runs
  complains "an interrupted change of the configuration was finished"
  same "value" 6 "$output"
  [[ ! -e $STORE/unfinished-change.json && ! -e /etc/eorva.conf.new ]]
  run -0 --separate-stderr eorva config get retention_runs
  same "said" "" "$stderr"
}

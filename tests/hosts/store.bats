#!/usr/bin/env bats
# Older and newer databases, and file systems that fail.

load common

setup() {
  fresh_store
  add_task backup bootup 7001 'exit 0'
  eorva fire bootup >/dev/null
}

teardown() {
  ! mountpoint -q "$STORE" || umount "$STORE"
}

# Puts the store on a file system of its own.
mount_store() {
  cp -a "$STORE" store
  mount -t tmpfs -o "size=$1,mode=700" store "$STORE"
  cp -a store/. "$STORE"
}

# Makes a database of the time before versions.
make_old() {
  sqlite3 "$DATABASE" 'alter table task drop column description' 'pragma user_version = 0' >/dev/null
}

tasks() { eorva task list --json | jq -c '[.[].task_name]'; }

@test "a database of an older version is migrated when it is opened, and a copy is kept" {
  make_old
  same "tasks" '["backup"]' "$(tasks)"
  same "runs" 1 "$(eorva runs list --json | jq length)"
  eorva task edit backup --description "every night" >/dev/null
  same "description" '"every night"' "$(eorva task show backup --json | jq .description)"
  same "copy" "600 0 backup" \
    "$(stat -c %a "$DATABASE.schema-0") $(sqlite3 "$DATABASE.schema-0" 'pragma user_version' 'select task_name from task' | paste -sd ' ')"
}

@test "a database of a newer version is refused and left alone" {
  sqlite3 "$DATABASE" 'pragma user_version = 99'
  run --separate-stderr eorva --log-stdout task list
  same "answer" 1 "$status"
  complains "cannot open the store $DATABASE"
  says "the database has schema version 99, newer than "
  same "version" 99 "$(sqlite3 "$DATABASE" 'pragma user_version')"
}

@test "on a full disk nothing is added or lost, and work continues when there is space" {
  mount_store 1m
  dd if=/dev/zero of="$STORE/ballast" bs=4k 2>/dev/null || true
  run --separate-stderr add_task second bootup 7001 "# $(head -c 60000 /dev/zero | tr '\0' x)"
  same "answer" 1 "$status"
  rm "$STORE/ballast"
  same "tasks" '["backup"]' "$(tasks)"
  add_task second bootup 7001 'exit 0'
  same "tasks" '["backup","second"]' "$(tasks)"
  same "integrity" ok "$(sqlite3 "$DATABASE" 'pragma integrity_check')"
}

@test "a read-only file system, a missing folder and a file that is not a database are reported, and stay unchanged" {
  mount_store 1m
  mount -o remount,ro "$STORE"
  run --separate-stderr eorva task list
  same "answer" 1 "$status"
  complains "cannot open the store $DATABASE"
  mount -o remount,rw "$STORE"
  same "tasks" '["backup"]' "$(tasks)"

  echo "no database, but something of somebody" >"$DATABASE"
  rm -f "$DATABASE"-*
  run --separate-stderr eorva task list
  same "answer" 1 "$status"
  complains "cannot open the store $DATABASE"
  same "content" "no database, but something of somebody" "$(cat "$DATABASE")"

  umount "$STORE"
  rm -r "$STORE"
  run --separate-stderr eorva task list
  same "answer" 1 "$status"
  complains "create it with: eorva init"
  [[ ! -e $STORE ]]
}

@test "a damaged member of one row hides nothing else" {
  add_task second bootup 7002 'exit 0'
  sqlite3 "$DATABASE" "update task set status = '{' where task_name = 'backup'"
  same "tasks" '["backup","second"]' "$(tasks)"
  same "damaged" null "$(eorva task show backup --json | jq .status)"
  same "its others" '"normal"' "$(eorva task show backup --json | jq .last_exit_info.exit_type)"
  same "the other row" '"bootup"' "$(eorva task show second --json | jq .event)"
}

@test "an empty store is refused by every command, and only init creates its tables" {
  eorva backup "$BATS_TEST_TMPDIR/kept.db" >/dev/null
  cp kept.db before.db
  local command
  for command in 'task list' 'fire bootup' 'run backup' 'runs list' 'export' "backup $BATS_TEST_TMPDIR/kept.db" 'runs prune'; do
    rm -f "$DATABASE"*
    : >"$DATABASE"
    # shellcheck disable=SC2086  # words of a command
    run -1 --separate-stderr eorva $command
    complains "the store $DATABASE is empty"
    complains "eorva restore FILE"
    same "still empty: $command" 0 "$(stat -c %s "$DATABASE")"
  done
  cmp kept.db before.db
  run -1 --separate-stderr eorva check
  [[ $output$stderr == *"the store $DATABASE is empty"* ]]
  run -0 eorva restore kept.db --yes
  same "tasks" '["backup"]' "$(tasks)"
  same "journal" wal "$(sqlite3 "$DATABASE" 'pragma journal_mode')"
  rm "$DATABASE"*
  : >"$DATABASE"
  eorva init >/dev/null
  same "tasks" '[]' "$(tasks)"
}

@test "another program's database is refused, also by init, and left alone" {
  rm "$DATABASE"*
  sqlite3 "$DATABASE" 'create table other (a); insert into other values (1)'
  local command
  for command in 'task list' 'fire bootup' 'init' 'check'; do
    # shellcheck disable=SC2086
    run -1 --separate-stderr eorva $command
    [[ $output$stderr == *"the database $DATABASE is not a store"* ]]
  done
  same "tables" other "$(sqlite3 "$DATABASE" .tables)"
}

@test "a backup without tasks replaces one with tasks only on request" {
  eorva backup kept.db >/dev/null
  cp kept.db before.db
  eorva task delete backup --yes >/dev/null 2>&1
  run -1 --separate-stderr eorva backup kept.db
  complains "the store has no tasks, but the backup kept.db has"
  complains "--allow-empty"
  cmp kept.db before.db
  run -0 eorva backup other.db
  run -0 eorva backup other.db
  run -0 eorva backup kept.db --allow-empty
  same "tasks" 0 "$(sqlite3 kept.db 'select count(*) from task')"
}

@test "apply on a full disk changes nothing and says so" {
  mount_store 2m
  eorva export >before.yaml
  sed 's/retention_runs: .*/retention_runs: 9/; s/exit 0/exit 1/' before.yaml >after.yaml
  ! cmp -s before.yaml after.yaml
  # Room for the note of the change, but not for the tasks.
  dd if=/dev/zero of="$STORE/filler" bs=4k 2>/dev/null || true
  run -1 --separate-stderr eorva apply after.yaml --yes
  rm "$STORE/filler"
  eorva export | diff before.yaml -
  same "left over" "" "$(ls "$STORE" /etc | grep -E '\.new$|unfinished' || true)"
  run -0 eorva apply after.yaml --yes
}

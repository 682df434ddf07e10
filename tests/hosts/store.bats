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

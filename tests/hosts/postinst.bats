#!/usr/bin/env bats
# What the installation of the package does with the store.

load common

setup() { fresh_store; }

configure() { sh "$BATS_TEST_DIRNAME/../../debian/eorva.postinst" configure; }

@test "the first installation creates the store" {
  rm -r "$STORE"
  run -0 configure
  same "output" scheduler "$(eorva config show --json | jq -r .output_path)"
}

@test "an upgrade from a version without owner names stores them, and changes no setting" {
  add_task one bootup alice 'exit 0'
  eorva config set output_path=scheduler/x enable_output=no >/dev/null
  sqlite3 "$DATABASE" "alter table task drop column owner_name; pragma user_version = 2"
  run -0 configure
  same "owner" alice "$(sqlite3 "$DATABASE" 'select owner_name from task')"
  same "output" "scheduler/x false" "$(eorva config show --json | jq -r '"\(.output_path) \(.enable_output)"')"
}

@test "timers of added events are removed with the package, and come back with it" {
  local timer=/etc/systemd/system/eorva-event@nightly.timer
  eorva event add nightly --at daily
  cp "$timer" kept
  echo '[Timer]' >/etc/systemd/system/eorva-event@mine.timer
  run -0 sh "$BATS_TEST_DIRNAME/../../debian/eorva.postrm" remove
  same "left" eorva-event@mine.timer "$(cd /etc/systemd/system && find . -name 'eorva-event@*' -printf %f)"
  run -0 configure
  cmp kept "$timer"
  same "enabled" enabled "$(systemctl is-enabled eorva-event@nightly.timer)"
  rm /etc/systemd/system/eorva-event@mine.timer
  eorva event remove nightly
}

@test "an upgrade does not take a lost store for a new one" {
  rm "$DATABASE"*
  touch "$DATABASE"
  run -0 configure
  run -1 --separate-stderr eorva task list
  complains "its tables are missing"
}

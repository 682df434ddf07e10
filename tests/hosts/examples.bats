#!/usr/bin/env bats
# Runs every example in help and man page, and every command line that a document mentions. Each line runs on a
# server of its own: one of the set-ups below, which is made once, kept, and restored
# before each line.

load common
load documented

# Paths that a line may change, relative to /: store, configuration, output, event log, backup, units, working folder.
CHANGED=(usr/orva/etc/eorvascheduler etc/eorva.conf var/lib/orva var/log/orva var/backups/eorva.db etc/systemd/system
  srv/work)

# keep SET-UP: saves the current state as the set-up.
keep() {
  # shellcheck disable=SC2046
  (cd / && tar -cf "$BATS_FILE_TMPDIR/$1.tar" $(ls -d "${CHANGED[@]}" 2>/dev/null))
}

# put_back SET-UP: restores it.
put_back() {
  end_all
  cd / || return 1
  rm -rf run/eorva tmp/eorvascheduler* "${CHANGED[@]}"
  tar -xf "$BATS_FILE_TMPDIR/$1.tar"
  cd /srv/work || return 1
  [[ $1 != running ]] || start_two
}

# Processes that still run belong to the previous server.
end_all() {
  nothing_goes_on && return
  pkill -KILL -x eorva || true
  pkill -KILL -u alice,bob || true
  wait_until nothing_goes_on
}

nothing_goes_on() { ! pgrep -x eorva >/dev/null; }

start_two() {
  eorva run disk-usage --detach >/dev/null
  wait_until goes_on 42
  eorva run report --detach >/dev/null
  wait_until goes_on 43
}

goes_on() { eorva runs list --running --json | jq -e --argjson run "$1" 'any(.result_id == $run)'; }

# a_run_before NUMBER: makes the next run get this number.
a_run_before() {
  sqlite3 "$DATABASE" "insert into task_result (result_id, task_name, start_time, stop_time)
    values ($1 - 1, 'disk-usage', 1, 2)"
}

# Everything that the lines name: a user with that id, a share, files in the working folder, and a healthy server.
make_empty() {
  ! getent passwd 1001 >/dev/null || userdel "$(id --name --user 1001)"
  usermod --uid 1001 alice
  mkdir -m 0711 /srv/logs
  printf '%s\n' '[logs]' 'path = /srv/logs' >>/etc/orva/shares.conf
  [[ -x /usr/sbin/sendmail ]] || { printf '#!/bin/sh\n' >/usr/sbin/sendmail && chmod +x /usr/sbin/sendmail; }
  systemctl --quiet enable eorva-prune.timer eorva-mail-flush.timer eorva-disk-attached.service
  mkdir /srv/work
  cd /srv/work || return 1
  cp "$BATS_TEST_DIRNAME"/../../demo/tasks/disk-usage.sh .
  printf '%s\n' '#!/bin/sh' 'echo done' | tee report.sh >new.sh
  echo '{"task_name": "of-a-record", "event": "bootup", "owner": {"1001": "alice"}, "operation": "exit 0"}' >task.json
  rm -rf /etc/cron.*
  mkdir /etc/cron.{hourly,daily,weekly,monthly,d}
  cp new.sh /etc/cron.daily/of-cron
  chmod 755 /etc/cron.daily/of-cron
  echo '30 2 * * * sync.sh' >crontab.txt
  eorva init --output-path scheduler
}

make_first() { eorva task add disk-usage --event bootup --owner alice --script disk-usage.sh; }

# Runs 12 and 47 belong to one task and have different scripts; a run of alice has failed.
make_usual() {
  add_task report bootup alice 'echo done'
  add_task cleanup bootup alice 'exit 1'
  add_task summary bootup bob 'echo all done' --after disk-usage --after report --after cleanup
  add_task farewell shutdown bob 'echo good night'
  eorva event add weeknights
  add_task look-at-disk disk_attached alice 'echo "$EORVA_DISK"'
  eorva fire bootup || true
  echo 'exit 0' | eorva task edit cleanup --script -
  a_run_before 12
  eorva run disk-usage
  sed 's/>= 100/>= 95/; $a echo done' disk-usage.sh | eorva task edit disk-usage --script -
  a_run_before 47
  eorva run disk-usage
  eorva backup eorva.db
  cp -p eorva.db /var/backups
  eorva export | sed 's/echo all done/echo that was all/' >server.yaml
}

# Runs 42 and 43 start when this set-up is restored.
make_running() {
  put_back first
  echo 'sleep 600' | eorva task edit disk-usage --script -
  add_task report bootup alice 'sleep 600'
  a_run_before 42
}

# A backup of another server exists.
make_new() {
  put_back usual
  rm -rf "$STORE" "${KEPT:?}"/*
}

setup_file() {
  cd "$BATS_FILE_TMPDIR" || return 1
  printf '%s\n' '#!/bin/sh' 'echo "# edited" >>"$1"' >editor
  chmod +x editor
  mkdir lines
  "$BATS_TEST_DIRNAME/example_commands" lines
  local setup
  for setup in empty first usual running new; do
    "make_$setup" && keep "$setup"
  done
  cd "$BATS_FILE_TMPDIR" || return 1
}

# typing KEYS COMMAND: runs the command on a terminal, and types the keys after the first output.
typing() {
  local status=0
  : >"$BATS_FILE_TMPDIR/shown"
  { wait_until test -s "$BATS_FILE_TMPDIR/shown" && printf %b "$1"; } |
    env --default-signal=INT script -qefc "$2" /dev/null >"$BATS_FILE_TMPDIR/shown" || status=$?
  cat "$BATS_FILE_TMPDIR/shown"
  return "$status"
}

# saying TEXT COMMAND: checks that standard error contains the text; other lines must print nothing there.
saying() {
  local status=0
  eval "$2" 2>"$BATS_FILE_TMPDIR/said" || status=$?
  grep -q "$1" "$BATS_FILE_TMPDIR/said" || return 1
  return "$status"
}

# Another server has its own store.
ssh() {
  shift
  unshare --mount bash -c 'mount -t tmpfs -o mode=0700 other "$0" && eorva init >/dev/null && "$@"' "$STORE" "$@"
}

# examples_on SET-UP: runs its lines; a failed line is shown with its output.
examples_on() {
  local line complaints=$BATS_TEST_TMPDIR/complaints shown=$BATS_TEST_TMPDIR/shown wrong=0
  set -o pipefail
  export EDITOR="$BATS_FILE_TMPDIR/editor"
  while IFS= read -r line; do
    put_back "$1"
    if ! run_lines 1 <<<"$line" >"$shown" 2>"$complaints" || [[ -s $complaints ]]; then
      cat "$shown" "$complaints"
      wrong=1
    fi
  done <"$BATS_FILE_TMPDIR/lines/$1"
  end_all
  return "$wrong"
}

@test "examples for a new server" { examples_on new; }

@test "examples for an empty store" { examples_on empty; }

@test "examples for a server with its first task" { examples_on first; }

@test "examples for the usual server" { examples_on usual; }

@test "examples for a server with open runs" { examples_on running; }

@test "every example is tested" {
  same "set-ups" "empty first new running usual" "$(ls "$BATS_FILE_TMPDIR/lines" | paste -sd ' ')"
  (($(cat "$BATS_FILE_TMPDIR"/lines/* | wc -l) >= 100))
}

EXAMPLES=/usr/share/doc/eorva/examples

# block SECTION: the unit in eorva-events(7) that begins with this section.
block() { sed -n "/^\[$1\]$/,/^\`\`\`$/ { /^\`/d; p }" "$BATS_TEST_DIRNAME/../../packaging/man/eorva-events.7.scd"; }

@test "the example units are valid, and the man page shows them as installed" {
  cd "$BATS_TEST_TMPDIR" || return 1
  cp "$EXAMPLES"/*.path .
  block Path >in-page.path
  mkdir -p /etc/systemd/system/eorva-bootup.service.d
  cp "$EXAMPLES/after-database.conf" /etc/systemd/system/eorva-bootup.service.d
  run -0 systemd-analyze verify --man=no ./*.path eorva-bootup.service
  rm -r /etc/systemd/system/eorva-bootup.service.d
  same "complaints" "" "$output"
  same "lines of the page alone" "" "$(grep -vxFf inbox.path in-page.path)"
  grep -q '^Unit=' in-page.path
}

# asked COMMAND...: the request that the command sends to systemd.
asked() {
  printf '%s\n' '#!/bin/sh' 'echo "systemctl $*"' >systemctl
  printf '%s\n' '#!/bin/sh' '[ "$1" = -n ] && shift && exec "$@"' >sudo
  chmod +x systemctl sudo
  # shellcheck disable=SC2016
  unshare --mount bash -c 'mount --bind systemctl /bin/systemctl && PATH=$PWD:$PATH && "$@"' bash "$@"
}

@test "UPS hooks and udev rules start the unit of the event" {
  cd "$BATS_TEST_TMPDIR" || return 1
  ln -s "$EXAMPLES/apcupsd-event" onbattery
  ln -s "$EXAMPLES/apcupsd-event" failing
  local start="systemctl --no-block start eorva-event@"
  same "upsmon, on battery" "${start}ups_on_battery.service" "$(NOTIFYTYPE=ONBATT asked sh "$EXAMPLES/nut-notify")"
  same "upsmon, low battery" "${start}ups_low_battery.service" "$(NOTIFYTYPE=LOWBATT asked sh "$EXAMPLES/nut-notify")"
  same "upsmon, anything else" "" "$(NOTIFYTYPE=COMMOK asked sh "$EXAMPLES/nut-notify")"
  same "apcupsd, on battery" "${start}ups_on_battery.service" "$(asked sh ./onbattery)"
  same "apcupsd, low battery" "${start}ups_low_battery.service" "$(asked sh ./failing)"
  same "udev" "${start}backup_disk.service" \
    "$(asked sh -c "$(sed -n 's/.*RUN+="\(.*\)"$/\1/p' "$EXAMPLES/99-backup-disk.rules")")"
}

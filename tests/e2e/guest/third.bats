#!/usr/bin/env bats
# The third start: after the power cut.

load inside
load ends

setup_file() { wait_for_start; }

@test "the run that the power cut ended is closed as interrupted" {
  patiently have_ended bootup 12
  patiently have_ended shutdown 6
  shown_as s-cut interrupted
  same "its task" "[]" "$(eorva task show s-cut --json | jq -c .status.running)"
}

@test "every run is closed, and every record is whole" {
  patiently none_open
  same "database" ok "$(sqlite3 "$DATABASE" 'pragma integrity_check')"
}

@test "leftovers in /tmp went with the start" {
  same "in /tmp" "" "$(find /tmp -maxdepth 1 -name 'eorva*')"
}

@test "the unit that removes old runs ends the processes left of a killed execution" {
  rm -f /srv/marks/twice
  eorva fire twice_over >/dev/null 2>&1 3>&- &
  patiently runs_open twice_over 1
  local group=/sys/fs/cgroup$(group_of each-time)
  echo 1 >"${group%/*}/watch/cgroup.kill"
  wait
  grep -x 'populated 1' "$group/cgroup.events"
  systemctl start eorva-prune.service
  patiently test ! -e "$group"
  # Read from the store directly: eorva would close the run itself.
  same "running" "" "$(sqlite3 "$DATABASE" 'select task_name from task_result where stop_time is null')"
}

# The limits apply to all tasks, so this test is the last one with runs.
@test "old output is removed from shares in any folder, and a running task is left alone" {
  # The documents tell how the unit reaches a share in /usr.
  local folders=(/home/shared /srv/shared /opt/shared /usr/local/share/runs)
  mkdir -p "${folders[@]}"
  printf '[%s]\npath = %s\n' homes /home/shared served /srv/shared optional /opt/shared local /usr/local/share/runs \
    >>/etc/orva/shares.conf
  echo 'cd "${0%/*}" && mkdir -m 1700 deep && echo kept >deep/file && mkdir -m 0 closed' |
    eorva task add old --event old --any-event --owner alice --script -
  local share
  for share in homes served optional local scheduler; do
    eorva config set --output-path "$share"
    eorva run old
  done
  eorva run old
  rm -f /srv/marks/slow-may-end
  eorva fire --detach slow
  patiently runs_open slow 1
  # A run that a power failure has interrupted, and its file.
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, pid, exit_info) values ('old', 1, 4194999, '{}')"
  touch /tmp/eorvascheduler_exit_code.4194999
  chown alice: /tmp/eorvascheduler_exit_code.4194999
  eorva config set retention_runs=2 retention_failed_runs=0
  systemctl start eorva-prune.service
  # Read from the store directly: eorva would close the interrupted run itself.
  same "running" long-lived "$(sqlite3 "$DATABASE" 'select task_name from task_result where stop_time is null')"
  [[ ! -e /tmp/eorvascheduler_exit_code.4194999 ]]
  same "runs" 2 "$(eorva runs list --task old --limit 0 --json | jq length)"
  same "kept output" 1 "$(find "${folders[@]}" /var/lib/orva/scheduler -path '*/old/*/output.log' | wc -l)"
  touch /srv/marks/slow-may-end
  patiently none_open
}

@test "installing again after a removal starts the timers that were enabled, and does not complain about the others" {
  eorva event enable hourly
  eorva event disable daily
  dpkg --remove eorva
  # 3 or 4: whether systemd still knows the unit depends on its version.
  ! systemctl is-active eorva-hourly.timer || return 1
  DEBIAN_FRONTEND=noninteractive dpkg --install --force-unsafe-io /e2e/later/eorva_*.deb >installation.log 2>&1
  same "complaints" "" "$(grep 'not starting' installation.log)"
  systemctl is-active eorva-hourly.timer
  run -3 systemctl is-active eorva-daily.timer
}

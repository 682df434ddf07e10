#!/usr/bin/env bats
# The first start: the sandbox of the units.

load inside

setup_file() { wait_for_start; }

# What a process may do, and what it sees of the file system.
LOOK='grep -E "^(Cap|NoNewPrivs|Seccomp)" /proc/self/status; cat /proc/self/mountinfo; ls -l /proc/self/ns | cut -d " " -f 9-'

@test "a script that a unit fires has nothing of the unit's sandbox" {
  echo "$LOOK" | eorva task add bare --event bare --any-event --owner alice --script -
  eorva fire bare
  systemctl start eorva-event@bare.service
  patiently have_ended bare 2
  local runs
  runs=($(runs_of bare | jq '.[].result_id'))
  eorva runs output "${runs[0]}" >from-shell
  eorva runs output "${runs[1]}" >from-unit
  grep -q '^Seccomp:.*0$' from-shell
  grep -q ' / / ' from-shell
  diff from-shell from-unit
}

@test "units that only start others have a sandbox" {
  mkdir -p /run/systemd/system/eorva-event@.service.d
  printf '[Service]\nExecStartPre=/bin/sh -c %s\n' "'$LOOK'" >/run/systemd/system/eorva-event@.service.d/look.conf
  systemctl daemon-reload
  systemctl start eorva-event@bare.service
  journalctl --no-pager --output cat --unit eorva-event@bare.service >from-starter
  rm -r /run/systemd/system/eorva-event@.service.d
  systemctl daemon-reload
  grep -q $'^Seccomp:\t2' from-starter
  grep -q $'^NoNewPrivs:\t1' from-starter
  patiently have_ended bare 3
}

@test "the watcher of volumes sees the mounts of the server, not a view of its own" {
  eorva event enable volume_mounted
  local pid
  pid=$(systemctl show --property MainPID --value eorva-volume-mounted.service)
  same "mount namespace" "$(readlink /proc/1/ns/mnt)" "$(readlink "/proc/$pid/ns/mnt")"
  grep -q $'^NoNewPrivs:\t1' "/proc/$pid/status"
  eorva event disable volume_mounted
}

next_of() { eorva event list --json | jq --arg name "$1" '.[] | select(.name == $name) | .next'; }

later_than() { (($(date +%s) > $1)); }

@test "an added event is fired at its time, and not for times that it missed before" {
  local at=$(($(date +%s) + 20)) timer=eorva-event@soon.timer
  eorva event add soon --at "$(date -d "@$at" '+%F %T')"
  echo true | eorva task add soon --event soon --owner alice --script -
  same "next" "$at" "$(next_of soon)"
  patiently have_ended soon 1
  later_than $((at - 1))
  # Since then it has missed this time.
  patiently later_than $((at + 3))
  eorva event edit soon --at "$(date -d "@$((at + 2))" '+%T')"
  same "tomorrow" $((at + 2 + 24 * 3600)) "$(next_of soon)"
  eorva event disable soon
  same "never" null "$(next_of soon)"
  eorva event enable soon
  systemctl is-active "$timer"
  # Other events of this system have problems.
  run eorva check --repair
  [[ $output != *soon* ]]
  same "runs" 1 "$(runs_of soon | jq length)"
  eorva task delete soon --yes
  eorva event remove soon
  run -1 systemctl cat "$timer"
}

waiting_mail() { find /var/spool/orva/outbox -type f | wc -l; }

@test "waiting mail is sent by its unit" {
  cp -p /etc/orvainfo.conf kept
  echo 'mailprogram=/bin/false' >>/etc/orvainfo.conf
  echo true | eorva task add mails --event mails --any-event --owner bob --script - --mail bob
  eorva run mails
  patiently eval '(($(waiting_mail) > 0))'
  cp -p kept /etc/orvainfo.conf
  systemctl start eorva-mail-flush.service
  # The mail server of the guest delivers in the background.
  patiently has_mail bob mails
  same "waiting" 0 "$(waiting_mail)"
}

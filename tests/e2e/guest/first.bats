#!/usr/bin/env bats
# The first start: all ways to fire an event.

load inside
load documented

setup_file() { wait_for_start; }

@test "no unit of the scheduler has failed, and what should be enabled is" {
  same "failed units" "" "$(systemctl list-units --state=failed --plain --no-legend 'eorva*')"
  same "enabled events" "bootup shutdown" "$(eorva event list --json | jq -r '[.[] | select(.enabled and .in_catalogue) | .name] | join(" ")')"
  for unit in eorva-prune.timer eorva-mail-flush.timer eorva-shutdown.service; do
    systemctl is-active "$unit"
  done
  same "default share" "711 root" "$(stat -c '%a %U' /var/lib/orva/scheduler)"
}

@test "bootup ran its tasks in order, each as its owner" {
  patiently have_ended bootup 4
  same "runs" "b-fails alice by_signal/4 b-last bob normal/0 b-left bob normal/0 b-root alice normal/0" \
    "$(outcomes bootup | sort | paste -sd ' ')"
  same "first" b-root "$(runs_of bootup | jq -r '.[0].task_name')"
  same "last" b-last "$(runs_of bootup | jq -r '.[-1].task_name')"
  in_order bootup b-root b-left
  in_order bootup b-root b-fails
  in_order bootup b-left b-last
  in_order bootup b-fails b-last
  same "b-root printed" $'alice\nbootup' "$(output_of b-root)"
  same "b-last printed" bob "$(output_of b-last)"
}

@test "a timer fires an event of one's own" {
  patiently have_ended tick 2
  same "runs" $'tick-one alice normal/0\ntick-two bob normal/0' "$(outcomes tick)"
}

@test "a path unit fires an event whose name has a blank" {
  touch /srv/inbox/a-file
  patiently have_ended 'in box' 2
  same "runs" $'in-one bob normal/0\nin-two alice normal/0' "$(outcomes 'in box')"
  same "printed" $'bob\na-file' "$(output_of in-one)"
}

@test "the journal explains events" {
  echo true | eorva task add explained --event never --owner alice --script - --any-event
  eorva task delete explained --yes
  run -0 journalctl --no-pager --catalog --output short MESSAGE_ID=9d7ed69642a846768eb3ab138102396d
  says 'Task "explained" was created.'
  says "The scheduler has stored a new task. The task runs when its event is fired."
}

@test "a detached execution survives its caller, in a unit of its own" {
  systemd-run --wait --quiet --unit e2e-caller eorva fire --detach slow
  patiently runs_open slow 1
  local unit
  unit=$(unit_of long-lived)
  [[ $(group_of long-lived) == /eorva.slice/eorva-*slow-*.service/run-* ]]
  for property in KillMode=mixed OOMPolicy=continue IgnoreSIGPIPE=no TasksMax=infinity; do
    systemctl show "$unit" | grep -x "$property"
  done
  touch /srv/marks/slow-may-end
  patiently have_ended slow 1
  same "outcome" "long-lived alice normal/0" "$(outcomes slow)"
}

# systemd re-executes itself repeatedly while a file exists.
storm() {
  while [[ -e /srv/marks/storm ]]; do
    systemctl daemon-reexec 2>/dev/null || true
    read -rt "$1" <> <(:) || true
  done
}

# fire_numbers FIRST LAST: lists the executions that were reported as started, and those reported as not started.
fire_numbers() {
  local number
  for ((number = $1; number <= $2; number++)); do
    if eorva fire --detach stormy --env "NUMBER=$number"; then
      echo "$number" >>told
    fi
  done
}

no_stormy_unit() { [[ -z $(systemctl list-units --plain --no-legend --all 'eorva-fire*stormy*') ]]; }

@test "a detached start while systemd executes itself anew runs once if it was reported, and never if not" {
  echo 'echo "$NUMBER"' | eorva task add stormy --event stormy --any-event --parallel --owner alice --script -
  touch /srv/marks/storm
  storm 0.5 3>&- &
  fire_numbers 1 12
  rm /srv/marks/storm
  wait
  same "told" 12 "$(wc -l <told)"
  touch /srv/marks/storm
  storm 0.05 3>&- &
  fire_numbers 13 15
  rm /srv/marks/storm
  wait
  patiently no_stormy_unit
  patiently none_open
  same "ran" "$(sort told)" "$(outputs_of stormy | sort)"
  same "tickets" "" "$(ls /run/eorva/tickets)"
}

@test "an event that fires again while its tasks run is not lost" {
  systemctl start eorva-event@twice_over.service
  patiently runs_open twice_over 1
  systemctl start eorva-event@twice_over.service
  patiently runs_open twice_over 2
  touch /srv/marks/twice
  patiently have_ended twice_over 2
}

@test "volumes that come and go are told, by their mount points" {
  eorva event enable volume_mounted
  eorva event enable volume_unmounted
  truncate -s 8M /srv/image
  mkfs.ext4 -q /srv/image
  mkdir "/srv/big disk" /srv/again
  patiently watches mounted
  patiently watches unmounted
  mount -o loop /srv/image "/srv/big disk"
  patiently have_ended volume_mounted 1
  same "told" $'alice\n/srv/big disk' "$(output_of v-mounted)"
  # Bind mounts and file systems in memory are not volumes.
  mount --bind "/srv/big disk/lost+found" /srv/again
  umount /srv/again
  mount -t tmpfs tmpfs /srv/again
  umount /srv/again
  umount "/srv/big disk"
  patiently have_ended volume_unmounted 1
  same "told" $'bob\n/srv/big disk' "$(output_of v-gone)"
  same "mounts" 1 "$(runs_of volume_mounted | jq length)"
}

# watches WHAT: the watcher follows the mount table.
watches() {
  local pid
  for pid in $(systemctl show --property MainPID --value "eorva-volume-$1.service"); do
    pgrep -P "$pid" findmnt
  done
}

# A system in namespaces has no udev of its own.
start_udev() {
  local unit
  for unit in systemd-udevd.service systemd-udevd-{control,kernel}.socket; do
    mkdir -p "/run/systemd/system/$unit.d"
    printf '[Unit]\nConditionPathIsReadWrite=\n' >"/run/systemd/system/$unit.d/e2e.conf"
  done
  systemctl daemon-reload
  systemctl start systemd-udevd.service
}

# disk ACTION DISK: simulates the kernel's event, and waits until udev has processed its rules.
disk() {
  local known
  known=/run/udev/data/b$(cat "/sys/block/$2/dev")
  /e2e/uevent "$1" "$2"
  if [[ $1 == remove ]]; then
    patiently test ! -e "$known"
  else
    patiently test -e "$known"
  fi
}

@test "a disk that comes or goes fires its event, while that is enabled" {
  local disk
  disk=$(find /sys/block -mindepth 1 -maxdepth 1 -printf '%f\n' | grep -vE '^(loop|ram|zram|dm-|md|nbd|sr|fd)' | head -n 1)
  [[ -n $disk ]]
  start_udev
  disk add "$disk"
  disk remove "$disk"
  eorva event enable disk_attached
  disk add "$disk"
  patiently have_ended disk_attached 1
  /e2e/uevent change "$disk"
  disk remove "$disk"
  eorva event enable disk_detached
  eorva event disable disk_attached
  disk add "$disk"
  disk remove "$disk"
  patiently have_ended disk_detached 1
  same "told" $'alice\n/dev/'"$disk" "$(output_of d-here)"
  same "told" $'alice\n/dev/'"$disk" "$(output_of d-gone)"
  systemctl stop systemd-udevd.service systemd-udevd-{control,kernel}.socket
  same "came" 1 "$(runs_of disk_attached | jq length)"
}

# ups STATE: the UPS reports it.
ups() { upsrw -s "ups.status=$1" -u tester -p secret dummy@localhost; }

@test "a UPS on battery, and its low battery, are told once each" {
  printf 'MODE=standalone\n' >/etc/nut/nut.conf
  printf '[dummy]\ndriver = dummy-ups\nport = dummy.dev\n' >/etc/nut/ups.conf
  printf 'ups.status: OL\n' >/etc/nut/dummy.dev
  printf '[tester]\npassword = secret\nactions = SET\n' >/etc/nut/upsd.users
  # Background processes must not keep the descriptors of this test.
  upsdrvctl start 3>&- >driver.log 2>&1
  upsd 3>&- >server.log 2>&1
  patiently upsc dummy@localhost ups.status
  eorva event enable ups_on_battery
  eorva event enable ups_low_battery
  patiently ups OB
  patiently have_ended ups_on_battery 1
  same "told" $'bob\ndummy' "$(output_of u-battery)"
  same "not low" "[]" "$(runs_of ups_low_battery)"
  patiently ups "OB LB"
  patiently have_ended ups_low_battery 1
  same "not twice" 1 "$(runs_of ups_on_battery | jq length)"
}

@test "calendar timers fire events that the server missed while it was off" {
  local event
  for event in hourly daily weekly monthly; do
    touch -d '40 days ago' "/var/lib/systemd/timers/stamp-eorva-$event.timer"
    eorva event enable "$event"
  done
  for event in hourly daily weekly monthly; do
    patiently have_ended "$event" 1
    systemctl is-active "eorva-$event.timer"
  done
}

@test "the list tells which timer fires an event of one's own" {
  same "tick" '["e2e-tick.timer"]' "$(eorva event list --json | jq -c '.[] | select(.name == "tick") | .fired_by')"
  same "in box" '["e2e-inbox.path"]' "$(eorva event list --json | jq -c '.[] | select(.name == "in box") | .fired_by')"
}

@test "the command lines of the documents that need a booted system work as described" {
  local document
  for document in /e2e/booted/*; do
    run_lines 1 <"$document" >>shown
  done
  grep -q 'eorva-daily.timer' shown
  grep -q 'The scheduler has stored a new task.' shown
  patiently have_ended after_hours 2
  same "told" "reason:  reason: test" "$(outputs_of after_hours | grep reason | sort | paste -sd ' ')"
  patiently have_ended inbox 1
  same "told" $'bob\n/srv/inbox/a.csv' "$(output_of d-inbox)"
  patiently have_ended EVENT 1
  same "told" $'alice\nVALUE' "$(output_of d-event)"
  patiently have_ended 'NAME OF THE EVENT' 1
  same "weeknights" '["weeknights.timer"]' "$(eorva event list --json | jq -c '.[] | select(.name == "weeknights") | .fired_by')"
  systemctl is-active weeknights.timer
}

@test "bootup fires once in a start of the server" {
  systemctl stop eorva-bootup.service
  systemctl start eorva-bootup.service
  same "state" "inactive no" "$(systemctl show --property ActiveState,ConditionResult --value eorva-bootup.service | paste -sd ' ')"
  same "runs" 4 "$(runs_of bootup | jq length)"
}

@test "stopping or restarting the unit of the shutdown fires nothing" {
  systemctl restart eorva-shutdown.service
  systemctl stop eorva-shutdown.service
  systemctl start eorva-shutdown.service
  same "runs" "[]" "$(runs_of shutdown)"
}

@test "an upgrade ends no run, and fires nothing" {
  systemctl start eorva-event@upgrade.service
  patiently runs_open upgrade 1
  local before
  before=$(runs_of upgrade | jq '.[0].pid')
  local runs
  runs=$(eorva runs list --limit 0 --json | jq length)
  # A restarted watcher would report again a UPS that is still on battery.
  local units=(eorva-shutdown.service eorva-{ups-on-battery,ups-low-battery,volume-mounted,volume-unmounted}.service)
  local since
  since=$(systemctl show --property ActiveEnterTimestampMonotonic "${units[@]}")
  DEBIAN_FRONTEND=noninteractive dpkg --install --force-unsafe-io /e2e/later/*.deb >upgrade.log 2>&1
  same "version" 7.0.0+later "$(dpkg-query -W -f '${Version}' eorva)"
  kill -0 "$before"
  same "open runs" 1 "$(runs_of upgrade | jq '[.[] | select(.stop_time == null)] | length')"
  same "units that were left alone" "$since" "$(systemctl show --property ActiveEnterTimestampMonotonic "${units[@]}")"
  touch /srv/marks/upgrade-may-end
  patiently have_ended upgrade 1
  same "outcome" "long-upgrade bob normal/0" "$(outcomes upgrade)"
  same "runs" "$runs" "$(eorva runs list --limit 0 --json | jq length)"
  same "complaints" "" "$(grep 'not starting' upgrade.log)"
}

@test "mail to local users has arrived" {
  patiently has_mail alice b-root
  patiently has_mail bob b-fails
  patiently has_mail alice b-fails
}

@test "nothing but the next start's work is left" {
  eorva event enable network_online
  patiently none_open
  same "in /tmp" "" "$(find /tmp -maxdepth 1 -name 'eorva*')"
}

@test "tasks of other events are alive when the power goes off" {
  systemctl start e2e-late.timer
  # Without --detach, only systemd knows this execution.
  systemd-run --quiet --unit e2e-front eorva fire front
  systemd-run --quiet --scope --unit e2e-last eorva fire last >/dev/null 2>&1 3>&- &
  patiently runs_open late 3
  patiently runs_open front 1
  patiently runs_open last 1
  patiently test -e /srv/marks/polite -a -e /srv/marks/deaf -a -e /srv/marks/last
}

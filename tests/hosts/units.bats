#!/usr/bin/env bats
# What the installed units may do. No systemd runs here: units are read as files.

load common

UNITS=/lib/systemd/system

# The highest exposure of each unit, in tenths, as "systemd-analyze security" rates it.
LIMITS=(
  bootup:15 network-online:15 event@:15
  disk-attached:15 disk-attached@:15 disk-detached:15 disk-detached@:15
  # These talk to other programs over the network.
  ups-low-battery:22 ups-on-battery:22
  # Removes files in any share.
  prune:25
  # Must see the mounts of the server.
  volume-mounted:31 volume-unmounted:31
  # Runs the mail program of the server.
  mail-flush:53
  # Tasks run in this unit.
  shutdown:96
)

# unit NAME: the file of a unit.
unit() { echo "$UNITS/eorva-$1.service"; }

@test "every service has a limit of its exposure, and keeps it" {
  same "services" "$(for limit in "${LIMITS[@]}"; do unit "${limit%:*}"; done | sort)" "$(ls "$UNITS"/eorva-*.service)"
  local limit
  for limit in "${LIMITS[@]}"; do
    echo "$limit"
    systemd-analyze security --offline=true --no-pager --threshold="${limit#*:}" "$(unit "${limit%:*}")"
  done
}

# Prints the units with a line that matches, by their short names.
units_with() { grep -lE "$1" "$UNITS"/eorva-*.service | sed 's|.*/eorva-||; s|\.service$||' | sort | paste -sd ' '; }

@test "no unit in which tasks run has a sandbox or a small limit, and its runs get groups of their own" {
  same "units in which tasks run" shutdown \
    "$(comm -23 <(units_with '/eorva (fire|run) |/fire-shutdown' | xargs -n 1) <(units_with ' --detach ' | xargs -n 1))"
  run -1 grep -nE '^(Protect|Private|Proc|NoNew|Read|Inaccessible|SystemCall|Restrict[A-Z]|Capability|Device|Lock|Memory|Dynamic)' \
    "$(unit shutdown)"
  grep -x TasksMax=4096 "$(unit shutdown)"
  grep -x Delegate=yes "$(unit shutdown)"
}

@test "files of a unit in /run/eorva stay when it ends" {
  same "units" "$(units_with '^RuntimeDirectory=eorva$')" "$(units_with '^RuntimeDirectoryPreserve=yes$')"
}

@test "the slice of the executions limits nothing" {
  same "settings" "Description Documentation" "$(sed -n 's/=.*//p' "$UNITS/eorva.slice" | paste -sd ' ')"
}

#!/usr/bin/env bats
# Installed events and the units that fire them. No systemd runs here: units are read and enabled as files.

load common

UNITS=/lib/systemd/system

setup() { fresh_store; }

teardown() { find /etc/systemd/system -name 'eorva-*' -delete; }

# state EVENT: whether the event is enabled.
state() { eorva event list --json | jq -r --arg name "$1" '.[] | select(.name == $name) | .enabled'; }

@test "the catalogue has every event, with texts in four languages" {
  run -0 eorva event list --json
  same "events" "bootup shutdown network_online volume_mounted volume_unmounted disk_attached disk_detached ups_on_battery \
ups_low_battery hourly daily weekly monthly" "$(jq -r '[.[].name] | join(" ")' <<<"$output")"
  same "events without a text" "[]" "$(jq -c '[.[] | select([(.title, .description) | .enu, .ger, .fre, .jpn]
    | any(. == null or . == "")) | .name]' <<<"$output")"
}

@test "every event has an installed unit, and every unit is valid" {
  local unit
  while read -r unit; do
    [[ -f $UNITS/$unit ]]
    grep -q '^\[Install\]' "$UNITS/$unit"
  done < <(eorva event list --json | jq -r '.[].fired_by[]')
  run -0 systemd-analyze verify --man=no "$UNITS"/eorva-*
  same "complaints" "" "$output"
}

@test "units that fire events stop before volumes are unmounted and user lookup ends" {
  local fire='^Exec(Start|Stop)=.*/(eorva fire|fire-shutdown)'
  same "units without that order" "" "$(grep -LE '^After=.*local-fs.target remote-fs.target .*nss-user-lookup.target' \
    $(grep -lE "$fire" "$UNITS"/eorva-*))"
  same "units" 6 "$(grep -lE "$fire" "$UNITS"/eorva-* | wc -l)"
}

@test "an event is enabled and disabled" {
  same "at first" false "$(state daily)"
  run -0 eorva event enable daily
  same "said" "enabled daily (eorva-daily.timer)" "$output"
  same "then" true "$(state daily)"
  [[ -L /etc/systemd/system/timers.target.wants/eorva-daily.timer ]]
  run -0 eorva event enable daily
  run -0 eorva event disable daily
  same "said" "disabled daily (eorva-daily.timer)" "$output"
  same "at last" false "$(state daily)"
  [[ ! -e /etc/systemd/system/timers.target.wants/eorva-daily.timer ]]
}

@test "every event of the catalogue can be enabled" {
  local event
  for event in $(eorva event list --json | jq -r '.[].name'); do
    run -0 eorva event enable "$event"
  done
  same "disabled ones" "" "$(eorva event list --json | jq -r '.[] | select(.enabled | not) | .name')"
}

@test "an unknown event is refused, with the unit that would fire it" {
  run -1 --separate-stderr eorva event enable 'back up/home-1'
  complains 'there is no event "back up/home-1" in the catalogue'
  complains "starts $(systemd-escape --template=eorva-event@.service 'back up/home-1')"
}

@test "a unit that is not installed cannot be enabled" {
  mv "$UNITS/eorva-weekly.timer" kept
  local list
  list=$(eorva event list 2>/dev/null)
  run -1 --separate-stderr eorva event enable weekly
  mv kept "$UNITS/eorva-weekly.timer"
  complains "eorva-weekly.timer"
  [[ $list =~ weekly\ +missing ]]
}

@test "the list counts tasks, and shows events outside the catalogue" {
  add_task one bootup alice true
  add_task two bootup alice true
  sqlite3 "$DATABASE" "update task set event = 'inbox' where task_name = 'two'"
  run -0 eorva event list --json
  same "counts" '{"bootup":1,"inbox":1}' \
    "$(jq -cS '[.[] | select(.tasks > 0) | {(.name): .tasks}] | add' <<<"$output")"
  same "not in the catalogue" '["inbox",[],false]' \
    "$(jq -c '.[] | select(.in_catalogue | not) | [.name, .fired_by, .enabled]' <<<"$output")"
}

@test "the list needs no systemd" {
  mv /usr/bin/systemctl kept
  run -0 eorva event list
  local listed=$output
  run -0 eorva event list --json
  local enabled
  enabled=$(jq -c '[.[].enabled] | unique' <<<"$output")
  add_task one bootup alice true
  run eorva check
  mv kept /usr/bin/systemctl
  says 'the event "bootup" has tasks, but no installed unit fires it'
  [[ $listed =~ bootup\ +- ]]
  same "enabled" "[false]" "$enabled"
}

@test "the list needs no store" {
  rm -rf "$STORE"
  run -0 eorva event list
  says "eorva-bootup.service"
}

@test "a damaged catalogue is reported" {
  local catalogue=/usr/orva/share/eorvascheduler/eorvascheduler-event.json
  cp "$catalogue" kept
  echo '[' >"$catalogue"
  run -1 --separate-stderr eorva event list
  cp kept "$catalogue"
  complains "cannot read the event catalogue $catalogue"
}

@test "a UPS event is fired once, and again after a failure" {
  add_task told ups_on_battery root 'echo "$EORVA_UPS"'
  mkdir bin
  # The store is missing until the third call of the UPS hook. The UPS keeps calling it with the same state while this
  # test runs.
  cat >bin/upsc <<UPS
#!/bin/sh
[ "\$1" != -l ] || echo asked >>"$PWD/asked"
[ "\$(wc -l <"$PWD/asked")" -lt 3 ] || mv "$PWD/away" "$STORE" 2>/dev/null
[ "\$1" = -l ] && echo ups || echo "OB DISCHRG"
UPS
  chmod 755 bin/upsc
  mv "$STORE" away
  PATH=$PWD/bin:$PATH "$(sed -n 's/^ExecStart=\([^ ]*\) .*/\1/p' "$UNITS/eorva-ups-on-battery.service")" on_battery 0.1 \
    >watch.out 2>watch.err 3>&- &
  local watch=$!
  # asked TIMES
  asked() { [[ $(wc -l <asked) -ge $1 ]]; }
  wait_until asked 2
  wait_until asked 4
  wait_until asked 5
  kill "$watch"
  wait_until eval '[[ $(eorva runs list --json | jq -c "[.[].outcome]") == "[\"ok\"]" ]]'
  same "told" ups "$(eorva runs output 1)"
  same "tries" "3 2" "$(grep -c '^on_battery: ups (OB DISCHRG)' watch.out) $(grep -c 'was not fired for ups' watch.err)"
}

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
  complains 'nothing is known that fires an event "back up/home-1"'
  complains "eorva event add 'back up/home-1' --at CALENDAR"
  complains "can start $(systemd-escape --template=eorva-event@.service 'back up/home-1')"
}

@test "an event of one's own is added with its times, changed, and removed" {
  local timer=/etc/systemd/system/eorva-event@nightly.timer
  run -0 --separate-stderr eorva event add nightly --at 'Mon..Fri 22:30' --at '*-*-1 3:00' --description 'After hours'
  same "said" "added the event nightly: Mon..Fri 22:30, *-*-1 3:00" "$output"
  complains "systemd does not run here"
  run -0 systemd-analyze verify --man=no "$timer"
  same "complaints" "" "$output"
  same "times" "Mon..Fri 22:30|*-*-1 3:00" "$(sed -n 's/^OnCalendar=//p' "$timer" | paste -sd '|')"
  same "missed times count" Persistent=true "$(grep ^Persistent "$timer")"
  same "the timer is enabled" enabled "$(systemctl is-enabled eorva-event@nightly.timer)"
  same "listed" '{"added":true,"at":["Mon..Fri 22:30","*-*-1 3:00"],"description":{"enu":"After hours"},"enabled":true,'\
'"fired_by":["eorva-event@nightly.timer"],"in_catalogue":false,"next":null,"tasks":0,"title":null}' \
    "$(eorva event list --json | jq -cS '.[] | select(.name == "nightly") | del(.active, .name)')"
  [[ $(eorva event list) =~ nightly\ +enabled\ .*'After hours (Mon..Fri 22:30, *-*-1 3:00)' ]]
  run -0 eorva event edit nightly --at daily
  same "said" "changed the event nightly: daily" "${lines[0]}"
  same "times" daily "$(sed -n 's/^OnCalendar=//p' "$timer")"
  run -0 eorva event edit nightly --no-at --description 'By hand'
  [[ ! -e $timer && ! -L /etc/systemd/system/timers.target.wants/eorva-event@nightly.timer ]]
  run -0 eorva fire nightly
  run -0 eorva event remove nightly
  same "said" "removed the event nightly" "$output"
  run -1 --separate-stderr eorva fire nightly
  complains 'there is no event "nightly"'
}

@test "an event of one's own is enabled and disabled" {
  eorva event add 'back up/home-1' --at daily
  run -0 eorva event disable 'back up/home-1'
  same "disabled" "false disabled" \
    "$(state 'back up/home-1') $(systemctl is-enabled "$(systemd-escape --template=eorva-event@.timer 'back up/home-1')")"
  run -0 eorva event edit 'back up/home-1' --at weekly
  same "said" "changed the event back up/home-1: weekly (disabled)" "$output"
  same "still" false "$(state 'back up/home-1')"
  run -0 --separate-stderr eorva event plan 'back up/home-1'
  complains "the event \"back up/home-1\" is disabled: eorva event enable 'back up/home-1'"
  run -0 eorva event enable 'back up/home-1'
  same "enabled" true "$(state 'back up/home-1')"
  eorva event add by-hand
  run -1 --separate-stderr eorva event enable by-hand
  complains 'the event "by-hand" has no times at which it could be fired; to set them, use: eorva event edit by-hand --at CALENDAR'
}

@test "a wrong event is refused, and nothing changes" {
  local event options wanted
  eorva event add nightly --at daily
  eorva event list --json >before
  while IFS='|' read -r event options wanted; do
    run -1 --separate-stderr eval "eorva event $event $options"
    complains "$wanted"
  done <<'END'
add nightly||the event "nightly" exists already; to change it, use: eorva event edit nightly
add daily||the event "daily" exists already: it is an installed event; to start or stop firing it, use: eorva event enable daily
add x|--at often|the event "x" is not added:
add x|--at often|at: Failed to parse calendar specification 'often': Invalid argument; systemd.time(7) explains the times
add x|--at "30 22 * * 1-5"|at: "30 22 * * 1-5" is a schedule of cron; for systemd, write "Mon..Fri *-*-* 22:30:00"
add x|--at "0 6 1 * 1"|for systemd, write "*-*-01 06:00:00" and "Mon *-*-* 06:00:00"
add x|--at $'daily\nUnit=y.service'|is not a calendar expression of systemd
add x|--description $'a\nb'|description: must be one line without control characters
add on_demand||name: must not be "on_demand"
add ''||name: is empty
edit nigthly|--at weekly|there is no event "nigthly"; did you mean "nightly"?
edit daily|--at weekly|the event "daily" is an installed event
edit nightly|--at often|the event "nightly" is not changed:
remove none||there is no event "none"
END
  eorva event list --json | diff before -
  run -2 --separate-stderr eorva event edit nightly
  complains "nothing to change; add --at, --no-at or --description"
}

@test "an event with tasks is not removed, and a known event needs no flag" {
  eorva event add nightly --at daily
  echo true | eorva task add one --event nightly --owner alice --script -
  run -1 --separate-stderr eorva event remove nightly
  complains 'the event "nightly" is not removed: it has tasks: one; delete them with: eorva task delete TASK; or give'
  eorva task edit one --event inbox --any-event
  run -0 eorva event remove nightly
  echo true | eorva task add two --event inbox --owner alice --script -
  run -1 --separate-stderr eorva task copy two three --event inbxo
  complains 'unknown event "inbxo"; did you mean "inbox"?'
  run -1 --separate-stderr eorva event edit inbox --at daily
  complains 'the event "inbox" is known from its tasks only; to add it, use: eorva event add inbox'
  run -1 --separate-stderr eorva event remove inbox
  complains 'the event "inbox" is not removed: it has tasks: one, two; delete them with'
  run -0 eorva event add inbox --at daily
}

@test "times need systemd, and an event without times does not" {
  mv /usr/bin/systemd-analyze kept-analyze
  mv /usr/bin/systemctl kept-systemctl
  run -1 --separate-stderr eorva event add nightly --at daily
  local said=$stderr
  run eorva event add inbox
  mv kept-analyze /usr/bin/systemd-analyze
  mv kept-systemctl /usr/bin/systemctl
  [[ $said == *"systemd is not installed here, and only systemd fires an event at a time"* ]]
  same "added without times" "0 added the event inbox" "$status $output"
}

@test "a timer of somebody else is not replaced" {
  local timer=/etc/systemd/system/eorva-event@nightly.timer
  printf '[Timer]\nOnCalendar=weekly\n' >"$timer"
  run -1 --separate-stderr eorva event add nightly --at daily
  complains "eorva-event@nightly.timer was not written by eorva; move $timer away"
  same "still there" OnCalendar=weekly "$(tail -1 "$timer")"
  same "not added" "" "$(eorva event list | grep nightly || true)"
}

@test "a running systemd tells when timers fire next" {
  mkdir -p /run/systemd/system
  mv /usr/bin/systemctl kept
  cat >/usr/bin/systemctl <<'END'
#!/bin/sh
case $1 in
  show) printf 'Names=eorva-daily.timer\nUnitFileState=enabled\nActiveState=active\nTriggeredBy=\n\n' ;;
  list-timers) echo '[{"next":1767225600000000,"unit":"eorva-daily.timer"}]' ;;
esac
END
  chmod 755 /usr/bin/systemctl
  local list json
  list=$(TZ=UTC eorva event list)
  json=$(eorva event list --json)
  mv -f kept /usr/bin/systemctl
  rmdir /run/systemd/system
  [[ $list =~ daily\ +enabled\ +0\ 2026-01-01\ 00:00:00 ]]
  same "as JSON" '[1767225600,null]' "$(jq -c '[.[] | select(.name == "daily" or .name == "weekly") | .next]' <<<"$json")"
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

@test "the list shows the names of units as they are, and the times on a terminal of 80 columns" {
  eorva event add nightly-backup --at 'Mon..Fri 22:30' --description 'After office hours'
  run -0 eorva event list
  says 'eorva-event@nightly\x2dbackup.timer'
  run -0 script -qec 'stty cols 80; eorva event list --color never' /dev/null </dev/null
  says 'After office hours (Mon..Fri 22:30)'
  same "long lines" "" "$(tr -d '\r' <<<"$output" | grep -E '.{81}' || true)"
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

#!/usr/bin/env bats
# The event log.

load common

setup() {
  rm -f /var/log/orva/event.jsonl*
  fresh_store
}

@test "events are shown in order, in the chosen language" {
  add_task one bootup alice 'exit 0'
  eorva task rename one two --yes >/dev/null
  eorva task delete two --yes >/dev/null
  run -0 eorva log
  [[ ${lines[0]} =~ ^20[0-9-]+\ [0-9:]+\ \ info\ +Task\ \"one\"\ was\ created\.$ ]]
  says 'Task "one" was given the new name "two".'
  [[ ${lines[2]} =~ 'Task "two" was deleted.' ]]
  run -0 eorva log --language ger -n 1
  says 'Die Aufgabe „two“ wurde gelöscht.'
  same "one line" 1 "${#lines[@]}"
  run -2 --separate-stderr eorva log --language xyz
  complains "known: enu, fre, ger, jpn"
}

@test "changes, failed and stopped runs are logged, with the person who did it" {
  export SUDO_USER=bob
  add_task one bootup alice 'exit 4'
  add_task slow bootup alice 'exec sleep 1000'
  eorva task edit one --time-limit 1h --description text >/dev/null
  eorva task disable slow >/dev/null
  eorva task enable slow >/dev/null
  eorva task edit slow --enabled >/dev/null
  run -3 eorva run one
  eorva run slow --detach >/dev/null
  wait_until runs_are 2
  eorva stop slow --grace 0 >/dev/null
  eorva config set stop_grace=7s retention_runs=100 >/dev/null
  printf 'version: 1\nconfiguration: {stop_grace: 9s}\n...\n' | eorva apply - --yes >/dev/null
  echo retention_runs=1 >/etc/eorva.conf
  run -3 eorva run one
  eorva runs prune >/dev/null
  rm /etc/eorva.conf
  run -0 eorva log -n 0
  says 'info     Task "one" was changed: description, time limit. (by bob)'
  says 'info     Task "slow" was disabled. (by bob)'
  says 'info     Task "slow" was enabled. (by bob)'
  says 'warning  Run 1 of task "one" failed: exit 4.'
  says 'warning  Run 2 of task "slow" failed: stopped.'
  says 'info     Run 2 of task "slow" was stopped on request. (by bob)'
  says 'info     Setting "stop_grace" was changed: 7s. (by bob)'
  says 'info     Setting "stop_grace" was changed: 9s. (by bob)'
  same "changed settings" 2 "$(grep -c 'Setting' <<<"$output")"
  same "nothing was changed" 1 "$(grep -c 'was enabled' <<<"$output")"
  run -0 eorva log -n 0 --json
  same "arguments" '[["one","1","exit 4","on_demand"],["slow","2","stopped","on_demand"],["one","3","exit 4","on_demand"]]' \
    "$(jq -c 'map(select(.code == "0x14400202").args)' <<<"$output")"
  same "by" '"bob"' "$(jq -c 'map(select(.code == "0x14400203"))[0].by' <<<"$output")"
  run -0 eorva log --language ger -n 0
  says 'Lauf 1 der Aufgabe „one“ ist fehlgeschlagen: exit 4.'
  SUDO_USER='nobody"such' eorva task edit one --time-limit 2h >/dev/null
  run -0 eorva log -n 1
  [[ $output != *such* ]]
}

@test "changes of events are logged" {
  export SUDO_USER=bob
  eorva event add nightly --at 22:30 >/dev/null
  eorva event edit nightly --at 23:30 >/dev/null
  eorva event disable nightly >/dev/null
  eorva event enable nightly daily >/dev/null
  eorva event disable daily >/dev/null
  eorva event remove nightly >/dev/null
  printf 'version: 1\nevents:\n  nightly: {at: [22:30]}\n  daily: {enabled: true}\n...\n' >with
  eorva apply with --yes >/dev/null
  sed -i 's/22:30/23:30/; s/true/false/' with
  eorva apply with --yes >/dev/null
  printf 'version: 1\nevents: {}\ntasks: {}\n...\n' >without
  eorva apply without --yes --prune >/dev/null
  same "log" 'Event "nightly" was added. (by bob)
Event "nightly" was changed. (by bob)
Event "nightly" was disabled. (by bob)
Event "nightly" was enabled. (by bob)
Event "daily" was enabled. (by bob)
Event "daily" was disabled. (by bob)
Event "nightly" was removed. (by bob)
Event "daily" was enabled. (by bob)
Event "nightly" was added. (by bob)
Event "daily" was disabled. (by bob)
Event "nightly" was changed. (by bob)
Event "nightly" was removed. (by bob)' "$(eorva log -n 0 | sed -n 's/.*info *//p')"
}

@test "the default language is the server's" {
  cp /etc/orvainfo.conf orvainfo.conf
  sed -i 's/^maillang=.*/maillang=fre/' /etc/orvainfo.conf
  add_task one bootup alice 'exit 0'
  run -0 eorva log
  says "a été créée"
  cp orvainfo.conf /etc/orvainfo.conf
}

@test "JSON has the event as it was written, and its text" {
  add_task one bootup alice 'exit 0'
  run -0 eorva log --json
  same "event" '[{"args":["one"],"code":"0x14400004","level":1,"text":"Task \"one\" was created."}]' \
    "$(jq -cS 'map(del(.time, .pid, .by))' <<<"$output")"
  same "types" '["number","number"]' "$(jq -c '.[0] | [.time, .pid] | map(type)' <<<"$output")"
}

@test "older files are read when needed" {
  mkdir -p /var/log/orva
  local i
  for i in 3 2 1; do
    printf '{"args":["t%s"],"code":"0x14400004","level":1,"pid":1,"time":%s}\n' "$i" "$((1000 - i))" >"/var/log/orva/event.jsonl.$i"
  done
  printf '{"args":["t0"],"code":"0x14400999","level":3,"pid":1,"time":1000}\ntorn\n' >/var/log/orva/event.jsonl
  run -0 --separate-stderr eorva log --json
  same "all" '["t3","t2","t1","t0"]' "$(jq -c 'map(.args[0])' <<<"$output")"
  complains "1 line of the event log cannot be read"
  same "two" '["t1","t0"]' "$(eorva log -n 2 --json 2>/dev/null | jq -c 'map(.args[0])')"
  same "since" '["t1","t0"]' "$(eorva log --since @999 --json 2>/dev/null | jq -c 'map(.args[0])')"
  same "since, one" '["t0"]' "$(eorva log --since @999 -n 1 --json 2>/dev/null | jq -c 'map(.args[0])')"
  run -2 eorva log --since soon
}

@test "an event is one line without control characters" {
  mkdir -p /var/log/orva
  printf '{"args":["a\\n2026 \\u001b[31mfake"],"code":"0x14400004","level":2,"pid":1,"time":1000}\n' >/var/log/orva/event.jsonl
  run -0 eorva log
  same "lines" 1 "${#lines[@]}"
  says 'warning  Task "a^J2026 ^[[31mfake" was created.'
}

@test "a server without events has an empty log" {
  run -0 eorva log
  same "nothing" "" "$output"
  same "as JSON" "[]" "$(eorva log --json | jq -c .)"
}

@test "new events are shown until Ctrl-C, also when the file changes" {
  add_task first bootup alice 'exit 0'
  # Background processes ignore interrupts by default.
  env --default-signal=INT eorva log -f -n 1 >followed 3>&- &
  local follower=$! status=0
  env --default-signal=INT eorva log --follow --json --since @1 >followed.json 3>&- &
  local programs=$!
  wait_until grep -q '"first" was created' followed
  add_task second bootup alice 'exit 0'
  wait_until grep -q '"second" was created' followed
  mv /var/log/orva/event.jsonl /var/log/orva/event.jsonl.1
  add_task third bootup alice 'exit 0'
  wait_until grep -q '"third" was created' followed
  wait_until grep -q third followed.json
  kill -INT "$follower" "$programs"
  wait "$follower" || status=$?
  same "answer" 130 "$status"
  wait "$programs" || true
  same "shown" "first second third" "$(sed 's/.*Task "\(.*\)" was created.$/\1/' followed | paste -sd ' ')"
  same "for programs, a line each" "$(eorva log --json | jq -c '.[]')" "$(jq -c . followed.json)"
  same "lines" 3 "$(wc -l <followed.json)"
}

@test "following ends when the reader ends, or when output cannot be written" {
  add_task first bootup alice 'exit 0'
  run -0 timeout 100 bash -c 'eorva log -f | head -n 1'
  says '"first" was created'
  run -1 --separate-stderr timeout 100 bash -c 'eorva log -f >/dev/full'
  complains "No space left on device"
}

@test "the mail about a run tells how it ended, and how to see more" {
  [[ ! -e /usr/sbin/sendmail ]] || cp -a /usr/sbin/sendmail sendmail.kept
  mkdir -m 1777 /tmp/mails
  printf '#!/bin/sh\ncat >"/tmp/mails/$$"\n' >/tmp/mailer
  chmod 755 /tmp/mailer
  cp /etc/orvainfo.conf orvainfo.conf
  printf 'mailprogram=/tmp/mailer\n' >>/etc/orvainfo.conf
  add_task copy-b bootup alice 'echo "Subject: mine"; exit 128' --mail root
  add_task good bootup bob 'exit 0' --mail root --after copy-b
  run -3 eorva fire bootup
  mails_are() { [[ $(find /tmp/mails -type f -size +0 | wc -l) == "$1" ]]; }
  wait_until mails_are 2
  cp orvainfo.conf /etc/orvainfo.conf
  local host bad
  host=$(hostname -s)
  bad=$(grep -l "copy-b failed" /tmp/mails/*)
  same "subjects" "Subject: [$host] copy-b failed: exit 128|Subject: [$host] good ended" \
    "$(grep -h '^Subject: \[' /tmp/mails/* | sort | paste -sd '|')"
  local line
  for line in 'Server:   ' 'Task:     copy-b' 'Owner:    alice' 'Event:    bootup' "Run:      $(run_of copy-b)" 'Result:   failed: exit 128' \
    "More:     eorva runs output $(run_of copy-b)" 'Subject: mine'; do
    grep -q "^$line" "$bad" || { echo "missing: $line" >&2; cat "$bad" >&2; return 1; }
  done
  grep -q '^Duration: [0-9]*s' "$bad"
  rm -r /tmp/mails
}

#!/usr/bin/env bats
# The check of the installation.

load common

setup() {
  fresh_store
  [[ -x /usr/sbin/sendmail ]] || { printf '#!/bin/sh\n' >/usr/sbin/sendmail && chmod +x /usr/sbin/sendmail; }
  rm -f /etc/systemd/system/*.wants/eorva-* /etc/systemd/system/eorva-event@*
  eorva event enable bootup >/dev/null
  eorva event enable shutdown >/dev/null
  systemctl --quiet enable eorva-prune.timer eorva-mail-flush.timer
}

# finds SEVERITY AREA SUBJECT TEXT ADVICE: one of the findings. After a problem the exit status is 1.
finds() {
  local found
  run --separate-stderr eorva check --json
  [[ $status == 1 || $1 == warning ]] || { echo "the check ended with $status" >&2; return 1; }
  found=$(jq -r --arg s "$1" --arg a "$2" --arg b "$3" \
    '.findings[] | select(.severity == $s and .area == $a and .subject == $b) | .text + "\n    " + .advice' <<<"$output")
  [[ $found == *"$4"*$'\n    '"$5"* ]] && return 0
  printf 'wanted: %s %s %s: %s / %s\ngot: %s\n' "$@" "$output" >&2
  return 1
}

@test "an installation without faults" {
  add_task it bootup alice 'exit 0'
  run -0 --separate-stderr eorva check
  same "answer" "no problems found" "$output"
  run -0 eorva check --json
  same "answer" '{"findings":[],"ok":true}' "$(jq -cS . <<<"$output")"
}

@test "each finding is a line with a command to type under it, and they are counted" {
  add_task it bootup alice 'exit 0'
  add_task second bootup alice 'exit 0' --after it
  sqlite3 "$DATABASE" "update task set depend_on_task = '[ghost]' where task_name = 'second'"
  eorva task edit it --script /dev/null
  run -1 --separate-stderr eorva check
  same "answer" 'warning: task "it": script: the script is empty
    eorva task edit it
problem: task "second" is never started: it waits for "ghost", and there is no such task
    eorva task edit second --no-after
1 problem, 1 warning' "$output"
}

@test "without a store, or with a file that is no database" {
  rm -r "$STORE"
  finds problem store "$DATABASE" "there is no store yet" "eorva init"
  eorva init --output-path scheduler
  rm "$DATABASE"*
  echo "these are my notes, and they are long enough to be no database" >"$DATABASE"
  finds problem store "$DATABASE" "$DATABASE" "mkdir $STORE/damaged && mv $DATABASE* $STORE/damaged/ && eorva init && eorva restore FILE"
}

@test "a store on a full disk is not taken for a damaged one" {
  add_task it bootup alice 'exit 0'
  cp -a "$STORE" store
  mount -t tmpfs -o size=1m,mode=700 store "$STORE"
  cp -a store/. "$STORE"
  ! dd if=/dev/zero of="$STORE/ballast" bs=4k status=none
  finds problem store "$DATABASE" "cannot open the store $DATABASE: No space left on device" "df -h $STORE"
  run -1 --separate-stderr eorva task list
  complains "cannot open the store $DATABASE: No space left on device"
  umount "$STORE"
}

@test "the command that is shown for a damaged store restores a backup" {
  add_task it bootup alice 'exit 0'
  eorva backup kept.db
  printf 'nonsense%.0s' {1..100} | dd of="$DATABASE" conv=notrunc status=none
  local advice
  advice=$(eorva check --json | jq -r '.findings[] | select(.area == "store") | .advice' | head -1)
  eval "${advice/ FILE / kept.db --yes }"
  run -0 eorva check
  run -0 eorva task show it
}

@test "tasks behind a disabled task are warnings, not problems" {
  add_task off bootup alice 'exit 0' --disabled
  add_task behind bootup alice 'exit 0' --after off
  add_task further bootup alice 'exit 0' --after behind
  run -0 eorva check
  says 'task "behind" is never started: it waits for "off", which is disabled'
  says 'task "further" is never started: it waits for "behind", which is not started'
  says '0 problems, 2 warnings'
}

@test "commands can be typed for names that look like options or that a terminal obeys" {
  add_task aa bootup alice 'exit 0' --disabled
  add_task bb bootup alice 'exit 0'
  add_task cc bootup alice 'exit 0' --after aa
  sqlite3 "$DATABASE" "update task set task_name = '-aa' where task_name = 'aa';
    update task set depend_on_task = '[-aa]' where task_name = 'cc';
    update task set task_name = 'b' || char(27) || 'c' || char(10) || 'b' where task_name = 'bb'"
  run -1 --separate-stderr eorva check
  says 'task "b^[c^Jb": name: '
  [[ $output != *$'\e'* ]]
  says "eorva task enable -- '-aa'"
  eval "$(grep -o 'eorva task enable .*' <<<"$output")"
  local advice
  while read -r advice; do
    [[ $advice != "eorva task rename "* ]] || eval "${advice/rename/rename --yes}"
  done <<<"$output"
  run -0 --separate-stderr eorva check
  same "names" "aa b-c-b cc" "$(eorva task list --json | jq -r '[.[].task_name] | join(" ")')"
}

@test "units that are usually enabled" {
  systemctl --quiet disable eorva-prune.timer
  finds warning units eorva-prune.timer "old runs and their output are not removed" "systemctl enable --now eorva-prune.timer"
  cp /etc/eorva.conf kept.conf
  eorva config set retention_runs=all retention_failed_runs=all retention_output_size=0 >/dev/null
  run -0 eorva check
  says "no problems found"
  cp kept.conf /etc/eorva.conf
  eorva event disable shutdown
  finds warning events shutdown 'is not enabled (eorva-shutdown.service), but normally is' "eorva event enable shutdown"
}

@test "a store that others can change, or that is damaged" {
  chmod 777 "$STORE"
  finds problem store "$STORE" "may be changed by others (mode 0777)" "chmod go-w $STORE"
  chmod 755 "$STORE"
  chown alice "$DATABASE"
  finds problem store "$DATABASE" "belongs to user 7001, not to root" "chown root $DATABASE"
  chown root "$DATABASE"
  add_task it bootup alice 'exit 0'
  sqlite3 "$DATABASE" "pragma foreign_keys = off; insert into task_result (task_name, stop_time) values ('ghost', 1)"
  finds problem store "$DATABASE" "is damaged: task_result" "mkdir $STORE/damaged && mv $DATABASE* $STORE/damaged/ && eorva init && eorva restore FILE"
}

@test "a configuration that cannot be read, and settings that cannot be used" {
  echo '{' >"$STORE/eorvascheduler-conf.json"
  finds problem configuration "$STORE/eorvascheduler-conf.json" "it is no JSON object" "mv $STORE/eorvascheduler-conf.json"
  rm "$STORE/eorvascheduler-conf.json"
  eorva init --output-path scheduler >/dev/null
  echo 'stop_grace=soon' >>/etc/eorva.conf
  finds problem configuration /etc/eorva.conf "soon" "eorva config set"
  sed -i '$d' /etc/eorva.conf
}

@test "a definition of shares that cannot be read" {
  add_task one bootup alice 'exit 0'
  echo 'colour = green' >>/etc/orva/shares.conf
  finds problem shares "" "/etc/orva/shares.conf" "eorva share list"
  run -1 --separate-stderr eorva run one
  complains 'the share "scheduler": it is not defined'
  run -1 --separate-stderr eorva share list
  complains "/etc/orva/shares.conf"
  sed -i '$d' /etc/orva/shares.conf
}

@test "output without a place" {
  jq '.eorvascheduler.output_path = "attic"' "$STORE/eorvascheduler-conf.json" >conf.json
  cp conf.json "$STORE/eorvascheduler-conf.json"
  finds problem output "" 'the share "attic": it is not defined' "eorva config set --output-path scheduler"
  rm "$STORE/eorvascheduler-conf.json"
  finds warning output "" "no output of runs is kept" "eorva config set --output-path scheduler"
  add_task one bootup alice 'exit 0'
  add_task two bootup bob 'exit 0'
  finds problem output "" "a script of one owner can be run with the rights of another" "eorva config set --output-path scheduler"
  echo 'shared_script=yes' >>/etc/eorva.conf
  finds warning output "" "a script of one owner can be run with the rights of another" "eorva config set --output-path scheduler"
  sed -i '$d' /etc/eorva.conf
}

@test "output in a place that others can change, or where nothing can be run" {
  chmod 777 "$KEPT"
  finds problem output "" "may be changed by others" ""
  chmod 711 "$KEPT"
  mount -t tmpfs -o noexec,mode=0711 tmpfs "$KEPT"
  finds problem output "$KEPT" "which is mounted noexec" "mount -o remount,exec"
  umount "$KEPT"
}

@test "a mail program that is not there matters when mail is to be sent" {
  echo 'mailprogram=/no/such/program' >>/etc/orvainfo.conf
  run eorva check
  [[ $output != *mail* ]]
  add_task it bootup alice 'exit 0' --mail root
  finds problem mail /no/such/program "the mail program /no/such/program cannot be run; 1 task wants to send mail" "editor /etc/orvainfo.conf"
  sed -i '$d' /etc/orvainfo.conf
}

@test "events that have tasks and that nothing fires" {
  add_task it daily alice 'exit 0'
  add_task own my-event alice 'exit 0'
  finds problem events daily 'the event "daily" is not enabled (' "eorva event enable daily"
  run -0 eorva event enable daily
  finds warning events my-event 'the event "my-event" has tasks, but no installed unit fires it' "eorva fire my-event"
  run -0 eorva event add my-event
  run -0 eorva check
  [[ $output != *my-event* ]]
}

@test "timers of own events that are not as the events say, and their repair" {
  local folder=/etc/systemd/system unit=eorva-event@nightly.timer
  eorva event add nightly --at daily
  run -0 eorva check
  rm "$folder/timers.target.wants/$unit"
  finds problem events nightly "the timer of the event \"nightly\" is not enabled ($unit)" "eorva check --repair"
  sed -i s/daily/weekly/ "$folder/$unit"
  finds problem events nightly "the timer of the event \"nightly\" was changed ($unit)" "eorva check --repair"
  rm "$folder/$unit"
  finds problem events nightly "the timer of the event \"nightly\" is missing ($unit)" "eorva check --repair"
  run -0 --separate-stderr eorva check --repair
  complains "set $unit right"
  echo '{}' >"$STORE/own-events.json"
  finds problem events nightly "the timer of the event \"nightly\" belongs to no event ($unit)" "eorva check --repair"
  run -0 --separate-stderr eorva check --repair
  [[ ! -e $folder/$unit ]]
  eorva event add nightly --at daily
  echo '[Timer]' >"$folder/$unit"
  finds problem events nightly "$unit was not written by eorva; move $folder/$unit away" "systemctl cat $unit"
  rm "$folder/$unit"
  echo '[]' >"$STORE/own-events.json"
  finds problem events "$STORE/own-events.json" "cannot read $STORE/own-events.json: it is no JSON object" \
    "mv $STORE/own-events.json $STORE/own-events.json.bad && eorva check --repair"
}

@test "an own event with times that is disabled, but has tasks" {
  eorva event add nightly --at daily
  eorva event disable nightly
  run -0 eorva check
  add_task it nightly alice 'exit 0'
  finds problem events nightly 'the event "nightly" is not enabled (eorva-event@nightly.timer), but has tasks' \
    "eorva event enable nightly"
}

@test "runs whose process is gone, and their repair" {
  add_task it bootup alice 'exit 0'
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, pid, event_fire_time, trigger_event, exit_info)
    values ('it', 1000, 2147483647, 1000, 'bootup', '{}')"
  finds problem runs 1 'run 1 of "it" is recorded as running, but its process has ended' "eorva check --repair"
  run -0 --separate-stderr eorva check --repair
  complains 'closed run 1 of "it", which was interrupted'
  same "how it ended" '"interrupted"' "$(field 1 exit_info.exit_type)"
}

@test "a run in progress is no problem" {
  add_task it bootup alice 'exec sleep 300'
  eorva run it >/dev/null 3>&- &
  wait_until runs_are 1
  run -0 eorva check
  pkill -u alice sleep
  wait %1 || true
}

@test "tasks that can never start, and names and owners that are wrong" {
  useradd --uid 7011 dora
  local task
  for task in a b gone name_1 nameX2 astray; do add_task "$task" bootup alice 'exit 0'; done
  add_task elsewhere shutdown alice 'exit 0'
  add_task off bootup alice 'exit 0' --disabled
  add_task behind bootup alice 'exit 0' --after off
  add_task further bootup alice 'exit 0' --after behind
  add_task orphan bootup dora 'exit 0' --mail root
  userdel dora
  sqlite3 "$DATABASE" "update task set depend_on_task = '[b]' where task_name = 'a';
    update task set depend_on_task = '[a]' where task_name = 'b';
    update task set depend_on_task = '[ghost]' where task_name = 'gone';
    update task set depend_on_task = '[elsewhere]' where task_name = 'astray';
    update task set task_name = 'nameX1' where task_name = 'nameX2';
    update task set notify_mail = '|evil' where task_name = 'orphan';
    update task set task_name = '../up' where task_name = 'elsewhere';
    update task set depend_on_task = '[../up]' where task_name = 'astray'"
  finds problem tasks a 'task "a" is never started: it waits for "b", which waits for it, too' "eorva task edit a --no-after"
  finds problem tasks gone 'waits for "ghost", and there is no such task' "eorva task edit gone --no-after"
  finds problem tasks astray 'waits for "../up", which belongs to the event "shutdown"' "eorva task edit ../up --event bootup"
  finds warning tasks behind 'waits for "off", which is disabled' "eorva task enable off"
  finds problem tasks orphan 'has no owner: user dora (7011) does not exist' "eorva task edit orphan --owner USER"
  finds problem tasks orphan 'mail: "|evil" is not a mail address' "eorva task edit orphan"
  finds problem tasks name_1 'also matches the task "nameX1"' "eorva task rename name_1 name-1"
  finds problem tasks ../up "must begin with a letter or a digit, not with '.'" "eorva task rename ../up up"
  finds problem tasks a "the tasks wait for each other in a circle" "eorva task edit a --no-after"
  finds warning tasks further 'waits for "behind", which is not started' "eorva explain behind"
}

@test "scripts that probably cannot run are warnings" {
  printf '#!/no/such/shell\r\n' | eorva task add it --event bootup --owner alice --script -
  finds warning tasks it "interpreter /no/such/shell" "eorva task edit it"
  finds warning tasks it "CR LF" "eorva task edit it"
}

@test "a share that is nearly full, full or read-only" {
  mkdir -p /srv/small
  mount -t tmpfs -o size=20M,mode=711 none /srv/small
  printf '\n[small]\npath = /srv/small\n' >>/etc/orva/shares.conf
  eorva config set --output-path small >/dev/null
  add_task one bootup alice 'exit 0'
  run -0 eorva fire bootup
  finds warning output /srv/small 'owners can write only ' 'df -h /srv/small'
  head -c 30M /dev/zero >/srv/small/filler || true
  finds problem output /srv/small 'nothing can be written to the output folder /srv/small: No space left on device; no task can run until this is settled' 'df -h /srv/small'
  run -1 --separate-stderr eorva fire bootup
  complains 'nothing can be written to the output folder /srv/small: No space left on device'
  run -0 eorva explain one
  says 'nothing can be written to the output folder /srv/small: No space left on device'
  rm /srv/small/filler
  run -0 eorva fire bootup
  mount -o remount,ro /srv/small
  finds problem output /srv/small 'nothing can be written to the output folder /srv/small: Read-only file system' 'df -h /srv/small'
  run -1 --separate-stderr eorva fire bootup
  complains 'Read-only file system'
  umount /srv/small
  sed -i '/^\[small\]/,$d' /etc/orva/shares.conf
}

#!/usr/bin/env bats
# The second start: after the orderly shutdown.

load inside
load ends

setup_file() { wait_for_start; }

@test "the tasks of the shutdown ran in order, as their owners, while services and volumes were there" {
  same "s-first" $'alice\nactive\n/srv/data is a mountpoint' "$(output_of s-first)"
  same "s-second" $'bob\nsecond\n/srv/data is a mountpoint' "$(output_of s-second)"
  in_order shutdown s-first s-second
  same "outcomes" "s-first alice normal/0 s-leaves bob normal/0 s-second bob normal/0 s-volume alice normal/0" \
    "$(outcomes shutdown | grep -v endless | sort | paste -sd ' ')"
}

@test "a task that used up the time of the shutdown was ended, and recorded as that" {
  shown_as s-endless budget
}

@test "every run of the first start is closed, and none was cut off" {
  patiently none_open
  same "interrupted runs" "[]" "$(eorva runs list --limit 0 --json |
    jq -c '[.[] | select(.exit_info.exit_type == "interrupted") | .task_name] | sort')"
}

# When the first start unmounted its volume, in seconds.
unmounted() {
  journalctl --unit srv-data.mount MESSAGE_ID=de5b426a63be47a7b6ac3eaac82e2f6f --output json |
    jq -s '.[0].__REALTIME_TIMESTAMP | tonumber / 1000000 | floor'
}

@test "tasks of other events could clean up, were ended in time, and closed before the volumes went" {
  [[ -e /srv/marks/cleaned && ! -e /srv/marks/volumes-are-gone ]]
  same "closed later" "[]" "$(runs_of late | jq -c --argjson gone "$(unmounted)" '[.[] | select(.stop_time > $gone)]')"
  # Nobody can tell the exit status of a run that was killed.
  local task
  for task in o-deaf o-plain o-polite; do
    shown_as "$task" shutdown
  done
  same "exit codes" "o-deaf null o-plain 15 o-polite 7" "$(runs_of late |
    jq -r 'sort_by(.task_name) | map("\(.task_name) \(.exit_info.exit_code)") | join(" ")')"
  # Tasks that waited for them did not start.
  same "runs" "o-deaf o-plain o-polite" "$(outcomes late | cut -d ' ' -f 1 | sort | paste -sd ' ')"
}

@test "an execution that was fired in a session could clean up, and was closed before the volumes went" {
  [[ -e /srv/marks/last-cleaned ]]
  same "how it ended" "shutdown 7" "$(runs_of last | jq -r '.[] | "\(.ended_by) \(.exit_info.exit_code)"')"
  same "closed later" "[]" "$(runs_of last | jq -c --argjson gone "$(unmounted)" '[.[] | select(.stop_time > $gone)]')"
}

@test "background processes of the tasks of the shutdown did not hold it up, and a volume that may fail was there" {
  [[ -e /srv/marks/left-behind ]]
  same "s-volume" $'alice\n/srv/may-fail is a mountpoint' "$(output_of s-volume)"
}

@test "bootup fired once more, and so did the network" {
  patiently have_ended bootup 8
  patiently have_ended network_online 1
  same "outcome" "n-online bob normal/0" "$(outcomes network_online)"
}

@test "the mail of the shutdown has arrived" {
  systemctl start eorva-mail-flush.service
  patiently has_mail alice s-first
}

@test "nothing is left in /tmp" {
  same "in /tmp" "" "$(find /tmp -maxdepth 1 -name 'eorva*')"
}

@test "the power will be cut in the next shutdown" {
  for task in s-first s-second s-endless s-leaves s-volume; do
    eorva task disable "$task"
  done
  eorva task enable s-cut
  # Files that a run without an output folder would leave.
  touch /tmp/eorvascheduler.script.4711 /tmp/eorvascheduler_exit_code.4712
}

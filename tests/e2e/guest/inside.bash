# Helpers for the tests inside the booted system.

load common

# wait_for_start: waits until systemd has started everything.
wait_for_start() {
  local state
  until state=$(systemctl is-system-running) || [[ $state == degraded ]]; do
    read -rt 0.2 <> <(:) || true
  done
}

# patiently COMMAND...: like wait_until, with more time for a busy machine.
patiently() {
  local tries
  for ((tries = 0; tries < 600; tries++)); do
    "$@" >/dev/null 2>&1 && return 0
    read -rt 0.1 <> <(:) || true
  done
  echo "never came true: $*" >&2
  eorva runs list --limit 0 >&2
  return 1
}

# runs_of EVENT: its run records, as JSON, the oldest first.
runs_of() { eorva runs list --limit 0 --json | jq -c --arg event "$1" '[.[] | select(.trigger_event == $event)] | sort_by(.result_id)'; }

# have_ended EVENT COUNT: this number of runs of the event have been closed, and none is open.
have_ended() {
  [[ $(runs_of "$1" | jq -c '[length, (map(select(.stop_time == null)) | length)]') == "[$2,0]" ]]
}

# outcomes EVENT: task, owner and outcome of its runs, a line each.
outcomes() { runs_of "$1" | jq -r '.[] | "\(.task_name) \(.owner_name) \(.exit_info.exit_type)/\(.exit_info.exit_code)"'; }

# in_order EVENT FIRST SECOND: the second task started after the first one had ended.
in_order() {
  [[ $(runs_of "$1" | jq --arg first "$2" --arg second "$3" \
    '(map(select(.task_name == $first))[0].stop_time) <= (map(select(.task_name == $second))[0].start_time)') == true ]]
}

# output_of TASK: the output of its newest run.
output_of() { eorva runs output "$(run_of "$1")"; }

# outputs_of EVENT: the output of all its runs.
outputs_of() {
  local run
  for run in $(runs_of "$1" | jq '.[].result_id'); do
    eorva runs output "$run"
  done
}

# group_of TASK: the control group of the newest run of a task: /SLICE/UNIT/run-PID.
group_of() {
  local pid
  pid=$(eorva runs list --task "$1" --limit 1 --json | jq '.[0].pid')
  sed -n 's/^0:://p' "/proc/$pid/cgroup"
}

# unit_of TASK: the unit of this run.
unit_of() { group_of "$1" | cut -d / -f 3; }

# has_mail USER TASK: a user has mail about a task.
has_mail() { grep -q "^Subject: .*$2" "/var/mail/$1"; }

# runs_open EVENT COUNT: this number of its runs are running.
runs_open() { [[ $(runs_of "$1" | jq '[.[] | select(.stop_time == null)] | length') == "$2" ]]; }

# none_open: no run is running.
none_open() { [[ $(eorva runs list --limit 0 --json | jq '[.[] | select(.stop_time == null)] | length') == 0 ]]; }

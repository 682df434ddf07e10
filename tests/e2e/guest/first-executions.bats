#!/usr/bin/env bats
# The first start: how systemd holds executions.

load inside

setup_file() { wait_for_start; }

# Ends the task also after a failure.
teardown() { touch /srv/marks/{session,shown}; }

# held_task NAME: adds a task of its own event that runs until its mark exists.
held_task() {
  rm -f "/srv/marks/$1"
  echo "until [ -e /srv/marks/$1 ]; do sleep 0.2; done" |
    eorva task add "$1" --event "$1" --any-event --owner alice --script -
}

@test "an execution fired in a session goes on when the session has ended" {
  held_task session
  systemd-run --quiet --scope --unit e2e-session eorva fire session >/dev/null 2>&1 3>&- &
  patiently runs_open session 1
  [[ $(group_of session) == /eorva.slice/eorva-*.scope/run-* ]]
  systemctl stop e2e-session.scope
  wait
  runs_open session 1
  touch /srv/marks/session
  patiently have_ended session 1
  same "outcome" "session alice normal/0" "$(outcomes session)"
}

@test "systemd shows the groups of an execution, and reloading systemd changes nothing" {
  held_task shown
  systemd-run --quiet --scope --unit e2e-shown eorva fire shown >/dev/null 2>&1 3>&- &
  patiently runs_open shown 1
  local group scope pid
  group=$(group_of shown)
  scope=$(unit_of shown)
  pid=$(runs_of shown | jq '.[0].pid')
  systemctl daemon-reload
  systemctl daemon-reexec
  patiently systemctl is-active "$scope"
  same "group" "$group" "$(group_of shown)"
  run -0 systemctl status --no-pager --full "$scope"
  says "─watch"
  says "─${group##*/}"
  run -0 systemd-cgls --no-pager --full --unit eorva.slice
  says "─$scope"
  says "─watch"
  says "─${group##*/}"
  kill -0 "$pid"
  touch /srv/marks/shown
  patiently have_ended shown 1
  wait
  same "outcome" "shown alice normal/0" "$(outcomes shown)"
  patiently eval '! systemctl is-active "$scope"'
}

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

# read_by_bob UNIT: all that bob can read about a unit and its processes, and all files of programs that run.
read_by_bob() {
  local path
  path=$(busctl --json=short call org.freedesktop.systemd1 /org/freedesktop/systemd1 org.freedesktop.systemd1.Manager \
    GetUnit s "$1" | jq -r '.data[0]')
  setpriv --reuid=bob --regid=bob --init-groups bash -c 'systemctl status --no-pager --full "$0"
    systemctl show --all "$0"
    systemctl cat "$0"
    busctl introspect --no-pager --full org.freedesktop.systemd1 "$1"
    cat /proc/[0-9]*/{cmdline,environ,comm} | tr "\0" "\n"
    find /run /tmp -type f -readable -exec cat {} +' "$1" "$path" 2>/dev/null || true
}

@test "the values of variables of a detached execution are in no unit, no file and no process that others can read" {
  rm -f /srv/marks/secret
  echo 'echo "$KEY"; until [ -e /srv/marks/secret ]; do sleep 0.2; done' |
    eorva task add secret --event secret --any-event --owner alice --script -
  eorva fire --detach secret --env KEY=value-of-root
  patiently runs_open secret 1
  read_by_bob "$(unit_of secret)" >read
  grep -q '^ActiveState=active$' read
  grep -q '^\.ExecStart .*fire' read
  same "found" "" "$(grep -a value-of-root read || true)"
  touch /srv/marks/secret
  patiently have_ended secret 1
  same "printed" value-of-root "$(output_of secret)"
}

# scopes_of EVENT: the active scopes of its executions.
scopes_of() { systemctl list-units --plain --no-legend --state=active "eorva-*$1-*.scope" | cut -d ' ' -f 1; }

@test "a scope stays while a script has processes in the background, and stopping it asks them to end" {
  rm -f /srv/marks/{leaving,asked}
  echo '(trap "touch /srv/marks/asked; exit" TERM; touch /srv/marks/leaving; while :; do sleep 0.1; done) >/dev/null 2>&1 &' |
    eorva task add leaves --event leaves --any-event --owner alice --script -
  systemd-run --quiet --scope --unit e2e-leaves eorva fire leaves
  have_ended leaves 1
  patiently test -e /srv/marks/leaving
  local scope
  scope=$(scopes_of leaves)
  [[ -n $scope ]]
  systemctl stop "$scope"
  [[ -e /srv/marks/asked ]]
  same "left" "" "$(scopes_of leaves)"
}

# As the page for administrators says: the manager could as well start the process.
@test "a process that a script has moved to its owner's service manager is no part of the run any more" {
  # What pam_systemd does.
  mkdir -p /run/systemd/system/user@.service.d
  printf '[Service]\nEnvironment=XDG_RUNTIME_DIR=/run/user/%%i\n' >/run/systemd/system/user@.service.d/e2e.conf
  systemctl daemon-reload
  systemctl start user@7001.service
  echo 'XDG_RUNTIME_DIR=/run/user/7001 exec systemd-run --user --scope --quiet sleep 1000' |
    eorva task add moved --event moved --any-event --time-limit 3 --owner alice --script -
  run -3 eorva fire moved
  says "moved: time limit"
  local pid
  pid=$(pgrep --uid alice --exact sleep)
  grep -q '/user@7001.service/' "/proc/$pid/cgroup"
  systemctl stop user@7001.service
  ! kill -0 "$pid"
}

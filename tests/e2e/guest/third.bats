#!/usr/bin/env bats
# The third start: after the power cut.

load inside

setup_file() { wait_for_start; }

@test "the run that the power cut ended is closed as interrupted" {
  patiently have_ended bootup 12
  patiently have_ended shutdown 6
  same "s-cut" "s-cut alice interrupted/null" "$(outcomes shutdown | grep s-cut)"
  same "its task" "[]" "$(eorva task show s-cut --json | jq -c .status.running)"
}

@test "every run is closed, and every record is whole" {
  patiently none_open
  same "database" ok "$(sqlite3 "$DATABASE" 'pragma integrity_check')"
}

@test "leftovers in /tmp went with the start" {
  same "in /tmp" "" "$(find /tmp -maxdepth 1 -name 'eorva*')"
}

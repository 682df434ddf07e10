#!/usr/bin/env bats
# Help and suggestions for beginners and after mistakes.

load common

setup() { fresh_store; }

# typed COMMAND...: the message on standard error about a wrong command line.
typed() {
  run -2 --separate-stderr eorva "$@"
  same "standard output of '$*'" "" "$output"
}

@test "help is a command, too" {
  same "of everything" "$(eorva --help)" "$(eorva help)"
  same "of a command" "$(eorva task --help)" "$(eorva help task)"
  same "of a command of a command" "$(eorva task add --help)" "$(eorva help task add)"
  run -0 setpriv --reuid=alice --regid=alice --init-groups /usr/sbin/eorva help fire
  typed help task lst
  complains 'help: there is no command "eorva task lst"; did you mean "list"?'
}

@test "a command without its subcommand shows the help" {
  local command
  for command in task event runs config share; do
    # shellcheck disable=SC2086
    typed $command
    same "of '$command'" "$(eorva help $command)" "$stderr"
    complains "Subcommands:"
  done
}

@test "without a command, eorva shows five commands and the state of today" {
  add_task bad bootup alice 'exit 1'
  run -3 eorva run bad
  sqlite3 "$DATABASE" "insert into task_result (result_id, task_name, start_time, stop_time) values (-1, 'bad', 1, 2)"
  run -0 --separate-stderr eorva
  same "commands" 5 "$(grep -c '^  eorva' <<<"$output")"
  same "state" "today: 1 run, 1 failed, 0 running" "${lines[-1]}"
  run -0 setpriv --reuid=alice --regid=alice --init-groups /usr/sbin/eorva
  same "for another user" "root can use these commands" "${lines[-1]}"
  rm -r "$STORE"
  run -0 --separate-stderr eorva
  same "without a store" "there is no store yet; create it with: eorva init --output-path SHARE" "${lines[-1]}"
}

@test "help has an option a line, and fits a screen of 40 lines and 80 columns" {
  local command help
  for command in '' 'task add' 'task edit' 'task copy'; do
    # shellcheck disable=SC2086
    help=$(eorva $command --help | fold -w 80)
    (($(wc -l <<<"$help") <= 40)) || { echo "'$command': $(wc -l <<<"$help") lines" >&2; return 1; }
  done
  while read -r command; do
    # shellcheck disable=SC2086
    same "long descriptions of '$command'" "" "$(eorva $command --help | sed '/^Examples:/,$d' | grep -E '.{81}' || true)"
  done < <(eorva manual | sed -n 's/^## eorva //p')
  run -0 eorva task add --help
  same "required" "task NAME --event EVENT --owner USER --script FILE" "$(grep '; required$' <<<"$output" | awk '{ print $1, $2 }' | paste -sd ' ')"
  [[ $output != *--also-after-failure\ \ * && $output != *--no-environment\ \ * ]]
  says "wait for a success; or --also-after-failure (default)"
  says "set a variable; can be repeated; or --no-environment"
  [[ $output != *Excludes* && $output != *--no-parallel\ \ * ]]
  says "allow parallel runs; or --no-parallel (default)"
  run -2 --separate-stderr eorva task add x --parallel --no-parallel
  complains "--no-parallel"
  run -0 eorva --help
  [[ $output == *"--color WHEN "* && $output != *"{auto"* ]]
  says "For developers:"
  [[ ${output##*Exit status} == *--debug* && ${output%%Exit status*} != *--debug* ]]
  [[ $output != *"eorva init --"* ]]
}

@test "a mistyped command or option gets a suggestion, and the right help is named" {
  local line wanted
  add_task disk-usage my-event alice 'exit 0'
  while IFS='|' read -r line wanted; do
    # shellcheck disable=SC2086
    typed $line
    same "'$line'" "$wanted" "$(tr '\n' '|' <<<"$stderr")"
  done <<'END'
tsk|eorva: there is no command "tsk"; did you mean "task"?|Try 'eorva --help'.|
task lst|eorva: there is no command "task lst"; did you mean "list"?|Try 'eorva task --help'.|
--hlep|eorva: there is no option "--hlep"; did you mean "--help"?|Try 'eorva --help'.|
task --hlep|eorva: there is no option "--hlep"; did you mean "--help"?|Try 'eorva task --help'.|
task list --jsn|eorva: there is no option "--jsn"; did you mean "--json"?|Try 'eorva task list --help'.|
task list --evnt=x|eorva: there is no option "--evnt"; did you mean "--event"?|Try 'eorva task list --help'.|
task show disk-usage again|eorva: unexpected argument "again"|Try 'eorva task show --help'.|
task show|eorva: task is required|Try 'eorva task show --help'.|
task relate disk-usage|eorva: one of --needs, --needed-by and --candidates is required|Try 'eorva task relate --help'.|
task list --event|eorva: --event needs a value|Try 'eorva task list --help'.|
config get retention_run|eorva: there is no setting "retention_run"; the settings are output_path, enable_output, retention_runs, retention_failed_runs, retention_output_size, output_limit, shutdown_budget, stop_grace, max_processes, shared_script, unit_fails; did you mean "retention_runs"?|Try 'eorva config get --help'.|
runs diff abc 1|eorva: run: "abc" is not a whole number, 1 or more|Try 'eorva runs diff --help'.|
runs diff 0 1|eorva: run: "0" is not a whole number, 1 or more|Try 'eorva runs diff --help'.|
runs diff -- -1 1|eorva: run: "-1" is not a whole number, 1 or more|Try 'eorva runs diff --help'.|
runs diff 1 99999999999999999999|eorva: other: "99999999999999999999" is too large|Try 'eorva runs diff --help'.|
runs output 1 --tail x|eorva: --tail: "x" is not a whole number from 0 to 4294967294|Try 'eorva runs output --help'.|
stop|eorva: stop: the number of a run or the name of a task is missing|Try 'eorva stop --help'.|
task edit disk-usage --time-limit 1y|eorva: --time-limit: "1y" is not a duration; durations are 30s, 5m, 2h30m or 1d; a number alone is seconds|Try 'eorva task edit --help'.|
fire bootup --budget 0|eorva: --budget: "0" is not from 1s to 366d|Try 'eorva fire --help'.|
log -n many|eorva: --lines: "many" is not a whole number, 0 or more|Try 'eorva log --help'.|
END
}

@test "mistyped names get a suggestion" {
  add_task disk-usage my-event alice 'exit 0'
  local line wanted
  while IFS='|' read -r line wanted; do
    # shellcheck disable=SC2086
    run -1 --separate-stderr eorva $line
    same "standard output of '$line'" "" "$output"
    complains "$wanted"
  done <<'END'
run disk-usge|there is no task "disk-usge"; did you mean "disk-usage"?
task show disk_usage|there is no task "disk_usage"; did you mean "disk-usage"?
fire bootp|there is no event "bootp"; did you mean "bootup"?
event plan nope|there is no event "nope"; list the events with: eorva event list
event plan --json nope|there is no event "nope"; list the events with: eorva event list
task graph nope|there is no event "nope"; list the events with: eorva event list
event enable dayly|; did you mean "daily"?
runs show disk-usge|there is no task "disk-usge"; did you mean "disk-usage"?
runs show disk-usage|the task "disk-usage" has no run yet
runs show 0|there is no run 0
runs output 99999999999999999999|there is no run 99999999999999999999
task list --event bootp|there is no event "bootp"; did you mean "bootup"?
task list --event nope --json|there is no event "nope"; list the events with: eorva event list
runs list --event bootp|there is no event "bootp"; did you mean "bootup"?
runs list --event nope --json|there is no event "nope"; list the events with: eorva event list
END
  run -2 --separate-stderr eorva config set retention_run=5
  complains 'there is no setting "retention_run"; '
  complains 'did you mean "retention_runs"?'
}

@test "a value that is none of the choices is named with them" {
  run -2 --separate-stderr eorva runs list --outcome kaputt
  complains 'eorva: --outcome: "kaputt" is none of ok, failed, interrupted, running'
  run -0 eorva runs list --help
  says "--outcome OUTCOME        only runs that are ok, failed, interrupted"
}

@test "runs of an event that is gone, and on demand, are listed" {
  echo true | eorva task add once --event fleeting --any-event --owner alice --script - >/dev/null
  eorva fire fleeting >/dev/null
  eorva task edit once --event bootup >/dev/null
  run -0 eorva runs list --event fleeting
  says "once"
  run -0 --separate-stderr eorva runs list --event on_demand
  complains "no runs"
}

@test "an empty list is a note for people, and an empty array in JSON" {
  run -0 --separate-stderr eorva runs list --outcome failed
  same "runs" "|eorva: no runs" "$output|$stderr"
  run -0 --separate-stderr eorva task list --event weekly
  same "tasks" "|eorva: no tasks" "$output|$stderr"
  run -0 --separate-stderr eorva runs list --outcome failed --json
  same "JSON" "[]|" "$output|$stderr"
}

@test "an event that starts nothing names the command that explains why" {
  run -0 --separate-stderr eorva fire hourly
  complains 'the event "hourly" starts no task now; to see why: eorva event plan hourly'
}

@test "a second run is refused with --detach, too" {
  mkfifo -m 666 /tmp/go
  add_task slow bootup alice 'read -r line </tmp/go'
  run -0 eorva run slow --detach
  wait_until runs_are 1
  run -1 --separate-stderr eorva run slow --detach
  complains 'the task "slow" is running already'
  same "standard output" "" "$output"
  echo >/tmp/go
}

@test "adding a task for a disabled event prints a note" {
  run -0 --separate-stderr eorva task add it --event weekly --owner alice --script - <<<'exit 0'
  same "said" 'eorva: the event "weekly" is disabled: eorva event enable weekly' "$stderr"
  run -0 --separate-stderr eorva task edit it --event daily
  complains 'the event "daily" is disabled: eorva event enable daily'
  run -0 --separate-stderr eorva task edit it --time-limit 5
  same "said" "" "$stderr"
  run -0 --separate-stderr eorva explain it
  complains 'the event "daily" is disabled'
  run -0 --separate-stderr eorva event plan daily
  complains 'the event "daily" is disabled'
  run -0 --separate-stderr eorva event plan daily --json
  same "beside JSON" "" "$stderr"
  mount --bind /dev/null "$(command -v systemctl)"
  run -0 --separate-stderr eorva task add other --event weekly --owner alice --script - <<<'exit 0'
  umount "$(command -v systemctl)"
  same "without systemctl" "" "$stderr"
}

@test "several events are enabled and several runs stopped at once" {
  run -0 eorva event enable daily weekly
  same "said" "enabled daily (eorva-daily.timer)|enabled weekly (eorva-weekly.timer)" "$(paste -sd '|' <<<"$output")"
  run -1 eorva event disable daily nope
  [[ $(eorva event list --json | jq -c '[.[] | select(.enabled).name] | contains(["daily", "weekly"])') == true ]]
  run -0 eorva event disable daily weekly
  add_task one bootup alice 'exec sleep 1000'
  add_task two bootup alice 'exec sleep 1000'
  eorva fire bootup --detach >/dev/null
  wait_until runs_are 2
  run -1 eorva stop 1 99
  same "unharmed" 2 "$(eorva runs list --running --json | jq length)"
  run -0 eorva stop 1 2 --grace 0 --json
  same "stopped" '[1,2]' "$(jq -c 'map(.result_id)' <<<"$output")"
}

@test "ignored lines of the settings are reported" {
  cp /etc/eorva.conf before.conf
  printf 'retention_run=5\nretention_runs 5\n  ; no = setting\n' >>/etc/eorva.conf
  local last
  last=$(wc -l </etc/eorva.conf)
  run -1 eorva check
  says "/etc/eorva.conf, line $((last - 2)): there is no setting \"retention_run\"; did you mean \"retention_runs\"?"
  says "/etc/eorva.conf, line $((last - 1)), is not KEY=VALUE: retention_runs 5"
  [[ $output != *"line $last"* ]]
  run -0 --separate-stderr eorva config show
  complains "warning: /etc/eorva.conf, line $((last - 2))"
  mv before.conf /etc/eorva.conf
}

@test "blanks between addresses are removed" {
  add_task it bootup alice 'exit 0' --mail ' a@example.org, b@example.org '
  same "addresses" '"a@example.org,b@example.org"' "$(eorva task show it --json | jq .notify_mail)"
}

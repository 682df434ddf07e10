#!/usr/bin/env bats
# What follows a failure: runs that are repeated, tasks that start only after a success, the unit that fails.

load common

setup() {
  fresh_store
  chmod 1777 /tmp
  : >/etc/eorva.conf
  rm -f /tmp/count.*
}

teardown() {
  rm -f /tmp/count.* /tmp/order
}

# FAILS N: a script that counts its runs, and fails the first N times.
fails() { printf 'n=$(cat /tmp/count.%s 2>/dev/null || echo 0); echo $((n + 1)) >/tmp/count.%s; echo "run $n"; [ "$n" -ge %s ]\n' "$1" "$1" "$2"; }

# tries: task, try, outcome of all runs, oldest first.
tries() { eorva runs list --limit 0 --json | jq -c 'sort_by(.result_id) | map([.task_name, .attempt, .retry_of, .outcome])'; }

@test "a failed run is repeated until it succeeds; the records tell which try each is" {
  add_task shaky bootup alice "$(fails shaky 2)" --retry 5 --retry-after 1s
  run -0 eorva fire bootup
  says 'the task "shaky" failed; try 2 of 6 follows after 1s'
  same "in this order" "started" "$(grep -o 'started\|failed; try 2' <<<"$output" | head -1)"
  says "event bootup: 3 runs, 1 ok, 0 failed, 2 repeated"
  same "tries" '[["shaky",1,null,"failed"],["shaky",2,1,"failed"],["shaky",3,1,"ok"]]' "$(tries)"
  same "one event" 1 "$(eorva runs list --json | jq 'map(.event_fire_time) | unique | length')"
  same "of the event" '["bootup"]' "$(eorva runs list --json | jq -c 'map(.trigger_event) | unique')"
  same "its output" "run 2" "$(eorva runs output 3)"
  run -0 eorva runs show 3
  [[ $output =~ "try:"\ +"3, after run 1 failed" ]]
  run -0 eorva explain shaky
  says "run 3 (try 3), started"
  run -0 eorva runs list
  [[ ${lines[0]} == *TRY && ${lines[1]} == *\ 3 && ${lines[3]} == *\ 1 ]]
}

@test "after the last try the task has failed" {
  add_task bad bootup alice 'exit 4' --retry 1 --retry-after 0
  run -3 eorva fire bootup
  says "2 runs, 0 ok, 1 failed, 1 repeated"
  same "tries" '[["bad",1,null,"failed"],["bad",2,1,"failed"]]' "$(tries)"
}

@test "a task on demand is repeated, too" {
  add_task shaky bootup alice "$(fails shaky 1)" --retry 1 --retry-after 0
  run -0 eorva run shaky
  same "tries" '[["shaky",1,null,"failed"],["shaky",2,1,"ok"]]' "$(tries)"
}

@test "tasks wait for the last try of a task, also when they wait for others that have ended before" {
  add_task shaky bootup alice "echo shaky >>/tmp/order; $(fails shaky 2)" --retry 2 --retry-after 0
  add_task calm bootup alice 'echo calm >>/tmp/order'
  add_task both bootup alice 'echo both >>/tmp/order' --after shaky --after calm
  add_task one bootup alice 'echo one >>/tmp/order' --after shaky
  add_task last bootup alice 'echo last >>/tmp/order' --after both --after calm --after one
  run -0 eorva fire bootup
  same "after the last try" "one both last" "$(awk '/shaky/ { n++; next } n == 3 && !/calm/' /tmp/order | paste -sd ' ')"
  same "each once" 7 "$(wc -l </tmp/order)"
}

@test "a task that was disabled or changed meanwhile is not repeated, and what waits for it starts" {
  add_task bad bootup alice 'exit 1' --retry 3 --retry-after 3s
  add_task next bootup alice true --after bad
  eorva fire bootup >shown 2>&1 &
  wait_until grep -q 'try 2 of 4' shown
  eorva task edit bad --retry 0 >/dev/null
  wait %1 && false
  grep -q 'the task "bad" is not run again: it was changed meanwhile' shown
  same "tries" '[["bad",1,null,"failed"],["next",1,null,"ok"]]' "$(tries)"
}

@test "a waiting retry is shown everywhere, and can be stopped" {
  add_task bad bootup alice 'exit 1' --retry 3 --retry-after 1h
  add_task next bootup alice true --after bad
  add_task strict bootup alice true --after bad --only-after-success
  eorva fire bootup >shown 2>&1 3>&- &
  wait_until grep -q 'try 2 of 4' shown
  local at
  at=$(eorva runs show 1 --json | jq .next_try.at)
  same "in an hour" true "$(jq -n "($at - now) > 3500 and ($at - now) <= 3600")"
  same "which try" "[2,4]" "$(eorva runs show 1 --json | jq -c '.next_try | [.try, .tries]')"
  at="try 2 of 4 follows at $(date -d "@$at" '+%F %T')"
  run -0 eorva runs show 1
  [[ $output =~ "next try:"\ +"$at" ]]
  run -0 eorva task show bad
  [[ $output =~ "next try:"\ +"$at" ]]
  run -0 eorva explain bad
  says "with: exit 1; $at"
  run -0 eorva explain next
  says "bad: run 1, started"
  says "with: exit 1; $at"
  for task in next strict; do
    run -0 eorva explain "$task"
    says "it waits for \"bad\", which failed (run 1) and is tried again at ${at#*at }"
    same "code" '["need_retry"]' "$(eorva explain "$task" --json | jq -c '[.reasons[].code]')"
  done
  same "for programs" 2 "$(eorva explain bad --json | jq .next_try.try)"
  run -0 eorva
  same "state" "today: 1 run, 1 failed, 0 running, 1 to be tried again" "${lines[-1]}"
  run -0 --separate-stderr eorva stop bad
  same "stopped" "run 1 of bad: exit 1" "$output"
  complains "run 1 has ended already; its task is not tried again"
  wait %1 && false
  grep -q 'the task "bad" is not run again: the retry was stopped' shown
  same "what waited for its end has run" '[["bad",1,null,"failed"],["next",1,null,"ok"]]' "$(tries)"
  run -0 eorva explain strict
  says 'it starts only after a success of "bad", which failed (run 1)'
  run -0 eorva task show bad
  [[ $output =~ "next try:"\ +- ]]
  run -0 --separate-stderr eorva stop bad
  complains 'task "bad" is not running'
}

@test "the retry of a task on demand can be stopped by the number of the run that failed" {
  add_task bad bootup alice 'exit 1' --retry 3 --retry-after 1h
  eorva run bad >shown 2>&1 3>&- &
  wait_until grep -q 'try 2 of 4' shown
  run -0 eorva stop 1
  says "its task is not tried again"
  wait %1 && false
  same "tries" '[["bad",1,null,"failed"]]' "$(tries)"
}

@test "an execution that is stopped while it waits ends at once" {
  add_task bad bootup alice 'exit 1' --retry 3 --retry-after 1h
  add_task next bootup alice true --after bad
  timeout 60 eorva fire bootup --budget 2s >shown 2>&1 || true
  same "tries" '[["bad",1,null,"failed"]]' "$(tries)"
  run -0 eorva explain next
  says "next was not started"
}

@test "a run that was stopped is not repeated" {
  mkfifo -m 666 /tmp/go
  add_task slow bootup alice 'read -r line </tmp/go' --retry 3 --retry-after 0
  timeout 20 eorva run slow >/dev/null 2>&1 &
  wait_until runs_are 1
  eorva stop 1 --grace 0 >/dev/null || eorva stop 1 >/dev/null
  wait %1 || true
  same "tries" '[["slow",1,null,"failed"]]' "$(tries)"
  rm -f /tmp/go
}

@test "a task that needs a success does not start after a failure, nor does what waits for it" {
  add_task bad bootup alice 'exit 2'
  add_task good bootup alice true
  add_task strict bootup alice true --after bad --after good --only-after-success
  add_task behind bootup alice true --after strict
  add_task any bootup alice true --after bad
  add_task fine bootup alice true --after good --only-after-success
  run -3 eorva fire bootup
  same "ran" '["any","bad","fine","good"]' "$(eorva runs list --json | jq -c 'map(.task_name) | sort')"
  says 'strict starts only after a success of "bad", which failed (run'
  says 'behind waited for "strict", which was not started'
  run -0 eorva explain strict
  says 'it starts only after a success of "bad", which failed (run'
  same "code" '["need_failed"]' "$(eorva explain strict --json | jq -c '[.reasons[].code]')"
  run -0 eorva event plan bootup
  says "bad, good (success)"
  run -0 eorva task show strict
  says "bad, good (success)"
  run -0 eorva task graph bootup
  says "(success)"
  same "for programs" '[["fine",true],["strict",true]]' "$(eorva event plan bootup --json | jq -c '.would_run | map(select(.only_after_success) | [.task_name, .only_after_success]) | sort')"
}

@test "a repeated task that succeeds at last is a success" {
  add_task shaky bootup alice "$(fails shaky 1)" --retry 1 --retry-after 0
  add_task strict bootup alice true --after shaky --only-after-success
  run -0 eorva fire bootup
  same "runs" '[["shaky",1,null,"failed"],["shaky",2,1,"ok"],["strict",1,null,"ok"]]' "$(tries)"
}

@test "the options are stored, exported and checked" {
  add_task t bootup alice true --retry 2 --retry-after 5m
  run -0 eorva task show t
  [[ $output =~ "retry:"\ +"2 times, each after 5m" ]]
  eorva export >state.yaml
  grep -q 'retry: 2' state.yaml
  sed -i 's/retry_after: 5m/retry_after: 10m/' state.yaml
  run -0 eorva apply state.yaml --yes
  same "applied" 600 "$(eorva task show t --json | jq .retry_after)"
  run --separate-stderr eorva task edit t --retry 1000
  complains "retry: must be from 0 to 100"
  run --separate-stderr eorva task edit t --retry-after 30d
  complains "retry after: must be from 0 to 604800 seconds"
}

@test "settings without effect are accepted with a warning" {
  run -0 --separate-stderr eorva task add a --event bootup --owner alice --script - --retry-after 90 <<<true
  complains "retry after: has no effect: a failed run is not repeated"
  run -0 --separate-stderr eorva task add b --event bootup --owner alice --script - --only-after-success <<<true
  complains "only after success: has no effect: the task waits for no other"
  run -0 --separate-stderr eorva task edit a --description other
  same "of others nothing" "" "$stderr"
  run -0 --separate-stderr eorva task edit a --retry 1
  same "now it has one" "" "$stderr"
  run -0 --separate-stderr eorva task edit b --after a
  same "now it waits" "" "$stderr"
}

@test "the service of an execution fails when a task failed only if unit_fails says so" {
  add_task bad bootup alice 'exit 4'
  run -0 eorva fire bootup --as-service
  eorva config set unit_fails=yes >/dev/null
  run -3 eorva fire bootup --as-service
  run -3 eorva run bad --as-service
  same "in the foreground" 3 "$(eorva config set unit_fails=no >/dev/null; eorva fire bootup >/dev/null; echo $?)"
}

@test "a task that waits for its next try keeps no other execution waiting" {
  add_task shaky bootup alice 'exit 4' --retry 1 --retry-after 8s
  add_task other bootup bob true
  eorva run shaky --detach >/dev/null
  wait_until runs_are 1
  wait_until nothing_runs
  eorva fire bootup --detach >/dev/null
  wait_until runs_are 3
  same "started meanwhile" '["other","shaky","shaky"]' "$(eorva runs list --json | jq -c '[.[].task_name] | sort')"
  eorva task edit shaky --retry 0 >/dev/null
  wait_until no_execution
  same "no try was added" 3 "$(eorva runs list --json | jq length)"
}

nothing_runs() { [[ $(eorva runs list --running --json) == '[]' ]]; }

no_execution() { [[ -z $(ls /run/eorva/executions) ]]; }

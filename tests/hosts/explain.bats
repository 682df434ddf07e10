#!/usr/bin/env bats
# Why a task ran or did not run.

load common

setup() { fresh_store; }

# explained TASK FILTER: a part of the explanation, as JSON.
explained() { eorva explain "$1" --json | jq -c "$2"; }

# recorded TASK FIRED START STOP [EXIT_TYPE]: records a run that bootup started; STOP may be null.
recorded() {
  sqlite3 "$DATABASE" "insert into task_result (task_name, start_time, stop_time, pid, event_fire_time, trigger_event,
    exit_info) values ('$1', $3, $4, 2147483647, $2, 'bootup', '{\"exit_type\": \"${5:-normal}\", \"exit_code\": 0}')"
}

@test "a task whose event was never fired" {
  add_task it bootup alice 'exit 0'
  run -0 eorva explain it
  same "explanation" 'it has not run for its event: "bootup" has not been fired yet
if "bootup" were fired now, it would be started' "$output"
  same "verdict" '["never_fired",null,null,true]' "$(explained it '[.verdict, .last_fired, .run, .would_start_now]')"
}

@test "a task that ran after its dependencies" {
  add_task first bootup alice 'exit 255'
  add_task it bootup alice 'exit 0' --after first
  run -3 eorva fire bootup
  run -0 eorva explain it
  [[ ${lines[0]} =~ ^it\ ran\ when\ \"bootup\"\ was\ last\ fired,\ [0-9-]+\ [0-9:]+:$ ]]
  [[ ${lines[1]} =~ ^\ \ run\ 2,\ started\ .*,\ ended\ .*\ with:\ exit\ 0$ ]]
  [[ ${lines[3]} =~ ^\ \ first:\ run\ 1,\ started\ .*\ with:\ exit\ 255$ ]]
  same "verdict" '["ran",2,[["first",1]],[]]' \
    "$(explained it '[.verdict, .run.result_id, (.needs | map([.task_name, .run.result_id])), .reasons]')"
}

@test "each reason why a task was not started has its code" {
  add_task root bootup alice 'exit 0'
  add_task off bootup alice 'exit 0' --disabled
  add_task behind bootup alice 'exit 0' --after off
  add_task both bootup alice 'exit 0' --after root --after behind
  add_task lonely bootup alice 'exit 0'
  add_task astray bootup alice 'exit 0'
  add_task elsewhere shutdown alice 'exit 0'
  sqlite3 "$DATABASE" "update task set depend_on_task = '[ghost]' where task_name = 'lonely';
    update task set depend_on_task = '[elsewhere]' where task_name = 'astray'"
  recorded root 1000 1000 1005
  local task code
  while read -r task code; do
    same "why not $task" "[\"not_started\",[\"$code\"]]" "$(explained "$task" '[.verdict, (.reasons | map(.code))]')"
  done <<'T'
off disabled
behind need_not_started
both need_not_started
lonely missing
astray other_event
T
  run -0 eorva explain both
  says 'both was not started when "bootup" was last fired'
  says $'  it waited for "behind", which was not started\n      eorva explain behind'
  says $'the tasks that it waited for:\n  root: run 1, started '
  says '  behind: not started'
  run -0 eorva explain off
  says $'  it is disabled\n      eorva task enable off'
}

@test "a task whose dependency is still running" {
  add_task long bootup alice 'exec sleep 300'
  add_task it bootup alice 'exit 0' --after long
  eorva fire bootup >/dev/null 3>&- &
  wait_until runs_are 1
  same "why not yet" '["not_started",["need_running"]]' "$(explained it '[.verdict, (.reasons | map(.code))]')"
  run -0 eorva explain it
  says 'it waits for "long", which is still running (run 1)'
  same "the other" '"running"' "$(explained long .verdict)"
  pkill -u alice sleep
  wait %1 || true
  same "then" '"ran"' "$(explained it .verdict)"
}

@test "a task that was refused, because it was still running" {
  add_task root bootup alice 'exit 0'
  add_task it bootup alice 'exec sleep 300'
  eorva run it >/dev/null 3>&- &
  wait_until runs_are 1
  run -3 eorva fire bootup
  same "why not" '["not_started",["refused"],1]' "$(explained it '[.verdict, (.reasons | map(.code)), .newest_run.result_id]')"
  run -0 eorva explain it
  says 'it was refused: its run 1 was still running'
  says 'its newest run: run 1, started'
  says '(trigger on_demand)'
  pkill -u alice sleep
  wait %1 || true
  same "still known when that has ended" '["refused"]' "$(explained it '.reasons | map(.code)')"
}

@test "a task that was not started, because the execution was interrupted" {
  add_task first bootup alice 'exit 0'
  add_task it bootup alice 'exit 0' --after first
  add_task beside bootup alice 'exit 0'
  recorded first 1000 1000 1005 interrupted
  same "why not" '["need_interrupted"]' "$(explained it '.reasons | map(.code)')"
  same "why not the other" '["interrupted"]' "$(explained beside '.reasons | map(.code)')"
}

@test "only the newest firing counts, and an unknown reason is called unknown" {
  add_task root bootup alice 'exit 0'
  add_task it bootup alice 'exit 0'
  recorded it 1000 1000 1005
  recorded root 2000 2000 2005
  same "the last time" '["not_started",2000,["unknown"],1]' \
    "$(explained it '[.verdict, .last_fired, (.reasons | map(.code)), .newest_run.result_id]')"
}

# why TASK: the verdict, the codes of the reasons, and whether they were recorded.
why() { explained "$1" '[.verdict, (.reasons | map(.code)), .remembered]'; }

@test "a firing that starts nothing counts: a refused task did not run" {
  add_task slow ev alice 'exec sleep 300'
  eorva fire ev >/dev/null 3>&- &
  wait_until runs_are 1
  run -3 eorva fire ev
  says 'not started (slow'
  same "why not" '["not_started",["refused"],true]' "$(why slow)"
  pkill -u alice sleep
  wait %1 || true
  same "still known when that has ended" '["not_started",["refused"],true]' "$(why slow)"
  run -0 eorva explain slow
  says 'slow was not started when "ev" was last fired, '
  says $'  it was refused: its run 1 was still running, and it allows only one run at a time\n'
  says 'its newest run: run 1, started'
}

@test "the reason is still explained after it no longer holds" {
  add_task one ev alice 'exit 0'
  add_task two ev alice 'exit 0' --after one
  run -0 eorva fire ev
  same "then" '["ran",[],true]' "$(why two)"
  eorva task disable one
  run -0 eorva fire ev
  eorva task enable one
  same "why not" '["not_started",["disabled"],true]' "$(why one)"
  same "why not the other" '["not_started",["need_disabled"],true]' "$(why two)"
  run -0 eorva explain two
  same "explanation" $'  it waited for "one", which was disabled
the tasks that it waited for:
  one: not started' "$(sed -n 2,4p <<<"$output")"
  says 'if "ev" were fired now, it would be started'
  # A rename, a backup and a restore keep the reason.
  eorva task rename two zwei --yes
  eorva backup kept.db
  eorva restore kept.db --yes
  rm -r /run/eorva
  same "why not, still" '["not_started",["need_disabled"],true]' "$(why zwei)"
}

@test "a refused event counts as fired" {
  add_task it ev alice 'exit 0'
  chmod 777 "$KEPT"
  run -1 eorva fire ev
  chmod 711 "$KEPT"
  same "why not" '["not_started",["not_fired"],true]' "$(why it)"
  run -0 eorva explain it
  says "it was not started, like all tasks of the event: "
  says "may be changed by others"
}

@test "an unknown task is an error that names it" {
  run -1 --separate-stderr eorva explain ghost
  complains 'there is no task "ghost"'
}

#!/usr/bin/env bats
# Scripts that try to reach the caller's things, to escape their end, or to be in the way of others.

load common

# How often the processes of an execution are killed, and for how many seconds executions are started.
ROUNDS=${EORVA_ROUNDS:-5}
SECONDS_OF_STARTS=${EORVA_SECONDS:-8}

# How often each way to escape is tried against each way to end a run.
TRIES=3

setup() {
  fresh_store
  chmod 1777 /tmp
  rm -f /tmp/begun /tmp/overlaps /tmp/lock-*
}

teardown() {
  pkill -KILL -u alice,bob || true
  pkill -KILL '^eorva' || true
  rm -f /etc/eorva.conf /tmp/begun /tmp/go
}

held() { cat "$BATS_TEST_DIRNAME/held/$1"; }

as_bob() { setpriv --reuid=bob --regid=bob --init-groups "$@"; }

of_runs() { eorva runs list --limit 0 --json | jq -c "[.[] | $1] | sort | unique"; }

# --- descriptors

# With and without the log, which goes through a pipe of the execution.
LOGGING=("" "--log-stdout" "--log-stdout --debug")

# took_nothing: the script took only /dev/null and its own files, and these at least from the shell above it.
took_nothing() {
  local taken
  taken=$(eorva runs output "$(run_of thief)" | sed -n 's/^took //p')
  same "of root" "" "$(grep -vE ": (/dev/null|$KEPT/thief/[0-9]+/(script|output)\.log)$" <<<"$taken" || true)"
  grep -q "^1 of sh: $KEPT/thief/.*/output.log$" <<<"$taken"
  pkill -KILL -u alice
}

@test "a script cannot take the terminal of its caller" {
  add_task thief bootup alice "$(held take_descriptors.py)"
  local options
  for options in "${LOGGING[@]}"; do
    run -0 timeout 30 script -qec "eorva $options fire bootup" /dev/null
    [[ $output != *"written by the script"* ]]
    took_nothing
  done
}

@test "a script cannot take a file of its caller in a closed folder" {
  add_task thief bootup alice "$(held take_descriptors.py)"
  mkdir -m 700 /root/closed
  local options
  for options in "${LOGGING[@]}"; do
    # shellcheck disable=SC2086
    timeout 30 eorva $options fire bootup <>/root/closed/in >/root/closed/out 2>/root/closed/err
    took_nothing
  done
  same "written" 0 "$(cat /root/closed/* | grep -c 'written by the script')"
  rm -r /root/closed
}

@test "a background process of a script does not make the caller wait for the end of its output" {
  add_task thief bootup alice "$(held take_descriptors.py)"
  local options answer
  for options in "${LOGGING[@]}"; do
    # shellcheck disable=SC2086
    answer=$(timeout 30 eorva $options fire bootup 2>&1)
    pgrep -u alice >/dev/null
    [[ $answer == *"1 run, 1 ok"* && $answer != *"written by the script"* ]]
    took_nothing
  done
}

# --- what a script sees

@test "a script gets the same environment however it is started" {
  add_task see bootup alice "$(held see.py)"
  env -i "PATH=$PATH" setsid --wait eorva fire bootup </dev/null >/dev/null
  eorva runs output "$(run_of see)" >plain
  script -qec "/usr/bin/python3 $BATS_TEST_DIRNAME/held/oddly.py eorva fire bootup" /dev/null >fired
  eorva runs output "$(run_of see)" >odd
  grep -q '1 run, 1 ok' fired
  diff plain odd
  grep -q '^Umask:	0022$' odd
  grep -q '^tty: 0$' odd
}

# --- ways to escape

# The process of the run is the parent of the shell above the script.
RUN='read -r _ _ _ run _ </proc/$PPID/stat'

# escapes: the ways to escape, each with a script that notes when it has begun.
escapes() {
  local sleep='while :; do sleep 300; done'
  jq -n --arg comet "$(held comet.py)" --arg bomb "$(held fork_bomb.py)" \
    --arg kills "$RUN; trap 'kill -KILL \$run' TERM; echo >>/tmp/begun; while :; do sleep 0.1; done" \
    --arg stops "$RUN; trap '' TERM; kill -STOP \$run; echo >>/tmp/begun; $sleep" \
    --arg sleeps "echo >>/tmp/begun; kill -STOP \$\$; $sleep" \
    --arg traps "trap '' HUP INT QUIT USR1 USR2 PIPE ALRM TERM TSTP TTIN TTOU XCPU RTMIN; echo >>/tmp/begun; $sleep" \
    '{comet: $comet, "fork-bomb": $bomb, "kills-at-term": $kills, "stops-its-run": $stops, "stops-itself": $sleeps, traps: $traps}'
}

# add_escapes [MEMBERS]: TRIES tasks of alice for each way to escape.
add_escapes() {
  escapes | jq --argjson tries "$TRIES" --argjson more "${1:-{\}}" '{version: 1, tasks: [to_entries[] | . as $way | range($tries) |
    {key: "\($way.key)-\(.)", value: ({event: "bootup", owner: "alice", script: $way.value} + $more)}] | from_entries}' |
    eorva apply - --yes >/dev/null
  ESCAPES=$((6 * TRIES))
  echo stop_grace=1 >/etc/eorva.conf
}

all_begun() { [[ $(wc -l </tmp/begun) -ge $ESCAPES ]]; }

# begin [OPTION...]: fires the event, and waits until all scripts have begun.
begin() {
  eorva fire bootup "$@" >fired 2>said 3>&- &
  display=$!
  wait_until all_begun
}

# ended_by REASON: all is over, and the records say why.
ended_by() {
  wait "$display" || true
  same "left of the scripts" "" "$(pgrep -u alice -l || true)"
  same "records" "[[\"$1\",\"failed\"]]" "$(of_runs '[.ended_by, .outcome]')"
  same "runs" "$ESCAPES" "$(eorva runs list --limit 0 --json | jq length)"
  same "left of executions" "" "$(ls -A /run/eorva/executions)"
}

@test "$TRIES tries of 6 ways to escape: the time limit ends them" {
  add_escapes '{"time_limit": 3}'
  begin
  ended_by time_limit
}

@test "$TRIES tries of 6 ways to escape: eorva stop ends them" {
  add_escapes
  begin
  local number
  for ((number = 1; number <= ESCAPES; number++)); do
    eorva stop "$number" --grace 1 >>stopped 2>&1 3>&- &
  done
  ended_by stopped
  wait
  same "said" "$ESCAPES" "$(grep -c ': stopped$' stopped)"
}

@test "$TRIES tries of 6 ways to escape: the budget ends them" {
  add_escapes
  begin --budget 3
  ended_by budget
}

@test "$TRIES tries of 6 ways to escape: ending the execution ends them" {
  add_escapes
  begin
  pkill -TERM -P "$display" -x eorva-watch
  ended_by stopped
}

@test "$TRIES scripts that kill the processes above them: the runs end as killed, with their background processes" {
  local i
  for ((i = 1; i <= TRIES; i++)); do
    add_task "run-killed-$i" bootup alice "$RUN"'; kill -KILL $run; sleep 300'
    add_task "run-killed-from-afar-$i" bootup alice "$RUN"'; run=$run setsid -f sh -c "trap \"\" TERM; kill -KILL \$run; sleep 300"; sleep 300'
  done
  add_task bystander bootup bob 'exit 0'
  run -3 timeout 30 eorva fire bootup
  same "left of the scripts" "" "$(pgrep -u alice -l || true)"
  same "records" '[["bystander",null,"ok"],["run-killed","killed","failed"],["run-killed-from-afar","killed","failed"]]' \
    "$(of_runs '[(.task_name | sub("-[0-9]$"; "")), .ended_by, .outcome]')"
}

# --- being in the way

@test "a storm of 400 short-lived orphans uses up no process ids, and tasks of others run" {
  add_task storm bootup alice "$(held orphans.py)"
  add_task first bootup bob 'exit 0'
  add_task second bootup bob 'sleep 2; touch /tmp/begun' --after first
  eorva fire bootup >fired 2>&1 3>&- &
  local display=$! most=0 now
  while [[ ! -e /tmp/begun ]]; do
    now=$(ps -e --no-headers | wc -l)
    ((most = now > most ? now : most))
  done
  touch /tmp/go
  wait "$display"
  ((most < 1000))
  # More than would fit, if those that have ended were still there.
  (($(eorva runs output "$(run_of storm)") > 800))
  same "outcomes" '["ok"]' "$(of_runs .outcome)"
}

# --- secrets

# No UTF-8, and nothing that a shell leaves alone.
VALUE=$'secret-\xff\xfe \'"$x`\\\t-of-root'

# searched: what bob can read of all processes and of the files of executions.
searched() {
  as_bob bash -c 'cat /proc/[0-9]*/{cmdline,environ,comm} 2>/dev/null | tr "\0" "\n"
    find /run/eorva /tmp -type f -exec cat {} + 2>/dev/null' || true
}

@test "values of variables arrive as they are, and others cannot read them" {
  local detach
  for detach in "" --detach; do
    rm -f /tmp/begun /tmp/go
    add_task "keeper$detach" "keep$detach" alice 'umask 077; printf %s "$KEY" >/tmp/kept
      echo >/tmp/begun; while [ ! -e /tmp/go ]; do sleep 0.1; done'
    # shellcheck disable=SC2086
    eorva fire "keep$detach" $detach --env "KEY=$VALUE" --env=OTHER=secret-too >/dev/null 3>&- &
    wait_until test -e /tmp/begun
    searched >found
    same "found" "" "$(grep -a secret found || true)"
    grep -aqx fire found
    cmp /tmp/kept <(printf %s "$VALUE")
    touch /tmp/go
    wait
    wait_until eval '[[ $(field "$(run_of "keeper$detach")" outcome) == "\"ok\"" ]]'
    rm -f /tmp/kept
  done
}

# --- sleeping

# switches PID...: how often each process has waited for something.
switches() {
  local pid
  for pid in "$@"; do
    awk '/^voluntary_ctxt_switches/ { print $2 }' "/proc/$pid/status"
  done
}

# settled PID...: the processes have slept for 2 s, longer than the pause of a second after tasks were started.
settled() {
  local before
  before=$(switches "$@")
  read -rt 2 <> <(:) || true
  [[ $(switches "$@") == "$before" ]]
}

@test "while scripts sleep, no process of an execution wakes up" {
  local i pids
  for i in 1 2; do
    add_task "sleeper-$i" bootup alice 'echo >>/tmp/begun; sleep 300'
  done
  ESCAPES=2
  begin --budget 200
  # The display, the watch and the execution.
  readarray -t pids < <(pgrep '^eorva(-watch|-execute)?$')
  same "processes" 3 "${#pids[@]}"
  local tries=0
  until settled "${pids[@]}"; do
    ((++tries < 4))
  done
  pkill -TERM -P "$display" -x eorva-watch
  wait "$display" || true
}

# --- kills

@test "$ROUNDS kills of the processes of an execution: the next command closes all runs with their true ends" {
  local i
  for i in 0 1 2 3 4 5 6 7 8 9; do
    # In a session of its own: it ends only with the group of the run. One does not end by itself.
    add_task "killed-$i" kills alice "setsid --wait sleep $((i == 4 ? 300 : 0)).$i; exit $i" $( ((i > 4)) && echo --after "killed-$((i - 5))")
  done
  add_task next other bob 'exit 0'
  /usr/bin/python3 "$BATS_TEST_DIRNAME/held/kill_rounds.py" "$ROUNDS" "$DATABASE" 3>&-
}

# --- one at a time

# Notes when another run of the task has its lock, or uses its folder.
ALONE='exec 9>"/tmp/lock-$NAME"
flock -n 9 || echo "$NAME overlaps" >>/tmp/overlaps
mkdir "${0%/*}/taken" || echo "$NAME shares a folder" >>/tmp/overlaps
sleep 0.05'

# start_until SECOND COMMAND...: starts executions until then; some are refused.
start_until() {
  local end=$1
  shift
  while ((EPOCHSECONDS < end)); do
    eorva "$@" >/dev/null 2>&1 || true
  done
}

@test "8 executions of one graph for $SECONDS_OF_STARTS s: no two runs of a task overlap or share a folder" {
  local task i
  for task in a b c d; do
    add_task "$task" graph alice "NAME=$task; $ALONE" $([[ $task == [bc] ]] && echo --after a) $([[ $task == d ]] && echo --after b --after c)
  done
  local end=$((EPOCHSECONDS + SECONDS_OF_STARTS))
  for i in 1 2 3 4 5; do
    start_until "$end" fire graph 3>&- &
  done
  for task in b c d; do
    start_until "$end" run "$task" 3>&- &
  done
  wait
  same "noted by the scripts" "" "$(cat /tmp/overlaps 2>/dev/null || true)"
  same "overlaps in the records" 0 "$(eorva runs list --limit 0 --json | jq '[group_by(.task_name)[] | sort_by(.start_time, .result_id) |
    range(1; length) as $i | select(.[$i].start_time < .[$i - 1].stop_time or .[$i].start_time == .[$i - 1].start_time)] | length')"
  same "records without an end" 0 "$(eorva runs list --limit 0 --json | jq '[.[] | select(.stop_time == null)] | length')"
  (($(eorva runs list --limit 0 --json | jq length) >= SECONDS_OF_STARTS))
}

#!/usr/bin/env bats
# Scripts that try to reach the caller's things, or to be in the way of others.

load common

setup() {
  fresh_store
  chmod 1777 /tmp
  rm -f /tmp/begun
}

teardown() {
  pkill -KILL -u alice,bob || true
  pkill -KILL '^eorva' || true
  rm -f /tmp/begun /tmp/go
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

have_begun() { [[ $(wc -l </tmp/begun) == "$1" ]]; }

@test "while scripts sleep, no process of an execution wakes up" {
  local i pids display
  for i in 1 2; do
    add_task "sleeper-$i" bootup alice 'echo >>/tmp/begun; sleep 300'
  done
  eorva fire bootup --budget 200 >fired 2>&1 3>&- &
  display=$!
  wait_until have_begun 2
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

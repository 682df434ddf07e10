#!/usr/bin/env bats
# The processes of executions are killed at random moments.

load common

KILLS=200

setup() { fresh_store; }

# One round: starts an execution of ten tasks, kills one process at a random moment, then runs the next command.
# Everything that was acknowledged before the kill must still exist.
torture() {
  python3 - "$1" "$2" "$DATABASE" <<'PYTHON'
import os, random, signal, sqlite3, subprocess, sys, time

name, rounds, database = sys.argv[1], int(sys.argv[2]), sys.argv[3]
seed = os.environ.get('EORVA_SEED') or str(random.SystemRandom().randrange(10**9))
print(f'seed {seed}')
rng = random.Random(f'{seed}-{name}')
read = sqlite3.connect(f'file:{database}?mode=ro', uri=True, timeout=30)

def family(pid):
    """The process, the one that watches over the execution, the execution, and those of its runs."""
    found, rest = [], [pid]
    while rest and len(found) < 14:
        found.append(rest.pop(0))
        try:
            rest += [int(p) for p in open(f'/proc/{found[-1]}/task/{found[-1]}/children').read().split()]
        except OSError:
            pass
    return found

def is_eorva(pid):
    try:
        return open(f'/proc/{pid}/comm').read().strip() in ('eorva', 'eorva-run')
    except OSError:
        return False

def records():
    return {row[0]: row for row in read.execute(
        'select result_id, task_name, start_time, stop_time, exit_info from task_result')}

def leave(pids):
    for pid in pids:
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass

killed = 0
for i in range(rounds):
    hook = subprocess.Popen(['eorva', 'fire', name], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    time.sleep(rng.uniform(0.0, 0.35))
    before = records()
    everything = [pid for pid in family(hook.pid) if is_eorva(pid)]
    # Mostly all of the hook, as when memory runs out or the service is killed; else one of its processes.
    leave(everything if rng.random() < 0.7 else [rng.choice(everything or [hook.pid])])
    killed += 1
    after = records()
    for number, row in before.items():
        assert number in after, f'round {i}: the record of run {number} is lost'
        assert row[3] is None or after[number] == row, f'round {i}: the record of run {number} has changed'
    # The rest is killed too, so that rounds do not overlap.
    for pid in everything:
        leave(family(pid))
    hook.wait()
print(f'killed {killed}')
PYTHON
}

@test "killed 200 times at random moments: nothing stays open or blocked, nothing is lost" {
  local process task
  for process in 1 2; do
    for task in 0 1 2 3 4 5 6 7 8 9; do
      add_task "p$process-t$task" "event-$process" alice 'sleep 0.05' $( ((task > 5)) && echo --after "p$process-t$((task - 5))")
    done
  done
  for process in 1 2; do
    torture "event-$process" $((KILLS / 2)) >"torture-$process" 2>&1 3>&- &
  done
  wait
  cat torture-1 torture-2
  same "kills" 2 "$(cat torture-1 torture-2 | grep -cx "killed $((KILLS / 2))")"
  # The next command repairs everything.
  pkill -KILL '^eorva' || true
  add_task last last-event bob 'exit 0'
  run -0 eorva fire last-event
  same "open runs" 0 "$(sqlite3 "$DATABASE" 'select count(*) from task_result where stop_time is null')"
  same "running lists that are not empty" 0 \
    "$(sqlite3 "$DATABASE" "select count(*) from task where json_array_length(json_extract(status, '\$.running')) > 0")"
  same "left of executions" "" "$(ls /run/eorva/executions)"
  same "integrity" ok "$(sqlite3 "$DATABASE" 'pragma integrity_check')"
  # No task is blocked.
  for process in 1 2; do
    run -0 eorva fire "event-$process"
    says "10 runs, 10 ok"
  done
}

#!/usr/bin/env bats
# Thousands of attacks with files in shared folders, with the machine's setting of fs.protected_*. protected_files runs
# them with the other setting, too.

load common

ATTACKS=1000

# For how many of the next process ids something is planted.
PIDS=10000

setup() { fresh_store; }

as_bob() { setpriv --reuid=bob --regid=bob --init-groups "$@"; }

# Bob knows the next process ids, and plants a file, a link or a pipe in turn under every name that a run
# could use.
plant() {
  as_bob /usr/bin/python3 - "$1" "$2" "$PIDS" <<'PYTHON'
import os, sys
prefix, first, count = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
for pid in range(first, first + count):
    name = f'{prefix}{pid}'
    try:
        if pid % 3 == 0:
            open(name, 'x').write('{"exit_type":"normal","exit_code":0}')
        elif pid % 3 == 1:
            os.symlink('/home/bob/forged', name)
        else:
            os.mkfifo(name)
    except FileExistsError:
        pass
PYTHON
}

next_pid() { bash -c 'echo $$'; }

@test "$PIDS planted exit codes: root trusts none, follows none, and waits for none" {
  local i
  for i in 1 2 3 4 5 6 7 8; do
    add_task "fails-$i" bootup "$((i % 2 ? 0 : 7001))" 'exit 5'
  done
  as_bob sh -c "echo '{\"exit_type\":\"normal\",\"exit_code\":0}' >/home/bob/forged"
  chmod 711 /home/bob
  chmod 1777 /tmp
  plant /tmp/eorvascheduler_exit_code. "$(next_pid)"
  run -3 timeout 120 eorva fire bootup
  same "believed" 0 "$(eorva runs list --json | jq '[.[] | select(.outcome == "ok")] | length')"
  same "closed" 8 "$(eorva runs list --json | jq '[.[] | select(.stop_time != null)] | length')"
  same "forged" '{"exit_type":"normal","exit_code":0}' "$(cat /home/bob/forged)"
}

@test "$PIDS planted scripts: none runs, and no child becomes a second runner" {
  local i
  for i in 1 2 3 4; do
    add_task "mine-$i" bootup 0 'id -un >>/root/ran'
  done
  rm -f /root/ran "$STORE/eorvascheduler-conf.json"
  chmod 1777 /tmp
  as_bob sh -c 'printf "touch /root/pwn\n" >/home/bob/forged; chmod 755 /home/bob/forged'
  chmod 711 /home/bob
  plant /tmp/eorvascheduler.script. "$(next_pid)"
  timeout 120 eorva fire bootup >fired 2>&1 || true
  [[ ! -e /root/pwn ]]
  same "forged" "touch /root/pwn" "$(cat /home/bob/forged)"
  same "runs" 4 "$(eorva runs list --json | jq length)"
  same "open" 0 "$(eorva runs list --json | jq '[.[] | select(.outcome == "running")] | length')"
  same "processes" "" "$(pgrep '^eorva' || true)"
  find /tmp -user bob -delete
}

as_alice() { setpriv --reuid=alice --regid=alice --init-groups "$@"; }

# Traps that the owner of a task can plant for its next runs: she knows the names of their folders, the next seconds.
TRAPS=(folder-link script-link output-link script-pipe output-pipe script-folder)

# trap_runs TASK TRAP COUNT: plants a trap in the folder of the task for each of the next COUNT seconds.
trap_runs() {
  as_alice /usr/bin/python3 - "$KEPT/$1" "$2" "$3" <<'PYTHON'
import os, sys, time
folder, trap, count = sys.argv[1], sys.argv[2], int(sys.argv[3])
for second in range(int(time.time()) + 1, int(time.time()) + 1 + count):
    run = f'{folder}/{second}'
    if trap == 'folder-link':
        os.symlink('/root/precious', run)
        continue
    os.mkdir(run)
    file, kind = trap.split('-')
    path = f'{run}/{file}.log'
    if kind == 'link':
        os.symlink('/root/precious/file', path)
    elif kind == 'pipe':
        os.mkfifo(path)
    else:
        os.mkdir(path)
PYTHON
}

precious() { find /root/precious -printf '%p %m %U %s %C@\n' | sort | cat - /root/precious/file; }

@test "$ATTACKS planted folders and files of runs: root follows none, shows none, and waits for none" {
  mkdir -m 700 /root/precious
  echo secret >/root/precious/file
  precious >before
  local name file each=$((ATTACKS / ${#TRAPS[@]} + 1))
  for name in "${TRAPS[@]}" handed-over; do
    # In /tmp, root may not be able to write to a file of alice's.
    add_task "$name" bootup alice 'id -un >>"/tmp/ran-$(id -un)"'
  done
  # Creates the folders of the tasks.
  eorva fire bootup >/dev/null
  for name in "${TRAPS[@]}"; do
    trap_runs "$name" "$name" "$each"
  done
  trap_runs handed-over folder-link "$each"
  eorva task edit handed-over --owner root >/dev/null
  rm -f /tmp/ran-*
  local planted=$EPOCHSECONDS
  wait_until eval '((EPOCHSECONDS > planted))'
  timeout 120 eorva fire bootup >fired 2>&1 || [[ $? == 3 ]]
  grep -q '6 runs, .* not started (folder-link' fired
  same "ran as root" 1 "$(wc -l </tmp/ran-root)"
  same "open" 0 "$(eorva runs list --json | jq '[.[] | select(.stop_time == null)] | length')"
  for name in "${TRAPS[@]}"; do
    for file in output script; do
      run timeout 60 eorva runs "$file" "$(run_of "$name")"
      ((status < 2))
      [[ $output != *secret* ]]
    done
  done
  precious | diff before -
  same "processes" "" "$(pgrep '^eorva' || true)"
  rm -rf /root/precious /tmp/ran-*
}

@test "$ATTACKS attempts to reach scripts and output of root's tasks: all fail" {
  local i
  for i in 1 2 3 4; do
    add_task "mine-$i" bootup root 'echo of root >>/tmp/ran' --parallel
  done
  chmod 1777 /tmp
  rm -f /tmp/ran-*
  # Bob tries until no more tasks start, and at least $ATTACKS times.
  as_bob /usr/bin/python3 - "$KEPT" "$ATTACKS" /tmp/go >tried 3>&- <<'PYTHON' &
import itertools, os, sys, time
share, least, stop = sys.argv[1], int(sys.argv[2]), sys.argv[3]
tries = came_near = 0
for task in itertools.cycle(range(1, 5)):
    if tries >= least and os.path.exists(stop):
        break
    folder = f'{share}/mine-{task}'
    run = f'{folder}/{int(time.time()) + tries % 2}'
    for attempt in (lambda: os.listdir(folder),
                    lambda: os.mkdir(run),
                    lambda: os.rename(folder, f'{share}/moved'),
                    lambda: os.symlink('/home/bob', f'{share}/link{tries}'),
                    lambda: open(f'{run}/script.log', 'w').write('touch /tmp/pwn'),
                    lambda: open(f'{run}/output.log').read()):
        tries += 1
        try:
            attempt()
            came_near += 1
        except OSError:
            pass
print(came_near, 'of many' if tries >= least else f'of {tries} only')
PYTHON
  for i in 1 2 3; do
    eorva fire bootup >/dev/null
  done
  touch /tmp/go
  wait
  same "came near" "0 of many" "$(cat tried)"
  same "ran" 12 "$(grep -c 'of root' /tmp/ran)"
  [[ ! -e /tmp/pwn ]]
  rm /tmp/ran
}

#!/usr/bin/env bats
# Attacks by the thousand: files in shared folders, with fs.protected_* as the machine has it; protected_files runs them
# with the other setting, too.

load common

ATTACKS=1000

setup() { fresh_store; }

as_bob() { setpriv --reuid=bob --regid=bob --init-groups "$@"; }

# Bob knows which process numbers come next, and plants a file, a link and a pipe by turns under every name that a run
# could use.
plant() {
  as_bob /usr/bin/python3 - "$1" "$2" "$ATTACKS" <<'PYTHON'
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

@test "$ATTACKS planted exit codes: none is believed, none is followed, none holds root up" {
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

@test "$ATTACKS planted scripts: none is run, and no runner multiplies" {
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

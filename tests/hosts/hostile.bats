#!/usr/bin/env bats
# Users who try to make root, or other users, run their code.

load common

setup() { fresh_store; }

# Children that became second runners must not outlive their test.
teardown() { pkill -KILL '^eorva' || true; }

@test "the folder of a task is its owner's alone" {
  add_task one bootup alice 'umask; echo secret'
  run -0 eorva run one
  same "folder" "alice alice 700" "$(stat -c '%U %G %a' "$KEPT/one")"
  same "script and output exist" 2 "$(find "$KEPT/one" -type f | wc -l)"
  run -1 setpriv --reuid=bob --regid=bob --init-groups bash -c "cat $KEPT/one/*/output.log"
  run -1 setpriv --reuid=bob --regid=bob --init-groups bash -c "echo rm -rf / >$KEPT/one/x"
}

@test "a planted file or folder is moved aside, and all tasks run" {
  add_task victim bootup alice 'echo ran'
  add_task bystander bootup bob 'echo ran'
  mkdir -m 777 "$KEPT/victim"
  chown bob "$KEPT/victim"
  touch "$KEPT/victim/planted"
  run -0 --separate-stderr eorva fire bootup
  complains "the output folder of \"victim\" belonged to another user; it was moved to $KEPT/victim~1"
  same "folder" "alice alice 700" "$(stat -c '%U %G %a' "$KEPT/victim")"
  same "kept" "$KEPT/victim~1/planted" "$(ls "$KEPT"/victim*/planted)"
  run -0 --separate-stderr eorva fire bootup
  same "standard error" "" "$stderr"
}

@test "a task that is deleted and added again for another owner runs, and so do the others" {
  add_task again bootup alice 'echo first'
  add_task other bootup bob 'echo ran'
  eorva fire bootup >/dev/null
  eorva task delete again --yes
  add_task again bootup bob 'echo second'
  run -0 --separate-stderr eorva fire bootup
  says "2 runs, 2 ok"
  same "folder" "bob bob 700" "$(stat -c '%U %G %a' "$KEPT/again")"
  run -2 setpriv --reuid=alice --regid=alice --init-groups ls "$KEPT/again"
}

@test "a folder of root's with open permissions is not reused" {
  add_task victim bootup alice 'echo ran'
  mkdir -m 777 "$KEPT/victim"
  run -0 --separate-stderr eorva run victim
  complains "$KEPT/victim~1"
}

@test "a link in the place of a folder is not followed" {
  add_task victim bootup alice 'echo ran'
  mkdir -m 700 /home/bob/trap
  ln -s /home/bob/trap "$KEPT/victim"
  run -0 --separate-stderr eorva run victim
  complains "$KEPT/victim~1"
  same "in the trap" "" "$(ls /home/bob/trap)"
}

# add_first, begin_event: root's task "first" runs in an execution of bootup until /tmp/go exists.
add_first() { add_task first bootup root 'while [ ! -e /tmp/go ]; do sleep 0.1; done'; }
begin_event() {
  rm -f /tmp/go2
  eorva fire bootup >fired 2>&1 3>&- &
  wait_until runs_are 1
}

@test "a task folder removed during an execution is created again, private and in the same place" {
  add_first
  add_task second bootup root 'while [ ! -e /tmp/go2 ]; do sleep 0.1; done' --after first
  begin_event
  eorva config set --output-path scheduler/elsewhere >/dev/null
  add_task late bootup bob 'while [ ! -e /tmp/go2 ]; do sleep 0.1; done' --after first
  rm -r "$KEPT/second"
  touch /tmp/go
  wait_until runs_are 3
  same "folders" "bob 700 late
root 700 second" "$(cd "$KEPT" && stat -c '%U %a %n' late second)"
  same "in the new place" "" "$(ls "$KEPT/elsewhere")"
  touch /tmp/go2
  wait
  grep -q '3 runs, 3 ok' fired
}

@test "when the disk changes during an execution, folders on the new disk are prepared" {
  mkdir -pm 711 /srv/disk1 /srv/disk2
  ln -sfn disk1 /srv/disk
  printf '\n[disk]\npath = /srv/disk\n' >>/etc/orva/shares.conf
  eorva config set --output-path disk >/dev/null
  add_first
  add_task second bootup root 'while [ ! -e /tmp/go2 ]; do sleep 0.1; done' --after first
  mkdir -m 777 /srv/disk2/second
  chown bob /srv/disk2/second
  begin_event
  ln -sfn disk2 /srv/disk
  touch /tmp/go
  wait_until runs_are 2
  same "folder" "root 700" "$(stat -c '%U %a' /srv/disk2/second)"
  touch /tmp/go2
  wait
  grep -qF "the output folder of \"second\" belonged to another user; it was moved to /srv/disk2/second~1" fired
  sed -i '/^\[disk\]/,$d' /etc/orva/shares.conf
}

@test "when folders cannot be prepared, no more tasks are started" {
  add_first
  add_task second bootup root 'exit 0' --after first
  add_task third bootup bob 'exit 0' --after first
  begin_event
  chmod 777 "$KEPT"
  touch /tmp/go
  wait
  chmod 711 "$KEPT"
  grep -q "no more tasks are started: the output folder $KEPT may be changed by others (mode 0777)" fired
  grep -q 'not started (second: .*; third: ' fired
  runs_are 1
}

@test "a share that other users can change is not used" {
  add_task one bootup alice 'echo ran'
  chmod 777 "$KEPT"
  run -1 --separate-stderr eorva run one
  complains "may be changed by others (mode 0777)"
  chmod 711 "$KEPT"
  chown bob "$KEPT"
  run -1 --separate-stderr eorva run one
  complains "belongs to user 7002, not to root"
  chown root "$KEPT"
  run -0 eorva run one
}

@test "names in old records that lead out of the share are not used" {
  add_task fine bootup alice 'echo ran'
  sqlite3 "$DATABASE" "update task set task_name = '../../../tmp/out' where task_name = 'fine'"
  run -1 --separate-stderr eorva fire bootup
  complains "must begin with a letter or a digit"
  [[ ! -e /tmp/out ]]
}

@test "a child that cannot write its script ends, and does not become a second runner" {
  local i name second
  for i in 1 2 3 4 5 6; do
    add_task "planted-$i" bootup alice 'echo ran'
  done
  add_task clean bootup bob 'echo ran' --after planted-1
  eorva run planted-1 >/dev/null
  # The owner knows the paths of the next scripts, and creates them first.
  second=$(date +%s)
  for i in 1 2 3 4 5 6; do
    for ((name = second; name < second + 60; name++)); do
      mkdir -p "$KEPT/planted-$i/$name/script.log"
    done
    chown -R alice "$KEPT/planted-$i"
    chmod 700 "$KEPT/planted-$i"
  done
  # A second runner would keep a pipe open.
  run -3 bash -c 'timeout 60 eorva fire bootup 2>fire.err'
  says "event bootup: 7 runs, 1 ok, 6 failed"
  same "runs" 8 "$(eorva runs list --json | jq length)"
  same "open runs" 0 "$(eorva runs list --json | jq '[.[] | select(.outcome == "running")] | length')"
  same "processes" "" "$(pgrep '^eorva' || true)"
}

@test "files of others with the names of the next 10,000 exit codes change no record" {
  local status
  for status in 0 3 128 137; do
    add_task "ends-$status" bootup alice "exit $status"
  done
  # shellcheck disable=SC2016
  setpriv --reuid=bob --regid=bob --init-groups bash -c '
    echo "{\"exit_type\":\"normal\",\"exit_code\":0}" >/tmp/forged
    for ((pid = $$ + 1; pid <= $$ + 10000; ++pid)); do
      path=/tmp/eorvascheduler_exit_code.$pid
      case $((pid % 5)) in
        0) echo "{\"exit_type\":\"normal\",\"exit_code\":0}" >"$path" ;;
        1) printf "%s\n" "$path" >>/tmp/pipes ;;
        2) printf "%s\n" "$path" >>/tmp/folders ;;
        3) ln -s /etc/shadow "$path" ;;
        4) ln /tmp/forged "$path" ;;
      esac
    done
    xargs mkfifo </tmp/pipes
    xargs mkdir </tmp/folders'
  local i
  for i in 1 2 3; do
    run -3 timeout 60 eorva fire bootup
  done
  same "ends" '[["ends-0",{"exit":0},3],["ends-128",{"exit":128},3],["ends-137",{"name":"SIGKILL","signal":9},3],["ends-3",{"exit":3},3]]' \
    "$(eorva runs list --json | jq -cS 'group_by(.task_name) | map([.[0].task_name, .[0].end, length])')"
  same "records" '[{"exit_code":0,"exit_type":"normal"},{"exit_code":0,"exit_type":"normal"},{"exit_code":9,"exit_type":"by_signal"},{"exit_code":3,"exit_type":"by_signal"}]' \
    "$(eorva runs list --json | jq -cS 'unique_by(.task_name) | map(.exit_info)')"
  rm -rf /tmp/eorvascheduler_exit_code.* /tmp/forged /tmp/pipes /tmp/folders
}

@test "output of root's task is not given to the task's next owner" {
  add_task secret bootup root 'echo of root'
  run -0 eorva run secret
  run -0 eorva task edit secret --owner alice
  run -0 eorva run secret
  same "the folder's owner" alice "$(stat -c %U "$KEPT/secret")"
  same "runs in it" 1 "$(find "$KEPT/secret" -mindepth 1 -maxdepth 1 | wc -l)"
  same "the owner of the moved folder" root "$(stat -c %U "$KEPT/secret~1")"
  run -1 su alice -c "cat $KEPT/secret~1/*/output.log"
}

NAMES=1000

@test "$NAMES hostile names in a document: each is refused with a reason, and nothing is stored or run" {
  local from refused=0
  for ((from = 0; from < NAMES; from += 100)); do
    "$BATS_TEST_DIRNAME/hostile_names" document "$NAMES" "$from" $((from + 100)) >names.json
    run -1 --separate-stderr eorva apply names.json --yes
    refused=$((refused + $(grep -o '": name: ' <<<"$stderr" | wc -l)))
  done
  same "refused" "$NAMES" "$refused"
  same "tasks" 0 "$(eorva task list --json | jq length)"
  [[ ! -e /tmp/pwn ]]
}

# All folders that names could lead to. The tests' own tree may be there too, and other tests write to it.
everything() {
  local tree
  tree=$(realpath "$BATS_TEST_DIRNAME/../..")
  find /srv /home /etc /tmp /var/bait /var/lib/bait /var/lib/orva -mindepth 1 \
    '(' -path "$BATS_RUN_TMPDIR" -o -path "$tree" ')' -prune -o -printf '%p %y %m %U %s %C@\n' | sort
}

@test "$NAMES hostile names in the store: nothing is run, removed or moved for them" {
  local bait
  for bait in "$KEPT" /var/lib/orva "$KEPT/bait" /var/lib/orva/bait /var/lib/bait /var/bait /srv/bait; do
    mkdir -p "$bait/1" "$bait/2"
    echo kept | tee "$bait/1/output.log" "$bait/2/output.log" "$bait/1/script.log" >/dev/null
  done
  "$BATS_TEST_DIRNAME/hostile_names" store $((NAMES + 50)) "$DATABASE"
  cp /etc/eorva.conf "$BATS_TEST_TMPDIR/eorva.conf"
  printf 'retention_runs=1\nretention_failed_runs=0\n' >/etc/eorva.conf
  everything >before
  local stored name
  stored=$(eorva task list --json | jq length)
  ((stored >= NAMES))
  run -1 --separate-stderr eorva fire bootup
  complains 'the event "bootup" is not fired: its tasks cannot be run safely'
  for name in ';touch /tmp/pwn;' '$(touch /tmp/pwn)' '../../../../srv/bait' $'\ntouch /tmp/pwn\n' "' or 1=1 --"; do
    run -1 --separate-stderr eorva run "$name"
    complains "is not run: its name must"
  done
  run --separate-stderr eorva runs prune --json
  same "messages" "" "$stderr"
  same "pruned" "$stored" "$(jq '.runs | length' <<<"$output")"
  printf 'version: 1\ntasks: {}\n...\n' >none.yaml
  run -0 eorva apply none.yaml --yes --prune --json
  same "deleted" "$stored" "$(jq '.deleted | length' <<<"$output")"
  same "runs" 0 "$(eorva runs list --json | jq length)"
  everything | diff before -
  cp "$BATS_TEST_TMPDIR/eorva.conf" /etc/eorva.conf
}

#!/usr/bin/env bats
# Removing old runs and their output.

load common

setup() {
  fresh_store
  : >/etc/eorva.conf
  add_task one bootup alice 'exit 0'
}

# runs TASK OUTCOME FIRST LAST: creates records of runs, each with a script and an output of 8 KiB.
runs() {
  local task=$1 code=$2 first=$3 last=$4 number
  for ((number = first; number <= last; number++)); do
    echo "insert into task_result (result_id, task_name, trigger_event, start_time, stop_time, exit_info, extra, pid)
      values ($number, '$task', 'bootup', $number, $number, '{\"exit_code\":$code,\"exit_type\":\"normal\"}', '{}', 1);"
    mkdir -p "$KEPT/$task/$number"
    head -c 8192 /dev/zero >"$KEPT/$task/$number/output.log"
    : >"$KEPT/$task/$number/script.log"
  done | sqlite3 "$DATABASE"
}

kept() { eorva runs list --limit 0 --json | jq -c '[.[].result_id] | reverse'; }
folders() { find "$KEPT/${1:-one}" -mindepth 1 -maxdepth 1 -type d -printf '%f\n' | sort -n | paste -sd ,; }
rules() { printf '%s\n' "$@" >/etc/eorva.conf; }

@test "the newest runs of each task are kept, and the newest failed ones too" {
  add_task two bootup bob 'exit 0'
  runs one 0 1 2
  runs one 1 3 5
  runs one 0 6 10
  runs two 0 11 13
  rules retention_runs=3 retention_failed_runs=2
  run -0 eorva runs prune
  same "kept" "[4,5,8,9,10,11,12,13]" "$(kept)"
  same "folders of one" "4,5,8,9,10" "$(folders one)"
  same "folders of two" "11,12,13" "$(folders two)"
  says "removed run 1 of one"
  says "removed 5 runs: 40.0 KiB"
  run -0 eorva runs prune
  same "again" "removed 0 runs: 0 B" "$output"
}

@test "a dry run removes nothing and prints the same" {
  runs one 0 1 5
  rules retention_runs=1 retention_failed_runs=0
  run -0 eorva runs prune --dry-run --json
  same "said" '{"dry_run":true,"runs":[1,2,3,4],"bytes":32768}' "$(jq -c '{dry_run, runs: ([.runs[].result_id] | sort), bytes}' <<<"$output")"
  same "kept" "[1,2,3,4,5]" "$(kept)"
  same "folders" "1,2,3,4,5" "$(folders)"
  run -0 eorva runs prune --json
  same "done" '{"dry_run":false,"runs":[1,2,3,4],"outputs":[],"bytes":32768,"problems":[]}' \
    "$(jq -c '{dry_run, runs: ([.runs[].result_id] | sort), outputs, bytes, problems}' <<<"$output")"
  same "kept then" "[5]" "$(kept)"
}

@test "the value all keeps all runs" {
  runs one 0 1 130
  run -0 eorva runs prune --json
  same "by default" 30 "$(jq '.runs | length' <<<"$output")"
  rules retention_runs=1 retention_failed_runs=all
  sqlite3 "$DATABASE" "update task_result set exit_info = '{}' where result_id > 100"
  run -0 eorva runs prune --json
  same "with all failed ones" 70 "$(jq '.runs | length' <<<"$output")"
  rules retention_runs=all retention_failed_runs=0
  run -0 eorva runs prune --json
  same "with all" 0 "$(jq '.runs | length' <<<"$output")"
}

@test "the oldest output of all tasks is removed first, and its record stays" {
  add_task two bootup bob 'exit 0'
  runs two 0 1 2
  runs one 0 3 5
  rules retention_output_size=24K
  run -0 eorva runs prune
  says "removed the output of run 1 of two"
  says "removed 0 runs and the output of 2 runs: 16.0 KiB"
  same "kept" "[1,2,3,4,5]" "$(kept)"
  same "folders" "3,4,5" "$(folders one)"
  run -1 --separate-stderr eorva runs output 1
  complains "it was removed to save space, $(date +%Y)"
  run -0 eorva runs output 3
}

@test "an open run keeps its record and its output" {
  mkfifo /tmp/go
  add_task slow bootup alice 'head -c 50000 /dev/zero; echo $$ >/tmp/pid; read -r line </tmp/go'
  eorva run slow >/dev/null &
  wait_until test -s /tmp/pid
  wait_until runs_are 1
  sqlite3 "$DATABASE" "insert into task_result (result_id, task_name, start_time, stop_time) values (2, 'slow', 5, 6), (3, 'slow', 6, 7)"
  rules retention_runs=1 retention_failed_runs=0 retention_output_size=1K
  run -0 eorva runs prune
  same "kept" "[1,3]" "$(kept)"
  same "output" 50000 "$(eorva runs output 1 | wc -c)"
  echo >/tmp/go
  wait
  run -0 eorva runs prune
  same "output afterwards" "" "$(folders slow)"
}

@test "output in a former output path is pruned too" {
  runs one 0 1 2
  mkdir -p /srv/other
  printf '[other]\npath = /srv/other\n' >>/etc/orva/shares.conf
  run -0 eorva config set --output-path other
  run -0 eorva config set --output off
  rules retention_runs=1 retention_failed_runs=0
  run -0 eorva runs prune
  same "folders" 2 "$(folders)"
  rules retention_output_size=1K
  run -0 eorva runs prune
  same "folders then" "" "$(folders)"
  sed -i '/^\[other\]/,$d' /etc/orva/shares.conf
}

@test "output of a deleted task counts towards the limit, and is removed when it is old" {
  runs one 0 1 3
  mkdir -p "$KEPT/gone/7" "$KEPT/gone/$(date +%s)" "$KEPT/photos/8" "$KEPT/mixed/9"
  head -c 10240 /dev/zero | tee "$KEPT/gone/7/output.log" "$KEPT/photos/8/image" "$KEPT/mixed/9/output.log" >"$KEPT/mixed/9/image"
  touch "$KEPT/gone/$(date +%s)/script.log"
  rules retention_output_size=1K
  run -0 eorva runs prune
  says "removed the output of a run without a record of gone"
  same "folders" "" "$(folders one)"
  same "of gone" 1 "$(find "$KEPT/gone" -mindepth 1 -maxdepth 1 | wc -l)"
  test -e "$KEPT/photos/8/image"
  test -e "$KEPT/mixed/9/output.log"
}

@test "output that was moved aside for another owner is removed with its run" {
  eorva task edit one --owner bob >/dev/null
  runs one 0 1 2
  mv "$KEPT/one" "$KEPT/one~1"
  runs one 0 3 4
  rules retention_runs=1 retention_failed_runs=0 retention_output_size=1T
  run -0 eorva runs prune
  says "removed run 1 of one"
  says "removed 3 runs: 24.0 KiB"
  same "put aside" "" "$(folders one~1)"
  same "kept" 4 "$(folders one)"
}

@test "the record says when output that was moved aside was removed" {
  runs one 0 1 1
  mv "$KEPT/one" "$KEPT/one~1"
  runs one 0 2 2
  rules retention_output_size=10K
  run -0 eorva runs prune
  says "removed the output of run 1 of one"
  same "noted" '[true,false]' "$(eorva runs list --json | jq -c 'map(.extra | has("output_removed")) | reverse')"
}

@test "runs are kept while a share that may have their output is missing" {
  mkdir -p /srv/vol
  mount -t tmpfs -o mode=711 none /srv/vol
  mkdir -m 711 /srv/vol/runs
  printf '\n[disk]\npath = /srv/vol/runs\nvolume = /srv/vol\n' >>/etc/orva/shares.conf
  runs one 0 1 2
  eorva config set --output-path disk >/dev/null
  KEPT=/srv/vol/runs runs one 0 3 5
  rules retention_runs=1 retention_failed_runs=0
  mkdir /srv/elsewhere
  mount --move /srv/vol /srv/elsewhere
  run -1 --separate-stderr eorva runs prune
  complains 'the output folder "disk" is not available: the share "disk": its volume is not available: mount /srv/vol'
  complains '2 runs are kept: their output may be in an output folder that is not available'
  same "on record" "[3,4,5]" "$(kept)"
  mount --move /srv/elsewhere /srv/vol
  run -0 eorva runs prune
  same "then" "[5]" "$(kept)"
  same "output" 5 "$(KEPT=/srv/vol/runs folders)"
  umount /srv/vol
}

@test "folders without a record do not count towards the limit" {
  local now future=9999999999 recorded
  now=$(date +%s)
  runs one 0 $((now - 3)) $((now - 1))
  recorded=$(folders)
  mkdir -p "$KEPT/mine/$now" "$KEPT/mine/$future" "$KEPT/mixed/9"
  head -c 1048576 /dev/zero | tee "$KEPT/mine/$now/output.log" "$KEPT/mine/$future/output.log" "$KEPT/mixed/9/output.log" >"$KEPT/mixed/9/image"
  rules retention_output_size=24K
  run -0 eorva runs prune
  same "said" "removed 0 runs: 0 B" "$output"
  same "folders" "$recorded" "$(folders)"
  # A future date in the name does not count; the folder is then as old as its last change.
  touch -d '2 days ago' "$KEPT/mine/$future"
  run -0 eorva runs prune
  says "removed 0 runs and the output of 1 run: 1.0 MiB"
  same "of one" "$recorded" "$(folders)"
  same "of mine" "$now" "$(folders mine)"
  test -e "$KEPT/mixed/9/output.log"
}

@test "no link is followed" {
  runs one 0 1 6
  mkdir -p "$KEPT/victim/folder"
  echo precious | tee "$KEPT/victim/file" >"$KEPT/victim/folder/file"
  rm -r "$KEPT/one/1"
  ln -s "$KEPT/victim" "$KEPT/one/1"
  ln -s "$KEPT/victim" "$KEPT/one/2/link"
  rm "$KEPT/one/3/output.log"
  ln "$KEPT/victim/file" "$KEPT/one/3/output.log"
  mkdir -p "$KEPT/one/4/a/b/c"
  mkfifo "$KEPT/one/4/a/fifo"
  ln -s "$KEPT/victim/folder" "$KEPT/one/4/a/b/c/up"
  chmod 0 "$KEPT/one/5"
  rules retention_runs=1 retention_failed_runs=0
  run -0 timeout 60 eorva runs prune
  same "folders" 6 "$(folders)"
  same "victim" "precious precious" "$(cat "$KEPT/victim/file" "$KEPT/victim/folder/file" | paste -sd ' ')"
  mv "$KEPT/one" "$KEPT/moved"
  ln -s "$KEPT/victim" "$KEPT/one"
  mkdir "$KEPT/victim/6"
  touch "$KEPT/victim/6/output.log"
  sqlite3 "$DATABASE" "insert into task_result (result_id, task_name, start_time, stop_time) values (20, 'one', 20, 20)"
  run -0 eorva runs prune
  test -e "$KEPT/victim/6/output.log"
}

@test "a run's folder that its owner keeps filling is removed" {
  runs one 0 1 2
  chown -R alice "$KEPT/one"
  # It adds files through a descriptor, and in a folder of its own.
  setpriv --reuid alice --regid "$(id -g alice)" --clear-groups python3 - "$KEPT/one/1" <<'PYTHON' 3>&- &
import itertools, os, sys
folder = os.open(sys.argv[1], os.O_RDONLY)
os.mkdir('inner', dir_fd=folder)
inner = os.open('inner', os.O_RDONLY, dir_fd=folder)
for i in itertools.count():
    for place in folder, inner:
        try:
            os.close(os.open(str(i), os.O_CREAT | os.O_WRONLY, dir_fd=place))
        except OSError:
            sys.exit()
PYTHON
  local filler=$!
  wait_until test -e "$KEPT/one/1/inner/1000"
  rules retention_runs=1 retention_failed_runs=0
  run eorva runs prune
  kill "$filler" 2>/dev/null || true
  same "answer" "0: $output" "$status: $output"
  same "folders" 2 "$(folders)"
}

@test "another file system below a run's folder is not entered" {
  runs one 0 1 2
  mkdir "$KEPT/one/1/mounted"
  mount -t tmpfs none "$KEPT/one/1/mounted"
  echo precious >"$KEPT/one/1/mounted/file"
  rules retention_runs=1 retention_failed_runs=0
  run -1 --separate-stderr eorva runs prune
  complains "run 1 is kept: cannot remove $KEPT/one/1/mounted: another file system is mounted there"
  same "kept" "[1,2]" "$(kept)"
  same "file" precious "$(cat "$KEPT/one/1/mounted/file")"
  umount "$KEPT/one/1/mounted"
  run -0 eorva runs prune
  same "kept then" "[2]" "$(kept)"
}

# The script that the package gets.
postrm() {
  local debian=$BATS_TEST_DIRNAME/../../debian
  sed -e "/^#FOLDERS#/{r $debian/folders.sh" -e 'd}' -e '/^#DEBHELPER#/d' "$debian/eorva.postrm" >postrm
}

@test "purging the package does not empty a volume mounted in its folder" {
  local volume other=/var/lib/orva/eorvascheduler
  runs one 0 1 2
  mkdir -p "$KEPT/one/1/volume" "$other"
  for volume in "$KEPT/one/1/volume" "$other"; do
    mount -t tmpfs none "$volume"
    echo precious >"$volume/file"
  done
  postrm
  run sh postrm purge
  local answer=$status said=$output left
  left=$(cat "$KEPT/one/1/volume/file" "$other/file" | paste -sd ' ')
  umount "$KEPT/one/1/volume" "$other"
  same "answer" 0 "$answer"
  same "files of the volumes" "precious precious" "$left"
  [[ $said == *"$KEPT stays: something is mounted there"* ]]
  run -0 sh postrm purge
  [[ ! -e $KEPT && ! -e $other ]]
  install -d -m 711 "$KEPT"
  rm -rf "${KEPT:?}"/*
}

@test "sparse files and hard links do not count towards the limit" {
  runs one 0 1 3
  truncate -s 1T "$KEPT/one/3/output.log"
  head -c 1000000 /dev/zero >"$KEPT/big"
  ln "$KEPT/big" "$KEPT/one/3/again"
  rules retention_output_size=24K
  run -0 eorva runs prune
  same "folders" "1,2,3" "$(folders)"
}

@test "an invalid setting stops the command" {
  runs one 0 1 3
  rules retention_runs=few retention_output_size=1K
  run -1 --separate-stderr eorva runs prune
  complains '/etc/eorva.conf: retention_runs must be a number from 1 to 1000000, or all, not "few"'
  same "kept" "[1,2,3]" "$(kept)"
  same "folders" "1,2,3" "$(folders)"
}

@test "an owner with much output does not displace the output of others" {
  add_task two bootup bob 'exit 0'
  runs two 0 1 2
  runs one 0 3 12
  chown alice "$KEPT/one"
  chown bob "$KEPT/two"
  rules retention_output_size=40K
  run -0 eorva runs prune
  # bob needs 16 KiB and keeps them; alice has the other 24.
  same "folders of bob" "1,2" "$(folders two)"
  same "folders of alice" "10,11,12" "$(folders one)"
}

@test "output that cannot be removed counts only against its owner, and check reports it" {
  add_task two bootup bob 'exit 0'
  runs two 0 1 2
  runs one 0 3 5
  chown alice "$KEPT/one"
  chown bob "$KEPT/two"
  mkdir "$KEPT/one/3/mounted"
  mount -t tmpfs none "$KEPT/one/3/mounted"
  head -c 80000 /dev/zero >"$KEPT/one/3/output.log"
  rules retention_output_size=40K
  run -1 --separate-stderr eorva runs prune
  complains "the output in one/3 is kept: cannot remove $KEPT/one/3/mounted: another file system is mounted there"
  same "folders of bob" "1,2" "$(folders two)"
  same "folders of alice" "3" "$(folders one)"
  run eorva check --json
  same "reported" '[["problem","output","eorva runs prune"]]' \
    "$(jq -c '[.findings[] | select(.text | contains("is kept: cannot remove")) | [.severity, .area, .advice]]' <<<"$output")"
  umount "$KEPT/one/3/mounted"
  run -0 eorva runs prune
  run eorva check --json
  same "then" '[]' "$(jq -c '[.findings[] | select(.text | contains("is kept: cannot remove"))]' <<<"$output")"
}

@test "folders of any depth are removed with their run" {
  runs one 0 1 2
  (
    cd "$KEPT/one/1" || exit 1
    for ((depth = 0; depth < 300; depth++)); do mkdir deep && cd deep || exit 1; done
  )
  rules retention_runs=1 retention_failed_runs=0
  run -0 eorva runs prune
  same "folders" "2" "$(folders)"
}

#!/usr/bin/env bats
# The configuration.

load common

setup() {
  fresh_store
  cp /etc/eorva.conf "$BATS_TEST_TMPDIR/eorva.conf"
}

teardown() { cp "$BATS_TEST_TMPDIR/eorva.conf" /etc/eorva.conf; }

@test "show prints the output path" {
  run -0 eorva config show
  same "keys and values" "$(sed 's/ *: */=/; s/=-$/=/' <<<"$output" | tr -s ' ')" \
    "$(sed -n 's/^\([a-z_]*\): .*/\1/p' <<<"$output" | while read -r key; do echo "$key=$(eorva config get "$key")"; done)"
  says "output_path:            scheduler"
  says "enable_output:          yes"
  says "retention_runs:         100"
  same "as JSON" '{"enable_output":true,"output_path":"scheduler","type":"eorvascheduler"}' "$(eorva config show --json | jq -cS 'del(.settings)')"
  same "settings" '["100","10s"]' "$(eorva config show --json | jq -cS '[.settings.retention_runs, .settings.stop_grace]')"
}

@test "a folder inside a share is accepted" {
  run -0 eorva config set --output-path scheduler/by-task/runs
  same "path" '"scheduler/by-task/runs"' "$(eorva config show --json | jq .output_path)"
  add_task one bootup alice 'echo here'
  run -0 eorva run one
  same "printed" here "$(eorva runs output 1)"
  same "folders on the way" "root 711 root 711 alice 700" \
    "$(stat -c '%U %a' "$KEPT/by-task" "$KEPT/by-task/runs" "$KEPT/by-task/runs/one" | paste -sd ' ')"
}

@test "an unusable output path is refused and named" {
  local place
  for place in 'no-share' '../etc' 'scheduler/..' 'scheduler//x' 'scheduler/' '/etc' 'scheduler/$(id)' "scheduler/it's" ' '; do
    run -1 --separate-stderr eorva config set --output-path "$place"
    complains "the output path \"$place\" cannot be used"
  done
  same "path" '"scheduler"' "$(eorva config show --json | jq .output_path)"
}

@test "output can be switched off and on, and other members are kept" {
  jq '.eorvascheduler.colour = "blue" | .web = {"type": "web", "port": 1}' "$STORE/eorvascheduler-conf.json" >conf.json
  cp conf.json "$STORE/eorvascheduler-conf.json"
  run -0 eorva config set --output off
  says "enable_output:          no"
  same "file" '["blue",false,"scheduler",1]' \
    "$(jq -c '[.eorvascheduler.colour, .eorvascheduler.enable_output, .eorvascheduler.output_path, .web.port]' "$STORE/eorvascheduler-conf.json")"
  run -0 eorva config set --output on
  says "enable_output:          yes"
}

@test "output cannot be switched on without an output path" {
  rm "$STORE/eorvascheduler-conf.json"
  run -1 --separate-stderr eorva config set --output on
  complains "no output path is set; set output_path, too"
}

@test "with tasks of several owners, output is switched off only with --force" {
  add_task one bootup alice 'exit 0'
  run -0 eorva config set --output off
  run -0 eorva config set --output on
  add_task two bootup bob 'exit 0'
  run -1 --separate-stderr eorva config set --output off
  complains "there are tasks of 2 owners"
  run -0 eorva config set --output off --force
  run -1 --separate-stderr eorva fire bootup
  complains "to allow it, set shared_script=yes in /etc/eorva.conf; to keep output, use: eorva config set --output-path SHARE"
  same "runs" 0 "$(eorva runs list --json | jq length)"
  echo shared_script=yes >>/etc/eorva.conf
  run -0 --separate-stderr eorva fire bootup
  complains "warning: no output is kept, so a script of one owner can be run with the rights of another"
  sed -i /shared_script=yes/d /etc/eorva.conf
  run -1 --separate-stderr eorva runs output 1
  complains "run 1 has no output.log"
}

@test "without an output path, an event with tasks of several owners is not fired" {
  add_task one bootup alice 'exit 0'
  add_task two bootup bob 'exit 0'
  rm "$STORE/eorvascheduler-conf.json"
  run -1 --separate-stderr eorva fire bootup
  complains "eorva config set --output-path SHARE"
  same "runs" 0 "$(eorva runs list --json | jq length)"
}

@test "a run without an output folder leaves no file behind" {
  rm "$STORE/eorvascheduler-conf.json"
  add_task one bootup alice 'echo something'
  run -0 eorva fire bootup
  same "left in /tmp" "" "$(find /tmp /var/tmp "$KEPT" -maxdepth 2 -name 'eorvascheduler*' 2>/dev/null)"
}

@test "with a damaged configuration, commands fail and do not overwrite it" {
  echo '{ torn' >"$STORE/eorvascheduler-conf.json"
  add_task one bootup alice 'exit 0'
  run -1 --separate-stderr eorva fire bootup
  complains "$STORE/eorvascheduler-conf.json"
  run -1 --separate-stderr eorva config set --output off
  run -1 --separate-stderr eorva config show
  same "file" "{ torn" "$(cat "$STORE/eorvascheduler-conf.json")"
}

@test "a setting that is not set has its default" {
  same "of all" "scheduler yes 100 20 10G 5m 10s 4096 no no" "$(for key in output_path enable_output retention_runs retention_failed_runs \
    retention_output_size shutdown_budget stop_grace max_processes shared_script unit_fails; do eorva config get $key; done | paste -sd ' ')"
  rm /etc/eorva.conf
  same "without a file" 100 "$(eorva config get retention_runs)"
}

@test "the installed file names the defaults" {
  local line
  while read -r line; do
    same "${line%%=*}" "${line#*=}" "$(eorva config get "${line%%=*}")"
  done < <(sed -n 's/^#\([a-z_]*=\)/\1/p' /etc/eorva.conf)
  same "keys" 9 "$(grep -c '^#[a-z_]*=' /etc/eorva.conf)"
}

@test "settings are read from the file, and the last line of a key wins" {
  printf '%s\n' 'retention_runs = 7' 'retention_runs="all"' ' retention_output_size=0' '; stop_grace=1' >/etc/eorva.conf
  same "of all" "all 0 10s" "$(for key in retention_runs retention_output_size stop_grace; do eorva config get $key; done | paste -sd ' ')"
}

@test "an invalid value is reported with its file and its key" {
  local line
  for line in 'retention_runs=0' 'retention_runs=-1' 'retention_runs=' 'retention_runs=1e3' 'retention_runs=1000001' \
    'retention_failed_runs=none' 'retention_output_size=10X' 'retention_output_size=G' 'retention_output_size=10GB' \
    'retention_output_size=9000000000G' 'retention_output_size=99999999999999999999' 'shutdown_budget=0' \
    'stop_grace=86401' 'stop_grace=1y' 'shutdown_budget=2d' 'shared_script=true'; do
    echo "$line" >/etc/eorva.conf
    run -1 --separate-stderr eorva config get "${line%%=*}"
    complains "/etc/eorva.conf: ${line%%=*} must be "
    complains "not \"${line#*=}\""
  done
  rm /etc/eorva.conf
  mkdir /etc/eorva.conf
  run -1 --separate-stderr eorva config get stop_grace
  complains "cannot read /etc/eorva.conf: Is a directory"
  rmdir /etc/eorva.conf
}

@test "an unknown setting is wrong usage, and the known ones are named" {
  run -2 --separate-stderr eorva config get retention
  complains 'there is no setting "retention"'
  complains "output_path, enable_output, retention_runs, retention_failed_runs"
}

@test "a change of a setting keeps the rest of the file" {
  run -0 eorva config set retention_runs=7 retention_output_size=20G
  same "one" 7 "$(eorva config get retention_runs)"
  same "other" 20G "$(eorva config get retention_output_size)"
  same "difference" "+retention_runs=7 +retention_output_size=20G" \
    "$(diff -u "$BATS_TEST_TMPDIR/eorva.conf" /etc/eorva.conf | grep '^[+-][^+-]' | paste -sd ' ')"
  same "below its comment" "#retention_runs=100" "$(grep -B1 '^retention_runs=7' /etc/eorva.conf | head -n 1)"
  run -0 eorva config set retention_runs=8
  same "lines" 1 "$(grep -c '^retention_runs' /etc/eorva.conf)"
  chmod 640 /etc/eorva.conf
  mv /etc/eorva.conf /etc/real.conf
  ln -s real.conf /etc/eorva.conf
  run -0 eorva config set stop_grace=3
  same "mode" 640 "$(stat -c %a /etc/real.conf)"
  test -L /etc/eorva.conf
  rm /etc/eorva.conf
  run -0 eorva config set stop_grace=4
  same "without a file" "stop_grace=4" "$(cat /etc/eorva.conf)"
  same "left over" "" "$(find /etc -maxdepth 1 -name 'eorva.conf.*')"
}

@test "several values are all set, or none" {
  run -2 --separate-stderr eorva config set retention_runs=7 stop_grace=-1 shared_script=maybe output_path=nowhere retention=3
  complains 'stop_grace must be a duration from 0s to 1d, as in 90s or 5m, not "-1"'
  complains 'shared_script must be yes or no, not "maybe"'
  complains 'the share "nowhere": '
  complains 'there is no setting "retention"'
  same "unchanged" 100 "$(eorva config get retention_runs)"
  # The file system has space for the settings, but not for a second file.
  mount -t tmpfs -o size=16k,nr_inodes=2 none /mnt
  cp /etc/eorva.conf /mnt/eorva.conf
  mv /etc/eorva.conf /etc/aside
  ln -s /mnt/eorva.conf /etc/eorva.conf
  run -1 --separate-stderr eorva config set output_path=scheduler/other retention_runs=7
  complains "cannot create /mnt/eorva.conf.new"
  rm /etc/eorva.conf
  mv /etc/aside /etc/eorva.conf
  umount /mnt
  same "path" scheduler "$(eorva config get output_path)"
  run -2 eorva config set retention_runs
  run -2 eorva config set retention_runs=1 retention_runs=2
}

@test "shared_script=yes allows output to be switched off" {
  add_task one bootup alice 'exit 0'
  add_task two bootup bob 'exit 0'
  run -1 --separate-stderr eorva config set enable_output=no
  complains "there are tasks of 2 owners"
  run -0 eorva config set enable_output=no shared_script=yes
  same "output" no "$(eorva config get enable_output)"
}

@test "init sets the installed share as output path, and keeps an existing path" {
  rm -r "$STORE"
  run -0 eorva init
  same "place" scheduler "$(eorva config get output_path)"
  run -0 eorva config set --output-path scheduler/inside
  run -0 eorva config set --output off
  run -0 eorva init
  same "place then" "scheduler/inside no" "$(eorva config get output_path) $(eorva config get enable_output)"
  rm -r "$STORE"
  cp /etc/orva/shares.conf shares.conf
  : >/etc/orva/shares.conf
  run -0 eorva init
  says "not set: no output is kept"
  cp shares.conf /etc/orva/shares.conf
}

@test "config set ends with 0 when it has set the value, even if the result cannot be shown" {
  run -0 --separate-stderr bash -c 'eorva config set retention_runs=6 >/dev/full'
  complains "the change is made, but cannot write to standard output"
  same "set" 6 "$(eorva config get retention_runs)"
  echo 'stop_grace=never' >>/etc/eorva.conf
  run -0 --separate-stderr eorva config set retention_runs=8
  complains "stop_grace"
  same "set" 8 "$(eorva config get retention_runs)"
}

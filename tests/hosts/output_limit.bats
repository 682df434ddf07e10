#!/usr/bin/env bats
# The limit for the output of a run.

load common

setup() {
  fresh_store
  : >/etc/eorva.conf
  eorva config set output_limit=100K >/dev/null
}

# size RUN: bytes of its output, and the KiB that it takes.
size() { stat -c '%s' "$KEPT/$1"/*/output.log; }
takes() { du -k "$KEPT/$1"/*/output.log | cut -f 1; }

@test "output beyond the limit is cut, the run goes on, and its record tells" {
  add_task much bootup alice 'yes 123456789 | head -c 3000000; echo "size $(stat -Lc %s /proc/$$/fd/1)" >/tmp/seen; exit 4'
  run -3 eorva run much
  same "what the script saw" "size 3000000" "$(cat /tmp/seen)"
  run -0 eorva runs output 1
  same "first line" 123456789 "${lines[0]}"
  same "last line" "[the output was cut here: the run wrote 2.9 MiB, and the limit is 100.0 KiB]" "${lines[-1]}"
  same "kept" 102400 "$(($(size much) - $(tail -n 1 "$KEPT"/much/*/output.log | wc -c) - 1))"
  same "on record" '[3000000,{"exit":4}]' "$(eorva runs show 1 --json | jq -c '[.output_cut, .end]')"
  run -0 eorva runs show 1
  says "at the limit; the run wrote 2.9 MiB"
}

@test "output within the limit is not touched" {
  add_task little bootup alice 'yes | head -c 102400'
  run -0 eorva run little
  same "kept" 102400 "$(size little)"
  same "on record" 'null' "$(eorva runs show 1 --json | jq -c .output_cut)"
}

@test "space behind the limit is given back while the run goes on, and what is shown ends there" {
  mkfifo -m 666 /tmp/go
  add_task slow bootup alice 'yes 123456789 | head -c 3000000; read -r line </tmp/go; echo end'
  eorva run slow >/dev/null &
  wait_until runs_are 1
  wait_until test -s "$KEPT"/slow/*/output.log
  eorva runs output 1 -f >followed &
  local follower=$!
  wait_until eval '(($(takes slow) <= 104))'
  same "size" 3000000 "$(size slow)"
  [[ $(eorva runs output 1 | wc -c) -le 110000 ]]
  echo >/tmp/go
  wait %1
  wait "$follower"
  same "last line" "[the output was cut here: the run wrote 2.9 MiB, and the limit is 100.0 KiB]" "$(tail -n 1 followed)"
  [[ $(tr -d '1-9\n' <followed | head -c 200 | wc -c) -lt 100 ]]
}

@test "a run that ended well stays so when the full disk has no room for the last line" {
  eorva config set output_limit=4K >/dev/null
  mount -t tmpfs -o size=400k,mode=711 tmpfs "$KEPT"
  mkfifo -m 666 /tmp/go
  add_task full bootup alice 'head -c 100000 /dev/zero; read -r line </tmp/go; cat /dev/zero >"${0%/*}/rest" 2>/dev/null; exit 0'
  eorva run full >/dev/null &
  wait_until runs_are 1
  wait_until eval '[[ $(size full) == 100000 ]] && (($(takes full) <= 8))'
  echo >/tmp/go
  wait %1
  same "on record" '[100000,{"exit":0}]' "$(eorva runs show 1 --json | jq -c '[.output_cut, .end]')"
  umount -l "$KEPT"
}

@test "a task has its own limit, or none" {
  add_task own bootup alice 'yes | head -c 300000' --output-limit 200K
  add_task free bootup alice 'yes | head -c 300000' --output-limit 0
  run -0 eorva fire bootup
  same "cut" '[["free",null],["own",300000]]' "$(eorva runs list --json | jq -c 'map([.task_name, .output_cut]) | sort')"
  run -0 eorva export
  says "output_limit: 204800"
  run -0 eorva task show free
  [[ $output =~ "output limit:"\ +- ]]
  run -0 eorva task edit free --output-limit default
  run -0 eorva run free
  same "cut by the setting" 300000 "$(eorva runs show 3 --json | jq .output_cut)"
  eorva export >state.yaml
  sed -i '/output_limit/d' state.yaml
  run -0 eorva apply state.yaml --yes
  same "of a document without it" null "$(eorva task show own --json | jq .output_limit)"
  run -2 --separate-stderr eorva task edit own --output-limit few
  complains '"few" is no size'
}

@test "without a limit, output is not watched" {
  eorva config set output_limit=0 >/dev/null
  add_task much bootup alice 'yes | head -c 3000000'
  run -0 eorva run much
  same "kept" 3000000 "$(size much)"
}

#!/usr/bin/env bats
# How a task says that its runs are launched: directory, priorities, memory, variables.

load common

setup() {
  fresh_store
  : >/etc/eorva.conf
}

teardown() {
  rm -rf /srv/launch /root/closed
}

# out TASK: the output of its newest run.
out() { eorva runs output "$(run_of "$1")"; }

@test "a task without settings starts as ever" {
  add_task plain bootup alice 'pwd; nice; ionice -p $$; env | grep -c . ; env | cut -d = -f 1 | sort'
  eorva run plain >/dev/null
  same "output" "/
0
none: prio 0
9
EORVA_EVENT
EORVA_FIRED_AT
HOME
LANG
LOGNAME
PATH
PWD
SHELL
USER" "$(out plain | grep -v '^_$' | sed 's/^10$/9/')"
}

@test "a run starts in its directory, with its priorities and variables" {
  install -d -o alice -m 700 /srv/launch
  add_task set bootup alice 'pwd; echo "$PWD"; nice; ionice -p $$; echo "$COLOUR|$PATH|$HOME"' \
    --directory /srv/launch --nice 7 --io-class best-effort:6 --environment 'COLOUR=dark = "blue"' --environment PATH=/usr/bin:/bin
  run -0 eorva run set
  same "output" '/srv/launch
/srv/launch
7
best-effort: prio 6
dark = "blue"|/usr/bin:/bin|/home/alice' "$(out set)"
  eorva task edit set --io-class idle --nice -5 --no-environment >/dev/null
  eorva run set >/dev/null
  same "after the edit" '-5
idle
||' "$(out set | sed -n '3,4p;5s/|.*|.*/||/p')"
}

@test "the next task of the event has its own settings, also without an output folder" {
  eorva config set enable_output=no shared_script=yes >/dev/null
  add_task a bootup alice 'nice >/tmp/a; pwd >>/tmp/a' --nice 3 --directory /tmp
  add_task b bootup alice 'nice >/tmp/b; pwd >>/tmp/b' --nice 4 --after a
  add_task c bootup alice 'nice >/tmp/c; pwd >>/tmp/c' --after b
  run -0 eorva fire bootup
  same "settings" "3 /tmp 4 / 0 /" "$(cat /tmp/a /tmp/b /tmp/c | paste -sd ' ')"
  rm /tmp/a /tmp/b /tmp/c
}

@test "a variable of the event wins over that of the task" {
  add_task both bootup alice 'echo "$COLOUR $SIZE"' --environment COLOUR=own --environment SIZE=8
  run -0 eorva fire bootup --env COLOUR=given
  same "output" "given 8" "$(out both)"
}

@test "a run whose owner cannot enter the directory fails, and tells why" {
  add_task lost bootup alice 'echo never' --directory /srv/launch
  run -3 eorva run lost
  says "lost: could not start (directory)"
  same "output" "eorva: cannot enter the directory /srv/launch: No such file or directory" "$(out lost)"
  run -0 eorva runs show "$(run_of lost)"
  says "could not start: its owner could not enter the directory of the task: No such file or directory"
  same "for programs" '["No such file or directory",{"not_started":true}]' "$(eorva runs show "$(run_of lost)" --json | jq -c '[.directory_error, .end]')"
  run -0 eorva check
  says "directory: alice cannot enter /srv/launch now: No such file or directory; a run fails then"
  says "eorva task edit lost --directory FOLDER"
}

@test "whether the owner can enter the directory is looked up when the task is saved" {
  mkdir -m 700 /root/closed
  install -d -m 700 -o alice /srv/launch
  install -d -m 750 -o root -g bob /srv/of-group
  save() { run -0 --separate-stderr eorva task add "$1" --event bootup --owner "$2" --script - --directory "$3" <<<true; }
  save a alice /root/closed
  complains "directory: alice cannot enter /root/closed now: Permission denied; a run fails then"
  save b alice /srv/launch
  same "her own" "" "$stderr"
  save c bob /srv/launch
  complains "bob cannot enter /srv/launch now: Permission denied"
  save d bob /srv/of-group
  same "that of the group" "" "$stderr"
  touch /srv/launch/file
  run -0 --separate-stderr eorva task edit b --directory /srv/launch/file
  complains "alice cannot enter /srv/launch/file now: Not a directory"
  run -0 --separate-stderr eorva task edit d --owner alice
  complains "alice cannot enter /srv/of-group now: Permission denied"
  save e root /root/closed
  same "root" "" "$stderr"
  rm -r /root/closed /srv/of-group
}

@test "an owner reaches nothing through the directory that she may not reach" {
  mkdir -m 700 /root/closed
  echo secret >/root/closed/file
  add_task sly bootup alice 'cat file; ls' --directory /root/closed
  run -3 eorva run sly
  same "output" "eorva: cannot enter the directory /root/closed: Permission denied" "$(out sly)"
  # A link in a folder of hers, which she changes at any time.
  install -d -o alice /srv/launch
  ln -s /root/closed /srv/launch/way
  eorva task edit sly --directory /srv/launch/way >/dev/null
  run -3 eorva run sly
  same "through a link" "eorva: cannot enter the directory /srv/launch/way: Permission denied" "$(out sly)"
  # Swapped all the time: from a folder that she may enter to one that she may not.
  install -d -o alice /srv/launch/own
  setpriv --reuid=alice --regid=alice --init-groups sh -c 'while :; do ln -sfn /srv/launch/own /srv/launch/way; ln -sfn /root/closed /srv/launch/way; done' &
  local swapper=$!
  local i
  for ((i = 0; i < 4; i++)); do
    eorva run sly >/dev/null || true
    [[ $(out sly) != *secret* && $(out sly) != *file$'\n'* ]]
  done
  kill "$swapper"
}

@test "wrong settings are refused, and name the value" {
  add_task t bootup alice true
  local line
  while IFS='|' read -r option value why; do
    run --separate-stderr eorva task edit t "$option" "$value"
    [[ $status == 1 || $status == 2 ]]
    complains "$why"
  done <<'LINES'
--directory|srv|directory: must be an absolute path
--nice|20|nice: must be from -20 (first) to 19
--nice|low|"low" is not a whole number
--io-class|fast|I/O class: must be idle, best-effort, realtime or none
--io-class|best-effort:8|I/O class: must be idle
--io-class|idle:1|I/O class: must be idle
--memory-limit|much|"much" is no size
--memory-limit|4K|memory limit: must be 1M or more
--environment|HOME=/x|environment: "HOME" cannot be set: the scheduler sets it
--environment|EORVA_DISK=/x|environment: "EORVA_DISK" cannot be set: the scheduler sets it
--environment|2x=1|environment: "2x" cannot be set: a name has
--environment|COLOUR|"COLOUR" must have the form NAME=VALUE
LINES
  same "unchanged" '["/",0,"none",0,{}]' "$(eorva task show t --json | jq -c '[.directory, .nice, .io_class, .memory_limit, .environment]')"
}

@test "export, apply, copy and backup keep the settings" {
  add_task t bootup alice true --directory /tmp --nice 3 --io-class idle --memory-limit 64M --environment 'A=x, y: "z"' --environment NO=yes
  local settings='["/tmp",3,"idle",67108864,{"A":"x, y: \"z\"","NO":"yes"}]'
  of() { eorva task show "$1" --json | jq -c '[.directory, .nice, .io_class, .memory_limit, .environment]'; }
  eorva task copy t u >/dev/null
  same "copied" "$settings" "$(of u)"
  run -0 eorva task show u
  says "A='x, y: \"z\"' NO=yes"
  eorva export >state.yaml
  eorva backup all.backup >/dev/null
  run -0 eorva apply state.yaml --dry-run
  says "nothing"
  eorva task edit t --directory / --nice 0 --io-class none --memory-limit 0 --no-environment >/dev/null
  same "back" '["/",0,"none",0,{}]' "$(of t)"
  run -0 eorva apply state.yaml --yes
  same "applied" "$settings" "$(of t)"
  eorva export --json >state.json
  eorva task delete t --yes >/dev/null
  run -0 eorva apply state.json --yes
  same "applied from JSON" "$settings" "$(of t)"
  eorva task delete t --yes >/dev/null
  run -0 eorva restore all.backup --yes
  same "restored" "$settings" "$(of t)"
  sed -i '/directory:\|nice:\|io_class:\|memory_limit:\|environment:\|      A:\|"NO":/d' state.yaml
  run -0 eorva apply state.yaml --yes
  same "of a document without them" '["/",0,"none",0,{}]' "$(of t)"
}

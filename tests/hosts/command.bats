#!/usr/bin/env bats
# The command itself: usage, results, who may run it, the store.

load common

setup() { fresh_store; }

@test "the help of every command shows examples" {
  local command
  for command in "" init "task add" task complete; do
    # shellcheck disable=SC2086
    run -0 --separate-stderr eorva $command --help
    says "Examples:"
    same "standard error of '$command --help'" "" "$stderr"
  done
}

@test "version is shown on standard output" {
  run -0 --separate-stderr eorva --version
  [[ $output =~ ^eorva\ [0-9]+\.[0-9]+\.[0-9]+$ ]]
}

@test "wrong usage exits with 2 and names the wrong word" {
  run -2 --separate-stderr eorva nonsense
  same "standard output" "" "$output"
  complains "nonsense"
  run -2 --separate-stderr eorva task list --frobnicate
  complains "--frobnicate"
  run -2 --separate-stderr eorva task show
  complains "task"
  run -2 --separate-stderr eorva runs list --before many
  complains "many"
  run -2 --separate-stderr eorva runs list --before=-3
  complains "-3"
  run -2 --separate-stderr eorva --color=perhaps task list
  complains "perhaps"
  run -2 --separate-stderr eorva task add lonely
  complains "--event"
  run -2 --separate-stderr eorva fire ""
  complains "event is empty"
  run -2 --separate-stderr eorva config set
  complains "nothing to set"
}

@test "other users are refused" {
  run -1 --separate-stderr setpriv --reuid=alice --regid=alice --init-groups /usr/sbin/eorva task list
  complains "must be run by root: real and effective user must be 0, not 7001 and 7001"
  same "standard output" "" "$output"
}

@test "a process with a root user id and another real user id is refused" {
  run -1 --separate-stderr setpriv --ruid=alice /usr/sbin/eorva task list
  complains "not 7001 and 0"
}

@test "every user can see help and version" {
  run -0 setpriv --reuid=alice --regid=alice --init-groups /usr/sbin/eorva --version
  run -0 setpriv --reuid=alice --regid=alice --init-groups /usr/sbin/eorva task --help
}

@test "init creates the store for root alone, and a second init changes nothing" {
  rm -rf "$STORE"
  run -0 --separate-stderr eorva init
  says "$DATABASE"
  same "owner and mode of the database" "root 700" "$(stat -c '%U %a' "$DATABASE")"
  same "mode of the configuration" 644 "$(stat -c %a "$STORE/eorvascheduler-conf.json")"
  add_task one bootup alice 'exit 0'
  eorva config set --output-path scheduler >/dev/null
  run -0 eorva init
  says "output         scheduler"
  same "tasks" 1 "$(eorva task list --json | jq length)"
}

@test "init refuses an unusable output path, and names it" {
  rm -rf "$STORE"
  run -1 --separate-stderr eorva init --output-path attic
  complains 'the output path "attic" cannot be used: the share "attic": it is not defined'
}

@test "without a store, every command names the command that creates it" {
  rm -rf "$STORE"
  local command
  for command in "task list" "task show x" "task graph x" "task delete x --yes" "task edit x" "task enable x" \
    "task rename x y --yes" "task copy x y" "task relate x --needs" "event plan x" "explain x" "fire x" "run x" "runs list" \
    "runs show 1" "runs output 1"; do
    # shellcheck disable=SC2086
    run -1 --separate-stderr eorva $command
    complains "create it with: eorva init"
    [[ ! -e $DATABASE ]]
  done
}

@test "a file that is not a database is an error, and stays unchanged" {
  rm -f "$DATABASE"*
  echo "these are my notes, and they are long enough to be no database" >"$DATABASE"
  run -1 --separate-stderr eorva task list
  complains "$DATABASE"
  same "the file" "these are my notes, and they are long enough to be no database" "$(cat "$DATABASE")"
}

@test "--color adds colour, but never to JSON" {
  add_task one bootup alice 'exit 0'
  run -0 eorva run one
  run -0 eorva --color=always runs list
  says $'\033['
  run -0 eorva runs list
  [[ $output != *$'\033['* ]]
  run -0 eorva --color=always runs list --json
  [[ $output != *$'\033['* ]]
}

@test "a terminal gets colour, unless NO_COLOR is set" {
  add_task one bootup alice 'exit 0'
  run -0 eorva run one
  run -0 script -qec 'TERM=xterm eorva runs list' /dev/null
  says $'\033['
  run -0 script -qec 'TERM=xterm NO_COLOR=1 eorva runs list' /dev/null
  [[ $output != *$'\033[3'* ]]
  run -0 script -qec 'TERM=xterm eorva --color=never runs list' /dev/null
  [[ $output != *$'\033[3'* ]]
}

@test "--log-stdout sends log lines to standard output" {
  run -1 eorva --log-stdout --debug task show nobody
  run -0 eorva --log-stdout --debug fire hourly
  add_task one bootup alice 'exit 0'
  run -0 eorva --log-stdout --debug fire bootup
  says "jTaskArray size=1"
  run -0 eorva --log-stdout fire bootup
  [[ $output != *"jTaskArray size"* ]]
}

@test "output that cannot be written is a failure" {
  add_task one bootup alice 'exit 0'
  run -1 --separate-stderr bash -c 'eorva task list >/dev/full'
  complains "cannot write to standard output"
}

@test "help that cannot be written is a failure" {
  run -1 --separate-stderr bash -c 'eorva --help >/dev/full'
  complains "cannot write to standard output: No space left on device"
  run -1 --separate-stderr bash -c 'eorva --version >/dev/full'
}

@test "an empty value is accepted for texts, and wrong usage elsewhere" {
  add_task one bootup alice 'echo "[${A-unset}]$B"' --description 'some text'
  run -0 eorva task edit one --description= --disabled
  same "description and switch" '["",false]' "$(eorva task show one --json | jq -c '[.description, .enable]')"
  eorva task edit one --description 'some text' --enabled >/dev/null
  run -0 eorva task edit one --description '' --disabled
  same "description and switch" '["",false]' "$(eorva task show one --json | jq -c '[.description, .enable]')"
  local line
  while read -r line; do
    eval "run -2 --separate-stderr eorva $line"
    [[ $stderr == *"must not be empty"* || $stderr == *"takes no value"* ]] || { echo "$line: $stderr" >&2; return 1; }
  done <<'END'
runs list --task= --json
runs list --task '' --json
runs list --since= --json
task list --event= --json
config set --output-path= retention_runs=5
task edit one --script ''
task edit one --script=
task edit one --record ''
task edit one --mail= --disabled
task edit one --event= --disabled
task edit one --after= --disabled
task delete one --yes=
fire bootup --env=
log --since=
END
  same "still there" '["one"]' "$(eorva task list --json | jq -c 'map(.task_name)')"
  run -0 eorva run one --env=A= --env B=--yes= --json
  same "environment" '[]--yes=' "$(eorva runs output 1)"
}

@test "a run number must be a positive whole number" {
  local number
  for number in 0 00x 1.5 1e3 99999999999999999999 9223372036854775808; do
    run -1 --separate-stderr eorva runs output "$number"
    complains "$number"
    run -2 --separate-stderr eorva runs list --before "$number"
    complains "\"$number\" is "
  done
  run -1 --separate-stderr eorva runs output 9223372036854775807
  complains "there is no run 9223372036854775807"
}

@test "control characters in scripts, texts and names do not reach the terminal" {
  printf 'echo \033]0;title\007\n\302\233\n' | eorva task add one --event bootup --owner alice --script - >/dev/null
  sqlite3 "$DATABASE" "update task set description = 'a' || char(27) || '[2Jb'"
  run -0 eorva task show one
  says $'echo \033]0;title\007\n\302\233'
  says 'a^[[2Jb'
  run -0 script -qec 'eorva task show one' /dev/null </dev/null
  says 'echo ^[]0;title^G'
  says '<U+009B>'
  says 'a^[[2Jb'
  [[ $output != *$'\033'* && $output != *$'\302\233'* ]]
  run -1 script -qec $'eorva task show $\'x\\033[2J\'' /dev/null </dev/null
  says 'there is no task "x^[[2J"'
}

@test "a limit for the size of files is an error, not the end" {
  add_task one bootup alice "exit 0 # $(printf '%0100000d' 0)"
  # Enough for the store, which may have to make files beside it.
  run -1 bash -c 'set -o pipefail; (ulimit -f 64; eorva export >out) 2>&1 | cat'
  says "File too large"
  run -1 bash -c 'set -o pipefail; (ulimit -f 64; eorva backup here.db) 2>&1 | cat'
  says "here.db"
}

#!/usr/bin/env bats
# Output and scripts of runs, and their differences.

load common

setup() {
  fresh_store
  mkdir -p /srv/old
  grep -q '^\[old\]' /etc/orva/shares.conf || printf '[old]\npath = /srv/old\n' >>/etc/orva/shares.conf
}

# on_terminal COMMAND...: the output of the command on a terminal.
on_terminal() { script -qec "$*" /dev/null </dev/null | tr -d '\r'; }

@test "output and script are those of the run, not of the current task" {
  add_task one bootup alice 'echo first; echo error >&2'
  eorva run one >/dev/null
  eorva task delete one --yes >/dev/null
  add_task one bootup alice 'echo second'
  eorva run one >/dev/null
  same "output" second "$(eorva runs output "$(run_of one)")"
  same "script" "echo second" "$(eorva runs script "$(run_of one)")"
  eorva task edit one --script - <<<'echo third'
  eorva run one >/dev/null
  same "output of the newest run" third "$(eorva runs output one)"
  same "its script" "echo third" "$(eorva runs script one)"
  same "its number" "$(run_of one)" "$(eorva runs show one --json | jq .result_id)"
}

@test "a long log is not read into memory" {
  add_task long bootup alice 'head -c 200000000 /dev/zero'
  run -0 eorva run long
  same "bytes" 200000000 "$(eorva runs output 1 | wc -c)"
  # Measured after half of the output. With sanitizers the program takes some 150 MB, and would take
  # some 350 with the log.
  run -0 bash -c 'eorva runs output 1 | { head -c 100000000 >/dev/null; grep VmHWM "/proc/$(pgrep -x eorva)/status"; cat >/dev/null; }'
  [[ $output =~ VmHWM:[[:space:]]+([0-9]+) ]]
  ((BASH_REMATCH[1] < 250000)) || { echo "$output" >&2; return 1; }
}

@test "bytes pass through unchanged" {
  add_task raw bootup alice 'printf "a\\000b\\377\\033[31m"'
  run -0 eorva run raw
  same "bytes" "$(printf 'a\000b\377\033[31m' | od -c)" "$(eorva runs output 1 | od -c)"
}

@test "missing output is reported" {
  add_task one bootup alice 'echo gone'
  run -0 eorva run one
  rm -r "$KEPT/one"
  run -1 --separate-stderr eorva runs output 1
  complains "$KEPT/one"
}

@test "a file that the owner created instead of an output is not shown" {
  add_task one bootup alice 'exit 0'
  run -0 eorva run one
  local file
  file=$(echo "$KEPT"/one/*/output.log)
  rm "$file"
  ln -s /etc/shadow "$file"
  run -1 --separate-stderr eorva runs output 1
  complains "output.log"
  rm "$file"
  echo secret >"$KEPT/secret"
  ln "$KEPT/secret" "$file"
  run -1 --separate-stderr eorva runs output 1
  complains "it is not a regular file"
  rm "$file"
  mkfifo "$file"
  run -1 --separate-stderr timeout 10 eorva runs output 1
  complains "it is not a regular file"
  rm "$file"
  mkdir "$file"
  run -1 --separate-stderr eorva runs output 1
  complains "output.log"
  mv "$KEPT/one" "$KEPT/kept"
  ln -s "$KEPT/kept" "$KEPT/one"
  run -1 --separate-stderr eorva runs script 1
  complains "$KEPT/one"
}

@test "the last lines are found from the end" {
  add_task lines bootup alice 'seq 1 30000; printf unfinished'
  run -0 eorva run lines
  same "two" "$(printf '30000\nunfinished')" "$(eorva runs output 1 --tail 2)"
  same "none" "" "$(eorva runs output 1 --tail 0)"
  same "more than there are" 30001 "$(eorva runs output 1 --tail 99999 | grep -c .)"
  same "across pieces" 20000 "$(eorva runs output 1 --tail 20000 | grep -c .)"
  run -2 eorva runs output 1 --tail -1
}

@test "an open run is followed to its end" {
  mkfifo one two
  add_task slow bootup alice "echo first; read -r line <$PWD/one; echo \"\$line\"; read -r line <$PWD/two; echo last"
  eorva run slow >/dev/null &
  wait_until runs_are 1
  eorva runs output 1 -f >followed &
  local follower=$!
  wait_until grep -q first followed
  echo second >one
  wait_until grep -q second followed
  kill -0 "$follower"
  echo >two
  wait "$follower"
  same "all of it" "first second last" "$(paste -sd ' ' followed)"
  wait
  same "once it has ended" "last" "$(eorva runs output 1 --follow --tail 1)"
}

@test "following ends when the run is killed" {
  mkfifo /tmp/go
  add_task slow bootup alice 'echo $$ >/tmp/pid; echo first; read -r line </tmp/go'
  eorva run slow >/dev/null &
  wait_until test -s /tmp/pid
  wait_until runs_are 1
  eorva runs output 1 -f >followed &
  local follower=$!
  wait_until grep -q first followed
  kill -KILL "$(cat /tmp/pid)"
  wait "$follower"
  wait || true
}

@test "control characters of a script do not reach the terminal" {
  add_task hostile bootup alice 'printf "\\033]0;title\\007\\033[2Jplain \\302\\233 \\342\\200\\256 \\377 \\303\\274 a\\rb\\r\\n\\tend\\177\\n"'
  run -0 eorva run hostile
  same "shown" "$(printf '^[]0;title^G^[[2Jplain <U+009B> <U+202E> \\xFF ü a^Mb\n\tend^?')" "$(on_terminal eorva runs output 1)"
  same "raw" "$(printf '\033]0;title\007\033[2J')" "$(on_terminal eorva runs output 1 --raw | head -c 14)"
  printf 'echo \033' | eorva task add other --event bootup --owner alice --script - >/dev/null
  run -0 eorva run other
  same "the script" "echo ^[" "$(on_terminal eorva runs script 2)"
}

@test "earlier output is found after the place changes, and when output is switched off" {
  add_task one bootup alice 'echo first place'
  run -0 eorva run one
  run -0 eorva config set --output-path old/sub
  add_task two bootup alice 'echo second place'
  run -0 eorva run two
  same "first" "first place" "$(eorva runs output 1)"
  same "second" "second place" "$(eorva runs output 2)"
  run -0 eorva config set --output off
  same "first, when off" "first place" "$(eorva runs output 1)"
  same "second, when off" "second place" "$(eorva runs output 2)"
  same "script, when off" "echo first place" "$(eorva runs script 1)"
  run -0 eorva config set --output-path scheduler
  same "second, when back" "second place" "$(eorva runs output 2)"
  same "places" '["scheduler",["old/sub"]]' "$(eorva config show --json | jq -c '[.output_path, .former_output_paths]')"
}

@test "a missing former output path is named" {
  run -0 eorva config set --output-path old/sub
  add_task one bootup alice 'echo there'
  run -0 eorva run one
  run -0 eorva config set --output-path scheduler
  sed -i 's/^\[old\]/[renamed]/' /etc/orva/shares.conf
  run -1 --separate-stderr eorva runs output 1
  complains 'the share of "old/sub" no longer exists'
  complains "$KEPT/one/"
  sed -i 's/^\[renamed\]/[old]/' /etc/orva/shares.conf
  same "back" there "$(eorva runs output 1)"
}

@test "a script that its owner has made huge is not read" {
  add_task one bootup alice 'exit 0'
  eorva run one >/dev/null
  eorva run one >/dev/null
  truncate -s 100G "$KEPT/one/$(eorva runs list --json | jq -r '.[-1].start_time')/script.log"
  run -1 --separate-stderr eorva runs diff 1 2
  complains "cannot read the script of run 1: it is larger than 16777216 bytes"
  run -1 --separate-stderr eorva runs diff 2 1 --json
  complains "the script of run 1: it is larger"
  run -1 --separate-stderr eorva runs script 1
  complains "the script of run 1: it is larger"
}

@test "two outputs are compared with diff" {
  add_task it bootup alice 'echo same; echo "$WORD"'
  run -0 eorva run it --env WORD=first
  run -0 eorva run it --env WORD=second
  run -3 eorva runs diff --output 1 2
  same "difference" "--- run 1 of it|+++ run 2 of it|@@ -1,2 +1,2 @@| same|-first|+second" "$(paste -sd '|' <<<"$output")"
  run -0 eorva runs diff 1 2
  same "for programs" '["output.log",false]' "$(eorva runs diff 1 2 --output --json | jq -c '[.file, .same]')"
  head -c 17M /dev/zero >"$KEPT/it/$(field 2 start_time)/output.log"
  run -1 --separate-stderr eorva runs diff --output 1 2
  complains "the output of run 2"
}

@test "two scripts are compared with diff" {
  add_task one bootup alice "$(printf 'echo same\necho first')"
  eorva run one >/dev/null
  sqlite3 "$DATABASE" "update task set operation = 'echo same' || char(10) || 'echo second' || char(10)"
  eorva run one >/dev/null
  eorva run one >/dev/null
  run -3 eorva runs diff 1 2
  same "difference" "--- run 1 of one|+++ run 2 of one|@@ -1,2 +1,2 @@| echo same|-echo first|+echo second" "$(paste -sd '|' <<<"$output")"
  run -0 eorva runs diff 2 3
  same "of equal ones" "" "$output"
  run -0 eorva runs diff 1 1
  run -1 --separate-stderr eorva runs diff 1 4711
  complains "there is no run 4711"
  run -2 eorva runs diff 1
  rm -r "$KEPT/one/$(field 1 start_time)"
  run -1 --separate-stderr eorva runs diff 1 2
  complains "run 1 has no script.log"
}

@test "a rename moves the output in every output path" {
  add_task one bootup alice 'echo first place'
  run -0 eorva run one
  run -0 eorva config set --output-path old/sub
  run -0 eorva run one
  run -0 eorva task rename one other --yes
  same "first" "first place" "$(eorva runs output 1)"
  same "second" "first place" "$(eorva runs output 2)"
  run -0 eorva task delete other --yes
  same "put aside" "2" "$(find "$KEPT" /srv/old/sub -maxdepth 1 -name 'other~1' | wc -l)"
}

@test "output is found after the owner of the task has changed" {
  add_task it bootup alice 'echo alice was here'
  eorva run it >/dev/null
  eorva task edit it --owner bob >/dev/null
  eorva task edit it --script - <<<'echo bob was here' >/dev/null
  same "before the next run" "alice was here" "$(eorva runs output 1)"
  eorva run it >/dev/null
  same "after it" "alice was here" "$(eorva runs output 1)"
  same "the other one" "bob was here" "$(eorva runs output 2)"
  same "script" "echo alice was here" "$(eorva runs script 1)"
}

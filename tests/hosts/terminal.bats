#!/usr/bin/env bats
# Running executions on a terminal. The terminal is tmux, which behaves like a real one: it wraps lines,
# scrolls, and keeps the scrollback.

load common

setup() {
  fresh_store
  export TMUX_TMPDIR=$BATS_TEST_TMPDIR
  unset TMUX
}

teardown() { tmux kill-server 2>/dev/null || true; }

# on_screen COLUMNS ROWS COMMAND: runs the command in a shell on a screen of that size.
on_screen() {
  tmux -f /dev/null new-session -d -x "$1" -y "$2" "PS1='> ' sh" 3>&- 9>&-
  tmux send-keys "$3" Enter
}

# screen: the visible lines, without empty lines at the end; everything: with the scrollback.
screen() { tmux capture-pane -p "$@" | sed -e :a -e '/^\n*$/{$d;N;ba' -e '}'; }
everything() { screen -S -; }
shows() { screen | grep -q -e "$1"; }
# times TEXT: how many lines, with the scrollback, begin with the text.
times() { everything | grep -c "^$1" || true; }

# many COUNT: adds tasks that wait for release; the last one fails.
many() {
  mkfifo -m 666 /tmp/go
  exec 9<>/tmp/go
  eorva export --json | jq --argjson count "$1" '.tasks = ([range(1; $count + 1) | {
    key: "task-\("0\(.)"[-2:])-x",
    value: {event: "bootup", owner: "alice", script: (if . == $count then "exit 255" else "read -r line </tmp/go" end)}
  }] | from_entries)' | eorva apply - --yes >/dev/null
}

# release COUNT: lets so many tasks continue.
release() { printf '\n%.0s' $(seq "$1") >&9; }

@test "a table that does not fit is cut, redrawn, and shown completely at the end" {
  many 12
  on_screen 40 9 'eorva fire bootup'
  wait_until shows '^\.\.\. and 7 more'
  # Long enough for several redraws.
  tmux send-keys Enter Enter
  wait_until shows '^task-01-x.* 1[0-9]s'
  same "lines with the heading" 1 "$(times 'TASK ')"
  same "lines on the screen" 8 "$(screen | wc -l)"
  [[ -z $(screen | grep -v '^$' | awk 'length > 40') ]]
  release 11
  wait_until shows '^event bootup: 12 runs'
  same "lines with the heading" 1 "$(times 'TASK ')"
  same "tasks in the table" 12 "$(times 'task-')"
  same "lines about omitted tasks" 0 "$(times '\.\.\.')"
}

@test "an interrupted display says how to continue, and restores the terminal" {
  many 2
  on_screen 80 24 'eorva fire bootup'
  wait_until shows '^task-01-x'
  wait_until shows '^task-02-x.*exit 255'
  tmux send-keys C-c
  wait_until shows 'the execution continues in the background'
  wait_until shows "task-01-x:    eorva runs output -f $(run_of task-01-x)    eorva stop $(run_of task-01-x)"
  tmux send-keys 'echo typed' Enter
  wait_until shows '^> echo typed'
  release 1
}

@test "a dumb terminal gets lines" {
  add_task it bootup alice 'exit 0'
  local term
  for term in TERM=dumb 'TERM= ' '-u TERM'; do
    run -0 script -qec "env $term eorva fire bootup" /dev/null
    says "it: started as alice"
    [[ $output != *$'\033'* ]]
    run -0 script -qec "env $term eorva runs list" /dev/null
    [[ $output != *$'\033'* ]]
  done
}

@test "a display without a reader says that the execution continues" {
  add_task first bootup alice 'exit 0'
  add_task second bootup alice 'exit 0' --after first
  run bash -c 'eorva fire bootup | head -n 1'
  says "the display failed: cannot write to standard output"
  says "the execution continues in process"
}

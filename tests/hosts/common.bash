# Loaded by every test file. Tests run as root on a private view of the machine (see sandbox), and each
# one begins with an empty store.

bats_require_minimum_version 1.5.0

STORE=/usr/orva/etc/eorvascheduler
DATABASE=$STORE/eorvascheduler.db
KEPT=/var/lib/orva/scheduler

fresh_store() {
  rm -rf "$STORE" /run/eorva "${KEPT:?}"/* /tmp/eorvascheduler* /tmp/go /tmp/pid
  cd "$BATS_TEST_TMPDIR" || return 1
  chmod 711 "$BATS_RUN_TMPDIR" "$BATS_FILE_TMPDIR" "$BATS_TEST_TMPDIR"
  eorva init --output-path scheduler >/dev/null
}

# add_task NAME EVENT OWNER SCRIPT [OPTION...]
add_task() {
  local name=$1 event=$2 owner=$3 script=$4
  shift 4
  printf '%s\n' "$script" | eorva task add "$name" --event "$event" --any-event --owner "$owner" --script - "$@" >/dev/null
}

# add_old_task NAME ...: like add_task, with a name that a new task cannot have.
add_old_task() {
  add_task name-to-change "${@:2}"
  sqlite3 "$DATABASE" "pragma foreign_keys = on; update task set task_name = '$1' where task_name = 'name-to-change'"
}

# run_of TASK: the number of the task's newest run.
run_of() { eorva runs list --task "$1" --limit 1 --json | jq '.[0].result_id'; }

# field RUN NAME: a member of a run record, as JSON.
field() { eorva runs show "$1" --json | jq -c ".$2"; }

# wait_until COMMAND...: waits until the command succeeds; fails after half a minute.
wait_until() {
  local tries
  for ((tries = 0; tries < 300; tries++)); do
    "$@" >/dev/null 2>&1 && return 0
    read -rt 0.1 <> <(:) || true
  done
  echo "never came true: $*" >&2
  return 1
}

# runs_are COUNT: succeeds when COUNT runs have been recorded.
runs_are() { [[ $(eorva runs list --limit 0 --json | jq length) == "$1" ]]; }

gone() { ! kill -0 "$1" 2>/dev/null; }

parent_of() { awk '{ print $4 }' "/proc/$1/stat"; }

# same WHAT WANTED GOT
same() {
  [[ $2 == "$3" ]] && return 0
  printf '%s\nwanted: %s\ngot:    %s\n' "$1" "$2" "$3" >&2
  return 1
}

# shows_member NAME VALUE: checks that the output of the last command has this line, or one that begins so.
shows_member() {
  [[ $output =~ (^|$'\n')"$1:"\ +"$2" ]] && return 0
  printf 'wanted within the output: %s: %s\ngot: %s\n' "$1" "$2" "$output" >&2
  return 1
}

# says TEXT: checks that the output of the last command contains the text.
says() {
  [[ $output == *"$1"* ]] && return 0
  printf 'wanted within the output: %s\ngot: %s\n' "$1" "$output" >&2
  return 1
}

complains() {
  [[ $stderr == *"$1"* ]] && return 0
  printf 'wanted within standard error: %s\ngot: %s\n' "$1" "$stderr" >&2
  return 1
}

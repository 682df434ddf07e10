#!/usr/bin/env bats
# Every command line that the documents show does what it says. One document is one session, on a fresh store, in the
# folder of the demo's scripts.

load common

setup() {
  rm -rf "$STORE" /run/eorva "${KEPT:?}"/* /tmp/eorvascheduler*
  cd "$BATS_TEST_TMPDIR" || return 1
  chmod 711 "$BATS_RUN_TMPDIR" "$BATS_FILE_TMPDIR" "$BATS_TEST_TMPDIR"
  cp "$BATS_TEST_DIRNAME"/../../demo/tasks/* .
}

# A command answers 0 unless its line ends with "# answers N".
run_document() {
  local commands command wanted count=0
  commands=$("$BATS_TEST_DIRNAME/documented_commands" "$BATS_TEST_DIRNAME/../../$1")
  while IFS= read -r command; do
    eval "command=$command"
    wanted=0
    [[ $command =~ '# answers '([0-9]+)$ ]] && wanted=${BASH_REMATCH[1]}
    echo "\$ $command"
    local status=0
    eval "$command" </dev/null 3>&- || status=$?
    same "the answer of: $command" "$wanted" "$status"
    count=$((count + 1))
  done <<<"$commands"
  ((count >= $2)) || same "command lines found in $1" "$2 or more" "$count"
}

@test "the command lines of the README" { run_document README.md 6; }
@test "the command lines of the page for administrators" {
  # As the packages do it.
  eorva init >/dev/null
  run_document docs/administrators.md 30
}

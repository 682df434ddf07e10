#!/usr/bin/env bats
# Runs every command line in the documents. A document is one session, on a fresh store, in the
# folder of the demo's scripts. A chapter of the guide begins with the task of its first chapters. Lines that need more than a private view of this machine run elsewhere.

load common
load documented

DOCUMENTED=$BATS_TEST_DIRNAME/documented_commands

setup() { begin; }

begin() {
  rm -rf "$STORE" /run/eorva "${KEPT:?}"/* /tmp/eorvascheduler*
  cd "$BATS_TEST_TMPDIR" || return 1
  chmod 711 "$BATS_RUN_TMPDIR" "$BATS_FILE_TMPDIR" "$BATS_TEST_TMPDIR"
  cp "$BATS_TEST_DIRNAME"/../../demo/tasks/* .
}

# session DOCUMENT LEAST
session() { run_lines "$2" < <("$DOCUMENTED" view "$1"); }

@test "the command lines of the README" { session README.md 6; }

@test "the command lines of the guide for administrators" {
  local document
  for document in $("$DOCUMENTED" view | grep ^docs/admin/); do
    echo "== $document"
    begin
    # As the packages do.
    eorva init >/dev/null
    [[ $document == */first-task.md ]] || session docs/admin/first-task.md 4
    session "$document" 1
  done
}

@test "the command lines of the man page" {
  eorva init >/dev/null
  session packaging/man/eorva.8.scd 3
}

@test "every document is tested" {
  same "documents" "README.md packaging/man/eorva.8.scd" \
    "$("$DOCUMENTED" view | grep -v ^docs/admin/ | paste -sd ' ')"
}

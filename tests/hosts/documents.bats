#!/usr/bin/env bats
# Runs every command line in the documents. A document is one session, on a fresh store, in the folder of the demo's
# scripts. A chapter of the guide begins where "The first task" ends. Lines that need more than a private
# view of this machine run elsewhere.

load common
load documented

DOCUMENTED=$BATS_TEST_DIRNAME/documented_commands

setup() {
  chmod 711 "$BATS_RUN_TMPDIR" "$BATS_FILE_TMPDIR" "$BATS_TEST_TMPDIR"
  clean
  cp "$BATS_TEST_DIRNAME"/../../demo/tasks/* .
  # As the packages do.
  eorva init --output-path scheduler >/dev/null
}

clean() {
  eorva event list --json | jq -r '.[] | select(.enabled).name' | xargs -rd '\n' eorva event disable >/dev/null
  rm -rf "$STORE" /run/eorva "${KEPT:?}"/* /tmp/eorvascheduler*
  find /etc/systemd/system -name 'eorva-event@*' -delete
  cd "$BATS_TEST_TMPDIR" || return 1
}

# A share whose disk is full.
setup_file() {
  mkdir /srv/full
  mount -t tmpfs -o size=64k,mode=0711 full /srv/full
  printf '%s\n' '[full]' 'path = /srv/full' >>/etc/orva/shares.conf
  ! dd if=/dev/zero of=/srv/full/filled bs=1k status=none
}

# session DOCUMENT LEAST
session() { run_lines "$2" < <("$DOCUMENTED" view "$1"); }

@test "the command lines of the README" { session README.md 5; }

@test "the command lines of the guide for administrators" {
  local document
  session docs/admin/first-task.md 4
  cp -a "$STORE" store
  cp -a "$KEPT" kept
  for document in $("$DOCUMENTED" view | grep '^docs/admin/' | grep -v /first-task.md); do
    echo "== $document"
    clean
    cp -a store "$STORE"
    cp -a kept/. "$KEPT"
    session "$document" 1
  done
}

@test "the command lines of the man pages" {
  session packaging/man/eorva.8.scd 3
  session packaging/man/eorva-events.7.scd 1
}

@test "every document is tested" {
  same "documents" "README.md packaging/man/eorva-events.7.scd packaging/man/eorva.8.scd" \
    "$("$DOCUMENTED" view | grep -v ^docs/admin/ | paste -sd ' ')"
}

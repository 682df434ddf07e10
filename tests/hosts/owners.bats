#!/usr/bin/env bats
# Owners that are deleted, whose user id is given to somebody else, and owners of runs.

load common

setup() {
  fresh_store
  useradd --uid 7020 dora
  add_task sound first alice 'exit 0'
  add_task hers first dora 'id -un'
  add_task behind first alice 'exit 0' --after hers
}

teardown() {
  local user
  for user in dora eve; do userdel "$user" 2>/dev/null || true; done
}

@test "a task whose owner is gone does not run, and everything names the owner" {
  userdel dora
  run -3 --separate-stderr eorva fire first
  says "event first: 1 run, 1 ok, 0 failed"
  says "hers had no owner: user dora (7020) does not exist"
  says "      eorva task edit hers --owner USER"
  says 'behind waited for "hers", which was not started'
  same "runs" '["sound"]' "$(eorva runs list --json | jq -c '[.[].task_name]')"
  same "mail about a volume" "" "$(grep -i volume /var/log/orva/* 2>/dev/null || true)"
  run -1 --separate-stderr eorva run hers
  complains 'the task "hers" is not run: user dora (7020) does not exist; set its owner with: eorva task edit hers --owner USER'
  run -0 eorva event plan first
  says "hers has no owner: user dora (7020) does not exist"
  run -0 eorva explain hers
  says "it had no owner: user dora (7020) does not exist"
  says "it has no owner: user dora (7020) does not exist"
  run -1 eorva check
  says 'task "hers" is never started: it has no owner: user dora (7020) does not exist'
  same "listed" '"dora"' "$(eorva task show hers --json | jq -c .owner_name)"
}

@test "a task does not run as somebody who got its owner's user id later" {
  userdel dora
  useradd --uid 7020 eve
  run -3 eorva fire first
  says "hers had no owner: the user id 7020 belonged to dora, and belongs to eve now"
  same "runs" 1 "$(eorva runs list --json | jq length)"
  run -1 --separate-stderr eorva run hers
  complains "the user id 7020 belonged to dora, and belongs to eve now"
  run -1 eorva check --json
  same "advice" '"eorva task edit hers --owner USER"' \
    "$(jq -c '[.findings[] | select(.subject == "hers")] | map(.advice)[0]' <<<"$output")"
  # An edit of something else does not settle it.
  run -0 --separate-stderr eorva task edit hers --description 'hers'
  complains 'warning: task "hers": owner: there is no user "dora"'
  run -1 --separate-stderr eorva run hers
  # The same user id, but another user is meant now.
  run -0 eorva task edit hers --owner eve
  run -0 eorva run hers
  same "output" "eve" "$(eorva runs output "$(run_of hers)")"
}

@test "an owner who has another user id now is suggested" {
  userdel dora
  useradd --uid 7021 dora
  run -1 eorva check --json
  same "advice" '["task \"hers\" is never started: it has no owner: user dora has the id 7021 now, not 7020","eorva task edit hers --owner dora"]' \
    "$(jq -c '[.findings[] | select(.subject == "hers")][0] | [.text, .advice]' <<<"$output")"
  run -0 eorva task edit hers --owner dora
  run -0 eorva run hers
}

@test "a document has the owner who was meant, and restores the task of this owner only" {
  userdel dora
  useradd --uid 7020 eve
  eorva export >state.yaml
  grep -q 'owner: dora' state.yaml
  run -0 eorva apply state.yaml --any-event --yes
  says "nothing"
  userdel eve
  useradd --uid 7022 dora
  run -0 eorva apply state.yaml --any-event --yes
  same "owner" '[7022,"dora"]' "$(eorva task show hers --json | jq -c '[.owner, .owner_name]')"
}

@test "an owner who goes while the event runs is noticed before the task starts" {
  mkfifo -m 666 /tmp/go
  add_task before second alice 'read -r line </tmp/go'
  add_task after second dora 'exit 0' --after before
  eorva fire second >fired 2>&1 &
  wait_until runs_are 1
  userdel dora
  echo >/tmp/go
  local status=0
  wait %1 || status=$?
  same "exit status" 3 "$status"
  grep -q 'warning: the task "after" is not started: user dora (7020) does not exist' fired
  same "runs" 1 "$(eorva runs list --json | jq length)"
}

@test "names are stored for tasks of a version that did not know them" {
  sqlite3 "$DATABASE" "update task set owner_name = null"
  run -0 eorva run hers
  run -0 eorva init
  same "names" "alice,dora,alice" "$(sqlite3 "$DATABASE" "select group_concat(owner_name) from (select owner_name from task order by task_name)")"
}

@test "a run keeps its owner" {
  run -0 eorva run hers
  run -0 eorva task edit hers --owner alice
  run -0 eorva run hers
  same "owners" '[["alice",7001],["dora",7020]]' "$(eorva runs list --task hers --json | jq -c '[.[] | [.owner_name, .owner]]')"
  same "of dora" '["hers"]' "$(eorva runs list --owner dora --json | jq -c '[.[].task_name]')"
  run -0 eorva runs list --task hers
  [[ ${lines[1]} == *alice* && ${lines[2]} == *dora* ]]
  userdel dora
  run -0 eorva runs list --task hers
  [[ ${lines[2]} == *dora* ]]
}

@test "a restore with the user ids as they are names the users who have them here" {
  eorva backup here.db >/dev/null
  userdel dora
  useradd --uid 7020 eve
  run -1 eorva restore here.db --yes
  run -0 eorva restore here.db --yes --owners-as-numbered
  same "owner" '"eve"' "$(eorva task show hers --json | jq -c .owner_name)"
  run -0 eorva run hers
  same "output" "eve" "$(eorva runs output "$(run_of hers)")"
}

#!/usr/bin/env bats
# Shared folders.

load common

setup() {
  fresh_store
  cp /etc/orva/shares.conf shares.conf
}

teardown() {
  cp "$BATS_TEST_TMPDIR/shares.conf" /etc/orva/shares.conf
  while mountpoint -q /srv/data; do umount --lazy /srv/data; done
}

# member SHARE NAME: a member of the share in the list, as JSON.
member() { eorva share list --json | jq -c --arg share "$1" ".[] | select(.name == \$share).$2"; }

@test "the default share is listed and accessible" {
  run -0 --separate-stderr eorva share list
  [[ ${lines[0]} =~ ^SHARE\ +PATH\ +VOLUME\ +FREE\ +ACCESSIBLE$ ]]
  [[ ${lines[1]} =~ ^scheduler\ +/var/lib/orva/scheduler\ +/var\ +[0-9.]+\ [KMGT]iB\ yes$ ]]
  same "standard error" "" "$stderr"
  same "members" '["accessible","free","name","path","volume","why_not"]' "$(eorva share list --json | jq -c '.[0] | keys')"
  same "why not" null "$(member scheduler why_not)"
}

@test "a share without its volume, or without its folder, shows how to repair it" {
  mkdir -p '/srv/my data'
  printf '%s\n' '/dev/none /srv/data ext4 nofail 0 2' >>/etc/fstab
  printf '%s\n' '[absent]' 'path = /srv/data/logs' '[bare]' 'path = /srv/my data/logs' >>/etc/orva/shares.conf
  run -0 eorva share list
  says "no: its volume is not available: mount /srv/data"
  says "no: its folder does not exist: mkdir -p '/srv/my data/logs'"
  same "accessible" "false false" "$(echo "$(member absent accessible) $(member bare accessible)")"
  same "volume" '"/srv/data"' "$(member absent volume)"
  mkdir -p /srv/data
  mount -t tmpfs -o size=4m volume /srv/data
  mkdir /srv/data/logs '/srv/my data/logs'
  same "accessible" "true true" "$(echo "$(member absent accessible) $(member bare accessible)")"
  same "free bytes" 4194304 "$(member absent free)"
  sed -i '/dev.none/d' /etc/fstab
}

@test "errors in the definitions are shown with their lines, and the other shares are listed" {
  printf '%s\n' '[scheduler]' 'path = /var/lib/orva/scheduler' '[typo]' 'paht = /srv' 'stray' >/etc/orva/shares.conf
  run -1 --separate-stderr eorva share list
  says "/var/lib/orva/scheduler"
  complains 'eorva: /etc/orva/shares.conf:4: share "typo": unknown key "paht"'
  complains 'eorva: /etc/orva/shares.conf:5: neither a section nor KEY = VALUE: "stray"'
  run -1 --separate-stderr eorva share list --json
  same "names" '["scheduler"]' "$(jq -c 'map(.name)' <<<"$output")"
}

@test "default settings are installed, and explained" {
  local key
  for key in maillang mailfrom mailprogram administratorsgroup sharesource; do
    grep -Eq "^#?$key=" /etc/orvainfo.conf
  done
  grep -q '^# Language of mail' /etc/orvainfo.conf
}

@test "without shares, the list is empty" {
  rm /etc/orva/shares.conf
  run -0 --separate-stderr eorva share list
  same "standard error" "" "$stderr"
  same "as JSON" "[]" "$(eorva share list --json | jq -c .)"
}

@test "when a volume is removed during an execution, no more tasks start and nothing is written to the empty folder" {
  printf '%s\n' '[data]' 'path = /srv/data/logs' 'volume = /srv/data' >>/etc/orva/shares.conf
  mkdir -p /srv/data/logs
  mount -t tmpfs volume /srv/data
  mkdir /srv/data/logs
  chmod 711 /srv/data/logs
  rm -f /tmp/started
  eorva config set --output-path data >/dev/null
  add_task first bootup alice 'touch /tmp/started; until [ -e /tmp/go ]; do sleep 0.1; done; echo over'
  add_task second bootup alice 'echo never' --after first
  eorva fire bootup >fired 2>&1 3>&- &
  local fire=$!
  wait_until test -e /tmp/started
  umount --lazy /srv/data
  run -1 --separate-stderr eorva config set --output-path data
  complains 'the output path "data" cannot be used: the share "data": its volume is not available: mount /srv/data'
  touch /tmp/go
  wait "$fire" || true
  same "outcome of the first" '"normal"' "$(eorva runs list --task first --json | jq '.[0].exit_info.exit_type')"
  same "runs of the second" 0 "$(eorva runs list --task second --json | jq length)"
  same "below the mount point" "" "$(find /srv/data/logs -mindepth 1)"
  grep -q 'no more tasks are started: .*the share "data": its volume is not available: mount /srv/data' fired
  same "accessible" false "$(member data accessible)"
}

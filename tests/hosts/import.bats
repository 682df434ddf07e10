# Importing what cron runs.
load common

setup() {
  rm -f /etc/systemd/system/eorva-event@*
  fresh_store
  mkdir cron.daily cron.weekly cron.d
}

# script FILE TEXT: an executable script.
script() { printf '#!/bin/sh\n%s\n' "$2" >"$1" && chmod 755 "$1"; }

# import PATH... [OPTION...]
import() { run --separate-stderr eorva import cron "$@"; }

nothing_is_there() {
  same "tasks" "[]" "$(eorva task list --json)"
  same "own events" 0 "$(eorva event list --json | jq '[.[] | select(.in_catalogue | not)] | length')"
}

@test "the scripts of a folder become tasks of its event" {
  script cron.daily/backup 'echo saved'
  script cron.daily/rotate 'exit 4'
  import cron.daily --dry-run
  same "status" 3 "$status"
  says "would be applied: 2 created"
  nothing_is_there
  import cron.daily/ --yes
  same "status" 0 "$status"
  same "how to switch it off" "eorva: cron still runs the same; to switch it off there:
    chmod -x $PWD/cron.daily/backup $PWD/cron.daily/rotate" "$stderr"
  same "tasks" '[["backup","daily","root"],["rotate","daily","root"]]' \
    "$(eorva task list --json | jq -c '[.[] | [.task_name, .event, .owner_name]]')"
  same "script" "$(cat cron.daily/backup)" "$(eorva task show backup --json | jq -r .operation)"
  same "daily is enabled" true "$(eorva event list --json | jq '.[] | select(.name == "daily") | .enabled')"
  same "run" saved "$(eorva run backup >/dev/null && eorva runs output "$(run_of backup)")"
}

@test "importing the same again changes nothing, and what was changed since is not overwritten" {
  script cron.daily/backup 'echo saved'
  eorva import cron cron.daily --yes
  import cron.daily --yes
  same "status" "0 nothing to change" "$status $output"
  eorva task edit backup --description 'mine now'
  import cron.daily --yes
  same "status" 1 "$status"
  same "refused" "eorva: cron.daily is not imported: these exist already, and are different: backup
  to import them anew, delete these first; to have both, add --prefix cron-" "$stderr"
  import cron.daily --yes --prefix cron-
  same "tasks" '["backup","cron-backup"]' "$(eorva task list --json | jq -c '[.[].task_name]')"
}

@test "what cron would not run is skipped, and said" {
  local name
  for name in backup.bak 'two words' 0anacron plain timer; do script "cron.daily/$name" 'echo no'; done
  script cron.daily/.placeholder 'echo no'
  chmod 644 cron.daily/plain
  printf '#!/bin/sh\nif [ -d /run/systemd/system ]; then exit 0; fi\necho yes\n' >cron.daily/timer
  cp /bin/true cron.daily/program
  mkdir cron.daily/folder
  import cron.daily --yes
  same "status" "0 nothing to change" "$status $output"
  same "skipped" "eorva: skipped $PWD/cron.daily/0anacron: only for anacron
eorva: skipped $PWD/cron.daily/backup.bak: cron ignores files with such names
eorva: skipped $PWD/cron.daily/folder: not a file
eorva: skipped $PWD/cron.daily/plain: not executable
eorva: skipped $PWD/cron.daily/program: a program, not a script
eorva: skipped $PWD/cron.daily/timer: does nothing under systemd, because its package has a timer; to import it, add --all
eorva: skipped $PWD/cron.daily/two words: cron ignores files with such names" "$stderr"
  nothing_is_there
  import cron.daily --yes --all
  same "tasks" '["timer"]' "$(eorva task list --json | jq -c '[.[].task_name]')"
}

@test "scripts of several folders keep their names apart" {
  script cron.daily/man-db 'echo daily'
  script cron.weekly/man-db 'echo weekly'
  import cron.daily cron.weekly --yes
  same "tasks" '[["man-db","daily"],["man-db-weekly","weekly"]]' "$(eorva task list --json | jq -c '[.[] | [.task_name, .event]]')"
}

@test "a folder of another name needs an event" {
  mkdir scripts
  script scripts/one 'echo 1'
  import scripts --yes
  same "refused" "1 eorva: no event for the scripts in $PWD/scripts; add --event EVENT" "$status $stderr"
  import scripts --yes --event bootup --owner alice
  same "task" '["one","bootup","alice"]' "$(eorva task list --json | jq -c '.[] | [.task_name, .event, .owner_name]')"
}

@test "the lines of a table do in tasks what they do in cron" {
  cat >cron.d/nightly <<'END'
SHELL=/bin/bash
GREETING="it's me"
MAILTO=alice

30 2 1-7 * mon alice [[ -n $GREETING ]] && cat && pwd && echo "$GREETING"%first line%100\% of it
0 0 * * *      bob   echo every day
@reboot        bob   exit 4
END
  import cron.d --yes
  same "status" 0 "$status"
  same "tasks" '[["nightly","nightly","alice"],["nightly-cron","daily","bob"],["nightly-cron-2","bootup","bob"]]' \
    "$(eorva task list --json | jq -c '[.[] | [.task_name, .event, .owner_name]]')"
  same "times" '["*-*-01..07 02:30:00","Mon *-*-* 02:30:00"]' "$(eorva export --json | jq -c .events.nightly.at)"
  same "mail" '[true,true,"alice"]' "$(eorva task show nightly --json | jq -c '[.notify_enable, .notify_if_error, .notify_mail]')"
  eorva run nightly
  same "output" "first line
100% of it
/home/alice
it's me" "$(eorva runs output "$(run_of nightly)")"
  run -3 eorva run nightly-cron-2
  same "end" '"exit 4"' "$(field "$(run_of nightly-cron-2)" outcome_text)"
}

@test "the table of a user names no users" {
  printf '5 4 * * sun ~/bin/sync.sh --all\n5 5 * * sun /home/alice/bin/sync.sh\n' >table
  import table --owner alice --yes
  same "status" 0 "$status"
  same "tasks" '[["alice-sync.sh","alice"],["alice-sync.sh-cron","alice"]]' "$(eorva task list --json | jq -c '[.[] | [.task_name, .owner_name]]')"
  same "script" "#!/bin/sh
# From $PWD/table: 5 4 * * sun
cd \"\$HOME\" || exit
~/bin/sync.sh --all" "$(eorva task show alice-sync.sh --json | jq -r .operation)"
}

@test "the tables of all users are in one folder, by their names" {
  mkdir crontabs
  printf '5 4 * * sun sync\n' | tee crontabs/alice >crontabs/bob
  import crontabs --yes
  same "tasks" '[["alice-sync","alice"],["bob-sync","bob"]]' "$(eorva task list --json | jq -c '[.[] | [.task_name, .owner_name]]')"
  same "how to switch it off" "eorva: cron still runs the same; to switch it off there:
    crontab -e -u alice
    crontab -e -u bob" "$stderr"
}

@test "commands of any shape get a name, and lines above do not matter" {
  cat >table <<'END'
0 3 * * * alice tar -cf - . | gzip > home-$(date +\%F).tgz
1 3 * * * alice sleep 5; echo up
2 3 * * * alice X=1 /opt/tools/report --all
3 3 * * * alice [ -x /usr/lib/php/sessionclean ] && /usr/lib/php/sessionclean
4 3 * * * alice $HOME/bin/own
5 3 * * * alice (cd /srv; ./make)
END
  import table --yes
  same "names" '["cron","report","sessionclean","sleep","srv","tar"]' \
    "$(eorva task list --json | jq -c '[.[].task_name] | sort')"
  sed -i '1i # a comment' table
  import table --yes
  same "again" "0 nothing to change" "$status $output"
}

@test "lines that run the scripts of folders, or do nothing under systemd, are skipped" {
  printf '17 * * * * root cd / && run-parts --report /etc/cron.hourly\n@daily root test -e /run/systemd/system || scrub\n' >table
  import table --yes
  same "skipped" "0 eorva: skipped $PWD/table, line 1: runs the scripts of a folder; import that folder
eorva: skipped $PWD/table, line 2: does nothing under systemd, because its package has a timer; to import it, add --all" "$status $stderr"
  nothing_is_there
}

@test "a script that somebody else can change does not become root's" {
  script cron.daily/open 'id'
  script cron.daily/hers 'id'
  chmod 777 cron.daily/open
  chown alice cron.daily/hers
  import cron.daily --yes
  same "skipped" 2 "$(grep -c 'root would run it' <<<"$stderr")"
  nothing_is_there
  import cron.daily --yes --owner alice
  same "tasks" '["hers","open"]' "$(eorva task list --json | jq -c '[.[].task_name] | sort')"
}

@test "an import for a user shows that user nothing of root's" {
  echo '@daily secret' >/root/secret.tab
  script cron.daily/secret 'password'
  chmod 600 /root/secret.tab
  chmod 700 cron.daily/secret
  ln -s /root/secret.tab hers
  import hers cron.daily --owner alice --yes
  same "status" 0 "$status"
  same "skipped" "eorva: skipped $PWD/hers: the owner of the task may not read it
eorva: skipped $PWD/cron.daily/secret: the owner of the task may not read it" "$stderr"
  rm /root/secret.tab
  nothing_is_there
}

@test "a table that somebody else can change runs nothing as root" {
  printf '@daily root id\n' | tee cron.d/open >cron.d/hers
  chmod 666 cron.d/open
  chown alice cron.d/hers
  import cron.d --yes
  same "status" 0 "$status"
  same "skipped" "eorva: skipped $PWD/cron.d/hers: root would run it, and not only root can change it; for the table or the scripts of a user, add --owner USER
eorva: skipped $PWD/cron.d/open: root would run it, and not only root can change it; for the table or the scripts of a user, add --owner USER" "$stderr"
  nothing_is_there
}

@test "everything that is wrong is said, and nothing is imported" {
  printf '60 * * * * alice true\n\nnonsense\n* * * * * alice\nSHELL=sh\n@daily bob true\n' >cron.d/wrong
  printf '1 1 * * * alice true\n' >cron.d/good
  import cron.d missing --yes
  same "status" 1 "$status"
  same "refused" "eorva: cron.d missing is not imported:
  $PWD/cron.d/wrong: line 3: \"nonsense\" is neither a schedule with a command nor NAME=VALUE
  $PWD/cron.d/wrong: line 4: the user or the command is missing
  $PWD/cron.d/wrong: line 1: \"60\" is not a valid minute
  $PWD/cron.d/wrong: line 6: SHELL=sh is not an absolute path
  missing: No such file or directory
  for the table of one user, as 'crontab -l' prints it, add --owner USER" "$stderr"
  printf '1 1 * * * du -sh .\n' >table
  import table --yes
  same "status" 1 "$status"
  same "refused" "eorva: table is not imported:
  $PWD/table: line 1: there is no user \"du\"
  for the table of one user, as 'crontab -l' prints it, add --owner USER" "$stderr"
  nothing_is_there
}

#!/usr/bin/python3
"""Fires several events at once, kills processes of each execution at a random moment, and runs the next command; again
and again.

    kill_rounds.py KILLS DATABASE EVENT...

The tasks of an event have its name and a number. Those that wait for /tmp/go end only by being killed.
"""
import glob
import os
import random
import signal
import sqlite3
import subprocess
import sys
import threading
import time

kills, database, events = int(sys.argv[1]), sys.argv[2], sys.argv[3:]
seed = os.environ.get('EORVA_SEED') or str(random.SystemRandom().randrange(10**9))
print(f'seed {seed}', flush=True)
# Much more than is needed, for a busy machine.
LIMIT = 100
OWNER = 7001
# The time in which the tasks that end by themselves do so, on an idle machine.
SPAN = 2.5


def query(text):
    with sqlite3.connect(f'file:{database}?mode=ro', uri=True, timeout=LIMIT) as store:
        return store.execute(text).fetchall()


def wait_until_none(find, what):
    end = time.monotonic() + LIMIT
    while left := find():
        assert time.monotonic() < end, f'{what}: {left}'
        time.sleep(0.01)


def children(pid):
    try:
        return [int(child) for child in open(f'/proc/{pid}/task/{pid}/children').read().split()]
    except OSError:
        return []


def is_eorva(pid):
    try:
        return open(f'/proc/{pid}/comm').read().startswith('eorva')
    except OSError:
        return False


def of_owner():
    return [name for name in os.listdir('/proc') if name.isdigit() and owner(name) == OWNER]


def owner(pid):
    try:
        return os.stat(f'/proc/{pid}').st_uid
    except OSError:
        return None


def kill(victims):
    for pid in victims:
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def records(event):
    return {row[0]: row[1:] for row in query(
        'select result_id, start_time, stop_time, exit_info, shell_status, ended_by from task_result '
        f"where task_name like '{event}-%'")}


def victims_of(display, choice):
    """Some processes of the execution, in the order in which they are killed."""
    watch = children(display)
    execution = [child for pid in watch for child in children(pid)]
    runs = [child for pid in execution for child in children(pid) if is_eorva(child)]
    whole = [display, *watch, *execution, *runs]
    choice.shuffle(whole)
    return choice.choice([watch, execution, watch + execution, execution + watch, whole])


def fire_and_kill(event, choice, failures):
    display = subprocess.Popen(['eorva', 'fire', event], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait_until_none(lambda: not children(display.pid) and display.poll() is None, 'there is no watch')
    time.sleep(choice.uniform(0.0, SPAN))
    before = records(event)
    kill(victims_of(display.pid, choice))
    after = records(event)
    for number, row in before.items():
        if number not in after or (row[1] is not None and after[number] != row):
            failures.append(f'run {number}: {row} before the kill, {after.get(number)} after it')
    display.wait()


def reported():
    """The exit statuses that runs have reported, by process."""
    lines = [line.split() for name in glob.glob('/run/eorva/executions/*') for line in open(name)]
    return {int(words[1]): int(words[2]) for words in lines if words[:1] == ['end']}


def files():
    places = ('/run/eorva/executions/*', '/sys/fs/cgroup/**/eorva-*', '/tmp/eorvascheduler*')
    return {path for place in places for path in glob.glob(place, recursive=True)}


def check(ends, last):
    assert not query('select * from task_result where stop_time is null'), 'runs are open'
    got = dict(query(f'select pid, shell_status from task_result where result_id > {last}'))
    wrong = {pid: (status, got[pid]) for pid, status in ends.items() if pid in got and got[pid] != status}
    assert not wrong, f'reported and recorded: {wrong}'
    wait_until_none(lambda: files() - at_first, 'left')
    wait_until_none(of_owner, 'processes of runs are left')


def round_of_kills(number):
    last = query('select coalesce(max(result_id), 0) from task_result')[0][0]
    failures = []
    choices = [random.Random(f'{seed}-{event}-{number}') for event in events]
    threads = [threading.Thread(target=fire_and_kill, args=(event, choice, failures))
               for event, choice in zip(events, choices)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not failures, failures
    # The scripts that are left may end now.
    time.sleep(choices[0].uniform(0.0, 0.4))
    ends = reported()
    start = time.monotonic()
    subprocess.run(['eorva', 'run', 'next'], timeout=LIMIT, check=True, stdout=subprocess.DEVNULL)
    took = time.monotonic() - start
    check(ends, last)
    return len(ends), took


at_first = files()
rounds = -(-kills // len(events))
results = [round_of_kills(number) for number in range(rounds)]
print(f'{rounds * len(events)} kills of executions with {query("select count(*) from task_result")[0][0]} runs; '
      f'{sum(ends for ends, _ in results)} of these had reported their ends; '
      f'the next command took {max(took for _, took in results):.1f} s at most')

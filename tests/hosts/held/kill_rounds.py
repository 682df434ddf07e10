#!/usr/bin/python3
"""Fires an event, kills its watch, its execution or both at a random moment, and runs the next command; several times.

    kill_rounds.py ROUNDS DATABASE
"""
import glob
import os
import random
import signal
import sqlite3
import subprocess
import sys
import time

rounds, database = int(sys.argv[1]), sys.argv[2]
seed = os.environ.get('EORVA_SEED') or str(random.SystemRandom().randrange(10**9))
print(f'seed {seed}', flush=True)
rng = random.Random(seed)
LIMIT = 10
OWNER = 'alice'


def pids(*options):
    return [int(pid) for pid in subprocess.run(['pgrep', *options], capture_output=True, text=True).stdout.split()]


def wait_until_none(find, what):
    end = time.monotonic() + LIMIT
    while left := find():
        assert time.monotonic() < end, f'{what}: {left}'
        time.sleep(0.01)


def kill(victims):
    for pid in victims:
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass


def reported():
    """The exit statuses that runs have reported, by process."""
    lines = [line.split() for name in glob.glob('/run/eorva/executions/*') for line in open(name)]
    return {int(words[1]): int(words[2]) for words in lines if words[:1] == ['end']}


def files():
    places = ('/run/eorva/executions/*', '/sys/fs/cgroup/**/eorva-*', '/tmp/eorvascheduler*')
    return {path for place in places for path in glob.glob(place, recursive=True)}


def query(text):
    with sqlite3.connect(f'file:{database}?mode=ro', uri=True, timeout=LIMIT) as store:
        return store.execute(text).fetchall()


def fire_and_kill():
    display = subprocess.Popen(['eorva', 'fire', 'kills'], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    wait_until_none(lambda: not pids('-P', str(display.pid)), 'there is no watch')
    time.sleep(rng.uniform(0.0, 1.8))
    watch = pids('-P', str(display.pid))
    execution = [pid for parent in watch for pid in pids('-P', str(parent))]
    kill(rng.choice([watch, execution, watch + execution, execution + watch]))
    display.wait(LIMIT)
    # The scripts that are left may end now.
    time.sleep(rng.uniform(0.0, 0.8))


def check(ends, last):
    assert not query('select * from task_result where stop_time is null'), 'runs are open'
    got = dict(query(f'select pid, shell_status from task_result where result_id > {last}'))
    wrong = {pid: (status, got[pid]) for pid, status in ends.items() if pid in got and got[pid] != status}
    assert not wrong, f'reported and recorded: {wrong}'
    wait_until_none(lambda: files() - before, 'left')
    wait_until_none(lambda: pids('-u', OWNER), 'processes of runs are left')


before = files()
closed = 0
for _ in range(rounds):
    last = query('select coalesce(max(result_id), 0) from task_result')[0][0]
    fire_and_kill()
    ends = reported()
    subprocess.run(['eorva', 'run', 'next'], timeout=LIMIT, check=True, stdout=subprocess.DEVNULL)
    check(ends, last)
    closed += len(ends)
print(f'{rounds} rounds, {query("select count(*) from task_result")[0][0]} runs, {closed} ends reported before')

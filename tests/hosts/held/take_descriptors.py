#!/usr/bin/python3
"""A script that takes the descriptors of every process: what it gets, it prints, writes to, and keeps for a minute."""
import ctypes
import os
import time

PIDFD_GETFD = 438
# In two parts, because the log shows this text.
MESSAGE = b'written by ' + b'the script\n'
OWN = os.readlink('/proc/self/fd/1')
libc = ctypes.CDLL(None, use_errno=True)


def by_pidfd(pid, number):
    pidfd = os.pidfd_open(pid)
    try:
        got = libc.syscall(PIDFD_GETFD, pidfd, number, 0)
        if got < 0:
            raise OSError(ctypes.get_errno(), 'pidfd_getfd')
        return got
    finally:
        os.close(pidfd)


def by_proc(pid, number):
    return os.open(f'/proc/{pid}/fd/{number}', os.O_RDWR | os.O_NONBLOCK)


def name_of(pid):
    try:
        return open(f'/proc/{pid}/comm').read().strip()
    except OSError:
        return 'ended'


def numbers_of(pid):
    try:
        return [int(name) for name in os.listdir(f'/proc/{pid}/fd')]
    except OSError:
        return range(32)


def write(descriptor):
    try:
        os.set_blocking(descriptor, False)
        os.write(descriptor, MESSAGE)
    except OSError:
        pass


def take(way, pid, number):
    try:
        got = way(pid, number)
    except OSError:
        return
    target = os.readlink(f'/proc/self/fd/{got}')
    print(f'took {number} of {name_of(pid)}: {target}', flush=True)
    if target != OWN:
        write(got)


for pid in [int(name) for name in os.listdir('/proc') if name.isdigit() and int(name) != os.getpid()]:
    for number in numbers_of(pid):
        for way in (by_pidfd, by_proc):
            take(way, pid, number)
if os.fork() == 0:
    os.setsid()
    time.sleep(60)

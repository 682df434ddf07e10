#!/usr/bin/python3
"""Keeps each "sleep 299" from ending for a second when it is killed, as does a disk that does not respond."""
import ctypes
import os
import time

STALLED = b'sleep\x00299\x00'
SECONDS = 1
PTRACE_CONT, PTRACE_DETACH, PTRACE_SEIZE = 7, 17, 0x4206
PTRACE_O_TRACEEXIT, PTRACE_EVENT_EXIT, PTRACE_EVENT_STOP = 0x40, 6, 128
WALL = 0x40000000
libc = ctypes.CDLL(None, use_errno=True)
traced, killed = set(), {}


def seize():
    for pid in [int(name) for name in os.listdir('/proc') if name.isdigit() and int(name) not in traced]:
        try:
            if open(f'/proc/{pid}/cmdline', 'rb').read() != STALLED:
                continue
        except OSError:
            continue
        if libc.ptrace(PTRACE_SEIZE, pid, None, PTRACE_O_TRACEEXIT) == 0:
            traced.add(pid)
            open('/tmp/begun', 'a').write('stalls\n')


def follow():
    """Goes through all that the traced processes tell."""
    while traced:
        pid, status = os.waitpid(-1, os.WNOHANG | WALL)
        if pid == 0:
            return
        if not os.WIFSTOPPED(status):
            traced.discard(pid)
        elif status >> 16 == PTRACE_EVENT_EXIT:
            killed[pid] = time.monotonic() + SECONDS
        else:
            libc.ptrace(PTRACE_CONT, pid, None, os.WSTOPSIG(status) if status >> 16 == 0 else 0)


def let_go():
    for pid in [pid for pid, end in killed.items() if time.monotonic() >= end]:
        libc.ptrace(PTRACE_DETACH, pid, None, None)
        traced.discard(pid)
        del killed[pid]


while True:
    seize()
    follow()
    let_go()
    time.sleep(0.1)

#!/usr/bin/python3
"""Runs a command with odd limits, priorities, signals, keys, descriptors and variables."""
import ctypes
import os
import re
import resource
import sys

libc = ctypes.CDLL(None, use_errno=True)
RT_SIGACTION, RT_SIGPROCMASK, IOPRIO_SET, KEYCTL, ADD_KEY = 13, 14, 251, 250, 248
PR_SET_TIMERSLACK, PR_SET_THP_DISABLE = 29, 41
KEYCTL_JOIN_SESSION_KEYRING = 1
SESSION = -3
IO_IDLE = 3 << 13
CAP_SYS_RESOURCE = 24
LOW = {resource.RLIMIT_NOFILE: 150, resource.RLIMIT_STACK: 2 << 20, resource.RLIMIT_NPROC: 450,
       resource.RLIMIT_CPU: 250, resource.RLIMIT_CORE: 4096, resource.RLIMIT_MEMLOCK: 4096,
       resource.RLIMIT_FSIZE: 1 << 28, resource.RLIMIT_MSGQUEUE: 4096, resource.RLIMIT_SIGPENDING: 100}
IGNORED = ctypes.create_string_buffer((1).to_bytes(8, 'little'), 32)


def may_raise_limits():
    status = open('/proc/self/status').read()
    return int(re.search(r'CapEff:\s*(\w+)', status)[1], 16) >> CAP_SYS_RESOURCE & 1


def odd_limits():
    for limit, low in LOW.items():
        hard = resource.getrlimit(limit)[1]
        # Where root itself could not raise it again, as in many containers, the hard limit stays.
        resource.setrlimit(limit, (low, low * 2 if may_raise_limits() else hard))


def odd_scheduling():
    os.nice(7)
    os.sched_setaffinity(0, {min(os.sched_getaffinity(0))})
    os.sched_setscheduler(0, os.SCHED_BATCH, os.sched_param(0))
    libc.syscall(IOPRIO_SET, 1, 0, IO_IDLE)
    open('/proc/self/oom_score_adj', 'w').write('321')
    libc.prctl(PR_SET_TIMERSLACK, 12345678)


def odd_signals():
    everything = ctypes.create_string_buffer(b'\xff' * 8, 8)
    for number in range(1, 65):
        libc.syscall(RT_SIGACTION, number, IGNORED, None, 8)
    libc.syscall(RT_SIGPROCMASK, 2, everything, None, 8)


def odd_keyring():
    libc.syscall(KEYCTL, KEYCTL_JOIN_SESSION_KEYRING, b'of-root')
    libc.syscall(ADD_KEY, b'user', b'key-of-root', b'secret', 6, SESSION)


def odd_descriptors():
    for number in range(5, 40):
        os.dup2(os.open('/etc/shadow', os.O_RDONLY), number, inheritable=True)


odd_limits()
odd_scheduling()
odd_signals()
odd_keyring()
odd_descriptors()
os.umask(0o777)
os.chdir('/root')
os.environ.update(LANG='de_DE.UTF-8', LC_ALL='tr_TR.UTF-8', TZ='Asia/Tokyo', SECRET='of-root', LD_BIND_NOW='1')
os.execvp(sys.argv[1], sys.argv[1:])

#!/usr/bin/python3
"""A script that always continues in a new process, in a new session, and ignores all signals."""
import os
import signal
import time

for number in set(signal.valid_signals()) - {signal.SIGKILL, signal.SIGSTOP, 32, 33}:
    signal.signal(number, signal.SIG_IGN)
first = os.getpid()
open('/tmp/begun', 'a').write('comet\n')
while True:
    if os.fork() != 0:
        if os.getpid() == first:
            # The script itself goes on, so that the run does.
            while True:
                time.sleep(60)
        os._exit(0)
    os.setsid()
    time.sleep(0.01)

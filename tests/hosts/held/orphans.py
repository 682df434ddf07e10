#!/usr/bin/python3
"""A script that has 400 short-lived processes without parents at any time, until /tmp/go exists."""
import os
import resource
import time

ALIVE = 400
resource.setrlimit(resource.RLIMIT_NPROC, (ALIVE, ALIVE))
started = 0
while not os.path.exists('/tmp/go'):
    try:
        child = os.fork()
    except BlockingIOError:
        time.sleep(0.005)
        continue
    if child == 0:
        try:
            if os.fork() == 0:
                time.sleep(0.1)
        except BlockingIOError:
            os._exit(1)
        os._exit(0)
    started += os.waitpid(child, 0)[1] == 0
print(started)

#!/usr/bin/python3
"""A script that forks without end, with at most 100 processes of its user."""
import os
import resource
import time

resource.setrlimit(resource.RLIMIT_NPROC, (100, 100))
open('/tmp/begun', 'a').write('fork bomb\n')
while True:
    try:
        os.fork()
    except BlockingIOError:
        pass
    time.sleep(0.05)

#!/bin/sh
# Prints the load of the machine.
set -eu
echo "load: $(cut -d ' ' -f 1-3 /proc/loadavg), processors: $(nproc)"
ps -e -o pid,user,pcpu,rss,comm --sort=-rss | head -n 6
sleep 2
echo "load 2 seconds later: $(cut -d ' ' -f 1-3 /proc/loadavg)"

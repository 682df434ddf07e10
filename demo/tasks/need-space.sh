#!/bin/sh
# The nightly copy wants one exabyte; without it there is no point in starting it.
wanted=$((1024 * 1024 * 1024 * 1024 * 1024))
free=$(df -Pk / | awk 'NR == 2 { print $4 }')
echo "free: $free KiB, wanted: $wanted KiB"
[ "$free" -ge "$wanted" ] && exit 0
echo "not enough room" >&2
exit 4

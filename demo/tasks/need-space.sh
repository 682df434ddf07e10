#!/bin/sh
# The nightly copy needs one exabyte of free space. Fails without it.
wanted=$((1024 * 1024 * 1024 * 1024 * 1024))
free=$(df -Pk / | awk 'NR == 2 { print $4 }')
echo "free: $free KiB, wanted: $wanted KiB"
[ "$free" -ge "$wanted" ] && exit 0
echo "not enough room" >&2
exit 4

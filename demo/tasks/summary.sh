#!/bin/sh
# Runs when everything it waits for has ended, however that went.
echo "$(id -un) on $(uname -n): the event was $EORVA_EVENT, it is $(date '+%H:%M:%S') now"
echo "umask $(umask), folder $(pwd), groups $(id -Gn)"

#!/bin/sh
# Runs when all tasks that it waits for have ended, also after a failure.
echo "$(id -un) on $(uname -n): the event was $EORVA_EVENT, it is $(date '+%H:%M:%S') now"
echo "umask $(umask), folder $(pwd), groups $(id -Gn)"

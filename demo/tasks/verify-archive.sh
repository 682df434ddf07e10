#!/bin/sh
# Checksums every archived log, and compares with the list of last time.
set -eu
cd "$HOME/log-archive"
sha256sum -- *.gz >../log-archive.new
if [ -f ../log-archive.sha256 ]; then
  sha256sum --check --quiet ../log-archive.sha256
fi
mv ../log-archive.new ../log-archive.sha256
cat ../log-archive.sha256

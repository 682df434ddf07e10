#!/bin/sh
# Computes a checksum of every archived log, and compares it with the previous list.
set -eu
cd "$HOME/log-archive"
sha256sum -- *.gz >../log-archive.new
if [ -f ../log-archive.sha256 ]; then
  sha256sum --check --quiet ../log-archive.sha256
fi
mv ../log-archive.new ../log-archive.sha256
cat ../log-archive.sha256

#!/bin/sh
# Computes a checksum of every archived list, and compares it with the previous list.
set -eu
cd "$HOME/package-lists"
sha256sum -- *.gz >../package-lists.new
if [ -f ../package-lists.sha256 ]; then
  sha256sum --check --quiet ../package-lists.sha256
fi
mv ../package-lists.new ../package-lists.sha256
cat ../package-lists.sha256

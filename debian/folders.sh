# holds_mount FOLDER: whether something is mounted on the folder or below. Bind mounts count, even of the same file system.
holds_mount() {
  awk -v folder="$(realpath -m "$1")" 'index($5 "/", folder "/") == 1 { found = 1 } END { exit !found }' \
    /proc/self/mountinfo
}

# remove_folder FOLDER [CONTENTS]: removes it, and says so if contents are named and it has files. A folder on which an
# administrator has mounted something stays.
remove_folder() {
  if holds_mount "$1"; then
    echo "$1 stays: something is mounted there" >&2
    return
  fi
  if [ -n "${2:-}" ] && [ -n "$(find "$1" -xdev -type f -print -quit 2>/dev/null)" ]; then
    echo "removing $2: $(du -sh "$1" | cut -f 1) in $1"
  fi
  # Without /proc, holds_mount finds nothing, but rm still stops at other file systems.
  rm -rf --one-file-system --preserve-root=all "$1" || true
}

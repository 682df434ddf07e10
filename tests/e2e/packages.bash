# For tests that install packages in /mnt/root, under private_root.

root=/mnt/root

step() { echo "-- $*"; }

# same WHAT WANTED GOT
same() {
  [[ $2 == "$3" ]] || { printf '%s\nwanted: %s\ngot:    %s\n' "$1" "$2" "$3"; exit 1; }
}

inside() { DEBIAN_FRONTEND=noninteractive chroot "$root" "$@"; }

package() { inside dpkg --force-unsafe-io "$@" >"$root/dpkg.log" 2>&1 || { cat "$root/dpkg.log"; exit 1; }; }

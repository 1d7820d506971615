# A fresh Debian root to try things in; to be sourced. Wants to be root, and a
# mirror. The root is $root; the file system of processes is there while a
# script runs.

# make_root ROOT: made by debootstrap if it is not there, and kept; without a
# name a temporary one.
make_root() {
  root=${1:-}
  if [[ -z $root ]]; then
    root=$(mktemp -d)
    trap 'leave_root; rm -rf --one-file-system "$root"' EXIT
  else
    mkdir -p "$root"
    root=$(realpath "$root")
    trap leave_root EXIT
  fi
  if [[ ! -x $root/bin/sh ]]; then
    local suite mirror
    suite=$(. /etc/os-release && echo "$VERSION_CODENAME")
    # From where this machine gets its own packages.
    mirror=$(apt-get indextargets --format '$(REPO_URI) $(RELEASE)' 'Created-By: Packages' |
      awk -v suite="$suite" '$2 == suite && !n++ { print $1 }')
    debootstrap --variant=minbase "$suite" "$root" $mirror >"$root.log" 2>&1 || {
      tail -3 "$root.log" >&2
      exit 1
    }
  fi
  mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"
}

leave_root() { umount "$root/proc" 2>/dev/null || true; }

# inside COMMAND...: with nothing of this machine's environment.
inside() {
  env -i PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
    DEBIAN_FRONTEND=noninteractive HOME=/root chroot "$root" "$@"
}

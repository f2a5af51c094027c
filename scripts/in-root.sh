#!/usr/bin/env bash
# Runs a command in a root folder, as root. Mounts and processes are the command's own and are gone
# when it ends or this process is ended; the network is the machine's.
# Usage: in-root.sh FOLDER COMMAND [argument ...]
set -euo pipefail

cp -fL /etc/resolv.conf "$1/etc/resolv.conf"
unshare --mount --pid --fork --kill-child bash -c '
  set -e
  folder=$1
  shift
  mount --make-rprivate /
  mount -t proc proc "$folder/proc"
  mount --rbind /sys "$folder/sys"
  mount --rbind /dev "$folder/dev"
  mount -t tmpfs -o mode=1777 tmp "$folder/tmp"
  exec chroot "$folder" env -i HOME=/root LANG=C.UTF-8 \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"' in-root "$@" <&0 &
# It holds an ordinary end back until its child's; killed, it takes all in there along.
trap "kill -KILL $!" INT TERM
wait $!

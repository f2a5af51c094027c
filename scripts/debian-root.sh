# Debian roots for the scripts that verify a release or a package; to be sourced, by root.
# The roots stand under $PODCONSOLE_ROOTS (default: the user's cache) and are made once. They take
# the mirror, the name server and the apt options of this machine.

roots=${PODCONSOLE_ROOTS:-${XDG_CACHE_HOME:-$HOME/.cache}/podconsole/roots}

# The mirror that this machine's apt takes its own Debian release from.
machine_mirror() {
  apt-get indextargets --format '$(CODENAME) $(COMPONENT) $(REPO_URI)' |
    awk -v release="$(. /etc/os-release && echo "$VERSION_CODENAME")" \
      '$1 == release && $2 == "main" { print $3; exit }'
}

# make_root RELEASE NAME [MIRROR]: the root of that name, copied from a minimal Debian that is
# bootstrapped at the first need. Prints its folder; leaves a root that is there already as it is.
make_root() {
  local release=$1 name=$2 mirror=${3:-} minimal=$roots/$1-minimal folder=$roots/$1-$2
  if [[ ! -e $minimal/.complete ]]; then
    [[ -n $mirror ]] || mirror=$(machine_mirror)
    [[ -n $mirror ]] || {
      echo "debian-root: no mirror in this machine's apt configuration; give one" >&2
      return 1
    }
    rm -rf --one-file-system "$minimal"
    mkdir -p "$roots"
    debootstrap --variant=minbase --include=ca-certificates "$release" "$minimal" "$mirror" >&2
    cp -f /etc/apt/apt.conf.d/* "$minimal/etc/apt/apt.conf.d/"
    touch "$minimal/.complete"
  fi
  if [[ ! -e $folder/.complete ]]; then
    rm -rf --one-file-system "$folder"
    cp -a "$minimal" "$folder"
  fi
  echo "$folder"
}

# in_root FOLDER COMMAND ...: runs the command in there. Mounts and processes are the command's own
# and are gone when it ends, however it ends.
in_root() {
  local folder=$1
  shift
  cp -fL /etc/resolv.conf "$folder/etc/resolv.conf"
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
      PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin "$@"' in_root "$folder" "$@"
}

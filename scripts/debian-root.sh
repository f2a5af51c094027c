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

# minimal_root RELEASE [MIRROR]: bootstraps the release's smallest system, if not done yet, and
# prints its folder. It is for copying only.
minimal_root() {
  local release=$1 mirror=${2:-} folder=$roots/$1-minimal
  if [[ ! -e $folder ]]; then
    [[ -n $mirror ]] || mirror=$(machine_mirror)
    [[ -n $mirror ]] || {
      echo "debian-root: no mirror in this machine's apt configuration; give one" >&2
      return 1
    }
    mkdir -p "$roots"
    rm -rf --one-file-system "$folder.part"
    debootstrap --variant=minbase --include=ca-certificates "$release" "$folder.part" "$mirror" >&2
    cp -f /etc/apt/apt.conf.d/* "$folder.part/etc/apt/apt.conf.d/"
    echo force-unsafe-io >"$folder.part/etc/dpkg/dpkg.cfg.d/unsafe-io"
    mv "$folder.part" "$folder"
  fi
  echo "$folder"
}

in_root() { "${BASH_SOURCE[0]%/*}/in-root.sh" "$@"; }

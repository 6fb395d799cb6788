#!/usr/bin/env bash
# Makes the Debian packages of a build and looks at them with lintian; with --install it installs them
# on a clean Debian 12, where an ordinary user makes an application and tries it:
# usage: packages.sh BUILD-FOLDER [--install]. Status 77 where that system cannot be had.
set -euo pipefail
tests=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(realpath "$1")
cache=${build%/*}/packages
system=$cache/debian12.tar

skip() {
  echo "SKIPPED: $1"
  exit 77
}

make_packages() {
  rm -rf "$cache/debs"
  mkdir -p "$cache/debs"
  cpack -G DEB --config "$build/CPackConfig.cmake" -B "$cache/debs" >"$cache/cpack.log" 2>&1 ||
    { cat "$cache/cpack.log"; return 1; }
  lintian --fail-on error "$cache"/debs/*.deb 2>&1 | { grep -v 'root privileges' || true; }
}

# The smallest Debian, kept with the packages that a maker of applications has besides, for all of
# which the first time takes the network.
make_system() {
  local sources=() tools=(gcc libc6-dev pkgconf python3-pytest zlib1g)
  [[ ! -e $system ]] || return 0
  [[ ! -e /etc/apt/sources.list.d/debian.sources ]] || sources=(/etc/apt/sources.list.d/debian.sources)
  # shellcheck disable=SC2016  # the hook's shell knows what $1 is
  mmdebstrap --quiet --format=tar --variant=minbase --skip=cleanup/apt \
    --customize-hook='chroot "$1" apt-get install --download-only --no-install-recommends -y -qq '"${tools[*]}" \
    bookworm "$system.part" "${sources[@]}" >"$cache/system.log" 2>&1 ||
    { tail -3 "$cache/system.log"; skip 'mmdebstrap makes no Debian 12 here'; }
  mv "$system.part" "$system"
}

# In namespaces of its own, as root in them. Nothing needs the network any more.
install_packages() {
  local root=$cache/root
  mkdir -p "$root"
  mount -t tmpfs clean-debian "$root"
  tar -C "$root" --exclude='./dev/*' -xf "$system"
  mount -t proc proc "$root/proc"
  mount --rbind /dev "$root/dev"
  cp "$cache"/debs/*.deb "$tests/packages/maker.sh" "$root/srv"
  # Each after those that it depends on, so that nothing is there that another one has brought.
  chroot "$root" sh -ec '
    export DEBIAN_FRONTEND=noninteractive PATH=/usr/sbin:/usr/bin:/sbin:/bin
    get() { apt-get -o APT::Sandbox::User=root install --no-install-recommends -y -qq "$@"; }
    get /srv/libsys1_*.deb /srv/libsys-dev_*.deb /srv/sentrel-tools_*.deb
    vboard list | grep -q "^panel-oem2 "
    get gcc libc6-dev pkgconf python3-pytest
    useradd --create-home maker' >"$cache/install.log" 2>&1 || { tail -20 "$cache/install.log"; return 1; }
  chroot "$root" su - maker -c 'mkdir empty && cd empty && exec bash -e /srv/maker.sh'
}

case ${2:-} in
  --inside) install_packages ;;
  --install)
    command -v mmdebstrap >/dev/null || skip 'there is no mmdebstrap'
    make_packages
    as_root=()
    [[ $(id -u) == 0 ]] || as_root=(--map-root-user --map-auto)
    namespaces=(unshare "${as_root[@]}" --mount --pid --fork)
    "${namespaces[@]}" mount -t tmpfs test "$cache/debs" 2>/dev/null || skip 'there are no namespaces with mounts'
    make_system
    "${namespaces[@]}" "${BASH_SOURCE[0]}" "$build" --inside
    ;;
  *) make_packages ;;
esac

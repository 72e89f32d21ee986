#!/usr/bin/env bash
# package_test.sh [--bare]: makes the packages of build/release and tries them in an empty Debian 12 made by
# debootstrap: a host is built against what was installed, and run, and so are the tool and the Python package.
# With --bare the sources are copied there too and ./dev demo and ./dev test run on nothing but a bare system.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."
say() { echo "package-test: $*" >&2; }

mkdir -p build/packages
rm -f build/packages/*
cpack --config build/release/CPackConfig.cmake -B build/packages >build/cpack.log || { cat build/cpack.log; exit 1; }
rm -rf build/packages/_CPack_Packages
say "made:" build/packages/*

if ((EUID != 0)); then
  say "not tried: an empty root needs root"
  exit 0
fi

mirror=${QUORVEL_MIRROR:-http://deb.debian.org/debian}
root=$(mktemp -d)
clean_up() {
  for mounted in proc dev/pts dev; do
    ! mountpoint -q "$root/$mounted" || umount "$root/$mounted"
  done
  rm -rf --one-file-system "$root"
}
trap clean_up EXIT
open_root() {  # what a system expects of its root folder, which mktemp made for this user alone, and mounts
  chmod 755 "$root"
  mount -t proc proc "$root/proc" || say "no /proc in the root"
  mount --bind /dev "$root/dev" || say "no /dev in the root"
  mount --bind /dev/pts "$root/dev/pts" || say "no /dev/pts in the root"
}

# An unpacked base system is kept, as an archive, for the next time.
base=build/packages-base.tar
if [[ ! -e $base ]]; then
  say "making an empty Debian 12 from $mirror"
  if ! debootstrap --variant=minbase bookworm "$root" "$mirror" >build/debootstrap.log 2>&1; then
    say "not tried: debootstrap failed ($(tail -n1 build/debootstrap.log))"
    exit 1
  fi
  tar -C "$root" -cf "$base" .
else
  tar -C "$root" -xf "$base"
fi
cp /etc/resolv.conf "$root/etc/resolv.conf"
printf 'deb %s bookworm main\ndeb %s bookworm-updates main\ndeb %s bookworm-security main\n' \
  "$mirror" "$mirror" "$mirror-security" >"$root/etc/apt/sources.list"
open_root

inside() {
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
    chroot "$root" "$@"
}

say "installing the package and building a host against it"
mkdir "$root/try"
cp build/packages/*.deb "$root/try"
cp -r tests/install "$root/try/install"
inside bash -euc 'apt-get -qq update && apt-get -qq -y --no-install-recommends install /try/*.deb >/try/log 2>&1 ||
  { tail /try/log; exit 1; }'
known=$(inside ldconfig -p)
[[ $known == *libquorvel.so.2\ * ]] || { say "the loader does not know the library"; exit 1; }
inside quorvel --version
inside bash -euc 'apt-get -qq -y --no-install-recommends install python3 g++ cmake ninja-build pkg-config libssl-dev libzip-dev \
  >/try/log 2>&1 || { tail /try/log; exit 1; }'
inside bash /try/install/build_hosts.sh /usr /try/hosts
inside python3 /try/install/host.py
say "the package works in an empty Debian 12"

if [[ ${1:-} == --bare ]]; then
  say "making the root bare again, for the sources"
  clean_up
  mkdir -p "$root"
  tar -C "$root" -xf "$base"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  open_root
  mkdir "$root/quorvel"
  tar --exclude=./build --exclude=./.git -cf - . | tar -C "$root/quorvel" -xf -
  inside /quorvel/dev demo
  time inside /quorvel/dev test
  say "./dev demo and ./dev test work on a bare Debian 12"
fi

#!/usr/bin/env bash
# package_test.sh MIRROR [--bare]: makes the packages of build/package and tries each, with what it depends on and
# nothing else, in an empty Debian 12 that debootstrap makes from MIRROR: the tool, the Python package, and hosts
# built against the development files. What was purged leaves nothing behind.
# With --bare the sources are copied there too and ./dev demo and ./dev test run on nothing but a bare system.
# Ends with 77 when what this needs is not there: an empty MIRROR says that none answers.
set -euo pipefail
cd "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")/.."
say() { echo "package-test: $*" >&2; }
not_tried() { say "not tried: $*"; exit 77; }
fail() { say "$*"; exit 1; }
quietly() { "$@" >build/package_test.log 2>&1 || { tail build/package_test.log >&2; fail "failed: $*"; }; }

mirror=$1
for program in dpkg-shlibdeps dpkg-scanpackages file; do
  command -v $program >/dev/null || not_tried "$program is missing"
done
rm -rf build/packages
quietly cpack --preset package
rm -rf build/packages/_CPack_Packages
say "made:" build/packages/*

((EUID == 0)) || not_tried "an empty root needs root"
[[ $mirror ]] || not_tried "an empty root needs a mirror of Debian"

root=$(mktemp -d)
close_root() {
  local mounted
  for mounted in proc dev/pts dev; do
    ! mountpoint -q "$root/$mounted" || umount "$root/$mounted"
  done
  rm -rf --one-file-system "$root"
}
trap close_root EXIT

# An empty Debian 12 at $root. Its base system is kept, as an archive, for the next time.
open_root() {
  local base=build/packages-base.tar
  mkdir -p "$root"
  if [[ ! -e $base ]]; then
    say "making an empty Debian 12 from $mirror"
    quietly debootstrap --variant=minbase bookworm "$root" "$mirror"
    tar -C "$root" -cf "$base.new" .
    mv "$base.new" "$base"
  else
    tar -C "$root" -xf "$base"
  fi
  chmod 755 "$root"  # mktemp made it for this user alone
  mount -t proc proc "$root/proc" || say "no /proc in the root"
  mount --bind /dev "$root/dev" || say "no /dev in the root"
  mount --bind /dev/pts "$root/dev/pts" || say "no /dev/pts in the root"
  cp /etc/resolv.conf "$root/etc/resolv.conf"
  printf 'deb %s bookworm main\ndeb %s bookworm-updates main\ndeb %s bookworm-security main\n' \
    "$mirror" "$mirror" "$mirror-security" >"$root/etc/apt/sources.list"
}
inside() {
  env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 DEBIAN_FRONTEND=noninteractive \
    ${http_proxy:+"http_proxy=$http_proxy"} \
    chroot "$root" "$@"
}
get() { quietly inside apt-get -q -y --no-install-recommends -o Acquire::Retries=3 "$@"; }
purge() {  # purge PACKAGE...: and with them what came for them alone
  local left
  get purge --auto-remove "$@"
  left=$(inside find / -xdev -path /try -prune -o -name '*quorvel*' -print)
  [[ -z $left ]] || fail "left behind after purging $*:" "$left"
}

open_root
mkdir "$root/try"
cp -r build/packages tests/install "$root/try"
(cd "$root/try/packages" && dpkg-scanpackages . >Packages 2>/dev/null)
echo "deb [trusted=yes] file:/try/packages ./" >"$root/etc/apt/sources.list.d/try.list"
get update

say "quorvel-tools"
get install quorvel-tools
inside quorvel --version
known=$(inside ldconfig -p)
[[ $known == *libquorvel.so.2\ * ]] || fail "the loader does not know the library"
purge quorvel-tools

say "python3-quorvel"
get install python3-quorvel
inside python3 /try/install/host.py
purge python3-quorvel

say "libquorvel-dev"
get install libquorvel-dev g++ cmake ninja-build pkg-config
inside bash /try/install/build_hosts.sh /usr /try/hosts
purge libquorvel-dev
say "the packages work in an empty Debian 12"

if [[ ${2:-} == --bare ]]; then
  say "making the root bare again, for the sources"
  close_root
  open_root
  mkdir "$root/quorvel"
  tar --exclude=./build --exclude=./.git -cf - . | tar -C "$root/quorvel" -xf -
  inside /quorvel/dev demo
  time inside /quorvel/dev test
  say "./dev demo and ./dev test work on a bare Debian 12"
fi

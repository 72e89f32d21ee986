#!/usr/bin/env bash
# build_hosts.sh PREFIX BUILD_DIR: builds and runs small hosts against the quorvel installed at PREFIX, found by
# its CMake package and by pkg-config.
set -euo pipefail
source=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
prefix=$1
build=$2

cmake -S "$source" -B "$build" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$build" >/dev/null
"$build/host_quorvel"
"$build/host_quorvel_static"

export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
read -ra flags < <(pkg-config --cflags --libs 'quorvel >= 2.9')
g++ -std=c++20 "$source/host.cc" -o "$build/host_pkg_config" "${flags[@]}"
gcc -std=c99 -Wall -Wextra -Wpedantic -Werror "$source/host.c" -o "$build/host_c" "${flags[@]}"
LD_LIBRARY_PATH=$prefix/lib "$build/host_pkg_config"
LD_LIBRARY_PATH=$prefix/lib "$build/host_c"

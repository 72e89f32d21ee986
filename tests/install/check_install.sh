#!/usr/bin/env bash
# check_install.sh BUILD_DIR: installs a build tree below itself and tries hosts, the tool and the Python package
# against what was installed.
set -euo pipefail
here=$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")
build=$1
prefix=$build/install_check/prefix

rm -rf "$build/install_check"
cmake --install "$build" --prefix "$prefix" >/dev/null
bash "$here/build_hosts.sh" "$prefix" "$build/install_check/hosts"
"$prefix/bin/quorvel" --version
env -u QUORVEL_LIBRARY PYTHONPATH="$prefix/lib/python3/dist-packages" LD_LIBRARY_PATH="$prefix/lib" \
  python3 "$here/host.py"

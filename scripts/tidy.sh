#!/usr/bin/env bash
# tidy.sh BUILD_DIR FILE: clang-tidy of one source. What was found clean is not looked at again until the source,
# one of the headers it includes or .clang-tidy changes.
set -euo pipefail
build=$1
file=$2

mapfile -t parts < <(g++ -std=c++20 -MM -I src -I include -I tools "$file" | tr -d "\\\\" | tr -s ' \n' '\n' | grep -v ':$')
key=$(cat .clang-tidy "${parts[@]}" | sha256sum | cut -d' ' -f1)
stamp=$build/tidy/$(tr / _ <<<"$file")
[[ $(cat "$stamp" 2>/dev/null) != "$key" ]] || exit 0

if ! output=$(clang-tidy -p "$build" --quiet "$file" 2>&1); then
  printf '%s\n' "$output"
  exit 1
fi
mkdir -p "$build/tidy"
echo "$key" >"$stamp"

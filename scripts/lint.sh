#!/bin/sh
# Checks every C++ source of the repository against the project's habits, and fails on a finding:
# clang-format (.clang-format) over every tracked .cpp and .h, clang-tidy (.clang-tidy, and the
# relaxed ones of tests/, fuzz/ and benchmarks/) over every translation unit of the builds given.
#
#   scripts/lint.sh [BUILD_DIR...]   configured builds with compile_commands.json, by default
#                                    build/default and build/hardened: between them every profile's
#                                    sources (each source is checked once, in the first build that
#                                    compiles it)
#   FIX=1 scripts/lint.sh            rewrites the sources in clang-format's layout instead of failing
set -eu
cd "$(dirname "$0")/.."
[ $# -gt 0 ] || set -- build/default build/hardened

if [ "${FIX:-0}" = 1 ]; then
  git ls-files '*.cpp' '*.h' | xargs clang-format -i
else
  echo "lint: clang-format"
  git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
fi

seen=$(mktemp)
trap 'rm -f "$seen"' EXIT
for build in "$@"; do
  if [ ! -f "$build/compile_commands.json" ]; then
    echo "lint: $build/compile_commands.json is missing: configure that build first" >&2
    exit 2
  fi
  echo "lint: clang-tidy over the sources of $build"
  # The sources of the tree (not the generated message classes) not checked in an earlier build.
  /usr/bin/python3 -c '
import json, sys
seen = set(open(sys.argv[2]).read().split())
for entry in json.load(open(sys.argv[1])):
    path = entry["file"]
    if "/build/" not in path and path not in seen:
        seen.add(path)
        print(path)
' "$build/compile_commands.json" "$seen" >"$seen.new"
  cat "$seen.new" >>"$seen"
  if [ -s "$seen.new" ]; then
    xargs -P "$(nproc)" -n 4 clang-tidy -p "$build" --quiet <"$seen.new"
  fi
  rm -f "$seen.new"
done
echo "lint: no finding"

#!/bin/sh
# Checks every C++ source of the repository against the project's habits, and fails on a finding:
# clang-format (.clang-format) over every tracked .cpp and .h, clang-tidy (.clang-tidy, and the
# relaxed ones of tests/, fuzz/ and benchmarks/) over every translation unit of a configured build.
#
#   scripts/lint.sh [BUILD_DIR]    BUILD_DIR: a configured build with compile_commands.json
#                                  (default build/default, which compiles every profile's sources)
#   FIX=1 scripts/lint.sh          rewrites the sources in clang-format's layout instead of failing
set -eu
cd "$(dirname "$0")/.."
build=${1:-build/default}

if [ "${FIX:-0}" = 1 ]; then
  git ls-files '*.cpp' '*.h' | xargs clang-format -i
else
  echo "lint: clang-format"
  git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror
fi

if [ ! -f "$build/compile_commands.json" ]; then
  echo "lint: $build/compile_commands.json is missing: configure that build first" >&2
  exit 2
fi
echo "lint: clang-tidy over the sources of $build"
# The sources of the tree (not the generated message classes), each once; a finding is an error.
/usr/bin/python3 -c '
import json, sys
seen = set()
for entry in json.load(open(sys.argv[1])):
    path = entry["file"]
    if "/build/" not in path and path not in seen:
        seen.add(path)
        print(path)
' "$build/compile_commands.json" | xargs -P "$(nproc)" -n 4 clang-tidy -p "$build" --quiet
echo "lint: no finding"

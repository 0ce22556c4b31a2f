#!/bin/bash
# Prints how much of the project's source is tests.
#
# The measure: non-blank lines that are not comments, of C++ (.cpp, .h), Python, shell (.sh and
# the extension-less scripts that start with "#!") and .proto sources. A comment line is one whose
# first non-blank characters are "//" (C++, proto) or "#" (Python, shell; a "#!" line too). CMake
# files and data (golden texts, fuzz corpora, example cards, documents) are not counted.
#   tests: tests/, fuzz/, benchmarks/
#   code:  src/, include/, common/, platform/, tools/
# The share is tests / (tests + code); the budget is 33 % at most.
set -euo pipefail
cd "$(dirname "$0")/.."

count_lines() {
  local total=0 file comment n
  while IFS= read -r -d '' file; do
    case "$file" in
      *.cpp | *.h | *.proto) comment='//' ;;
      *.py | *.sh) comment='#' ;;
      *)
        if [ "$(head -c 2 "$file")" = '#!' ]; then comment='#'; else continue; fi
        ;;
    esac
    n=$(grep -v -e '^[[:space:]]*$' -e "^[[:space:]]*$comment" "$file" | wc -l)
    total=$((total + n))
  done < <(find "$@" -type f ! -path '*/corpus/*' ! -path '*/golden/*' -print0 2>/dev/null)
  echo "$total"
}

tests=$(count_lines tests fuzz benchmarks)
code=$(count_lines src include common platform tools)
share=$((tests * 1000 / (tests + code)))
printf 'tests: %d lines\ncode:  %d lines\nshare: %d.%d %% (budget 33 %%)\n' "$tests" "$code" $((share / 10)) $((share % 10))
[ "$share" -le 330 ]

#!/bin/sh
# tailLogFiles.sh OUTPUT_DIR COUNT
#
# Writes into OUTPUT_DIR a shortened copy of each of the card's logs "logUpdate.csv",
# "logAccount.csv", "logSession.csv" and "logSystem.csv": the header line (the first line of the
# log) followed by the last COUNT lines after it. Bytes are copied unchanged: a log that does not
# end in a line feed gives a copy that does not either.
#
# - A log that is missing or unreadable is skipped: no copy is made and an earlier copy in
#   OUTPUT_DIR is left as it was. This is not an error (a card may not have written that log yet).
# - An empty log gives an empty copy; COUNT 0 gives the header line alone; a COUNT larger than
#   the log keeps every line.
# - Each copy is written under a temporary name in OUTPUT_DIR and renamed into place once whole,
#   so a failure never leaves a truncated copy.
# - Exit status: 0 when every present log was copied; 1 when a copy failed (it then keeps its
#   earlier content) or OUTPUT_DIR is not a writable directory; 2 for a wrong number of arguments
#   or a COUNT that is not a decimal number. Every failure is explained on standard error.

log_dir='@EMAILSERVICE_PATH_PREFIX@/flash/log/'
me=tailLogFiles.sh

if [ $# -ne 2 ]; then
  echo "usage: $me OUTPUT_DIR COUNT" >&2
  exit 2
fi
out_dir=${1%/}
count=$2

case $count in
  '' | *[!0-9]*)
    echo "$me: COUNT must be a decimal number, not '$count'" >&2
    exit 2
    ;;
esac
# tail reads a count with leading zeros as decimal; drop them all the same so it never sees octal.
count=$(printf '%s\n' "$count" | sed 's/^0*\([0-9]\)/\1/')
# More lines than any log holds; tail refuses numbers beyond its integer range.
if [ ${#count} -gt 18 ]; then
  count=999999999999999999
fi

if [ ! -d "$out_dir/" ] || [ ! -w "$out_dir/" ]; then
  echo "$me: '$1' is not a writable directory" >&2
  exit 1
fi

temporary=
trap 'if [ -n "$temporary" ]; then rm -f "$temporary"; fi' EXIT
trap 'exit 1' HUP INT TERM

status=0
for name in logUpdate.csv logAccount.csv logSession.csv logSystem.csv; do
  source=$log_dir$name
  if [ ! -f "$source" ] || [ ! -r "$source" ]; then
    continue
  fi
  temporary=$out_dir/$name.part
  if [ ! -d "$out_dir/$name" ] && { head -n 1 "$source" && tail -n +2 "$source" | tail -n "$count"; } >"$temporary" &&
    mv -f "$temporary" "$out_dir/$name"; then
    temporary=
  else
    echo "$me: could not copy '$source' to '$out_dir/$name'" >&2
    rm -f "$temporary"
    temporary=
    status=1
  fi
done
exit $status

#!/bin/sh
# Runs a test's program under Wine. Now and then Wine's server drops a connection before the program has begun ("client error:0":
# there is no thread yet). What failed then is no test: the program is started once more.
set -u
run="$(dirname "$(readlink -f "$0")")/run-wine.sh"
errors=$(mktemp)
trap 'rm -f "$errors"' EXIT
"$run" "$@" 2>"$errors"
code=$?
cat "$errors" >&2
if [ "$code" -ne 0 ] && grep -q '^wine client error:0: ' "$errors"; then
  echo "Wine's server dropped the connection; once more." >&2
  "$run" "$@"
  code=$?
fi
exit "$code"

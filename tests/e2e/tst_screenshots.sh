#!/usr/bin/env bash
# The screenshot script runs from a clean build and renders every state it
# promises, each showing what it should.
set -euo pipefail
top=$(cd "$(dirname "$0")/../.." && pwd)
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
TARNWICK_BUILD=$1 "$top/tools/screenshots" "$out" >/dev/null
fail=0
check() { # name x y black(yes/no)
  local p; p=$(convert "$out/$1.png" -crop "1x1+$2+$3" txt:- | tail -1 | grep -o '#[0-9A-F]\{6\}')
  [ "$([ "$p" = "#000000" ] && echo yes || echo no)" = "$4" ] && echo "PASS  $1 at $2,$3" || { echo "FAIL! $1 at $2,$3 is $p"; fail=1; }
}
for name in closed-notch open-media-page open-tray-page drawer-calendar settings-window open-one-page all-pages-off \
  drop-over-nook; do
  [ -s "$out/$name.png" ] || { echo "FAIL! $name.png was not written"; fail=1; }
done
check closed-notch 756 10 yes
check closed-notch 600 100 no
check open-media-page 500 60 yes
check drawer-calendar 1200 100 yes
check all-pages-off 600 100 yes
# The two halves of the drop choice: their cards are not the Nook's black.
check drop-over-nook 620 100 no
check drop-over-nook 880 100 no
exit $fail

#!/usr/bin/env bash
# calls_test.sh NM FILE: each folder's objects call only the folders that its object library links.
#
# FILE has three kinds of lines: "library NAME", which begins one, "links NAME" and "object PATH". What a template or an
# inline function of a header leaves in an object is weak; it may stand in every folder, and does not count.
set -euo pipefail
nm=$1 file=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

library=
while read -r kind value; do
  case $kind in
    library) library=$value; : >"$work/$library.links"; : >"$work/$library.objects" ;;
    links) echo "$value" >>"$work/$library.links" ;;
    object) echo "$value" >>"$work/$library.objects" ;;
  esac
done <"$file"

libraries=$(grep -oP '^library \K.*' "$file")
for library in $libraries; do
  xargs -d '\n' -r "$nm" --defined-only <"$work/$library.objects" | awk 'NF == 3 && $2 ~ /^[TDBR]$/ { print $3 }' | sort -u >"$work/$library.defined"
  xargs -d '\n' -r "$nm" --undefined-only <"$work/$library.objects" | awk '$1 == "U" { print $2 }' | sort -u >"$work/$library.calls"
  [ -s "$work/$library.defined" ] || { echo "$library defines nothing: its objects were not read"; exit 1; }
done

# reachable LIBRARY: the libraries that it links, and those that these link.
reachable() {
  local found="$1" link
  for link in $(cat "$work/$1.links" 2>/dev/null); do found+=$'\n'$(reachable "$link"); done
  sort -u <<<"$found"
}

fail=0
for library in $libraries; do
  allowed=$(reachable "$library")
  for other in $libraries; do
    grep -qx "$other" <<<"$allowed" && continue
    calls=$(comm -12 "$work/$library.calls" "$work/$other.defined")
    [ -z "$calls" ] && continue
    echo "$library does not link $other, but calls:"
    c++filt <<<"$calls"
    fail=1
  done
done
exit "$fail"

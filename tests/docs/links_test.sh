#!/usr/bin/env bash
# Checks that the files which README and docs link to, and those that docs/architecture.md names, are there.
set -euo pipefail
root=$1
fail=0
for page in "$root"/README.md "$root"/{CONTRIBUTING,SECURITY,CHANGELOG}.md "$root"/docs/*.md; do
  while read -r target; do
    target=${target%%#*}
    [ -z "$target" ] || [ -e "$(dirname "$page")/$target" ] || { echo "${page##*/}: no $target"; fail=1; }
  done < <(grep -oE '\]\([^)]+\)' "$page" | sed -E 's/^\]\(//; s/\)$//' | grep -vE '^https?:')
done
while read -r path; do
  [ -e "$root/$path" ] || { echo "architecture.md: no $path"; fail=1; }
done < <(grep -oE '`[a-z0-9_]+/[a-zA-Z0-9_/.]*`' "$root/docs/architecture.md" | tr -d '`')
exit "$fail"

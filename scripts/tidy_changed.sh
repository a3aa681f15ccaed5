#!/usr/bin/env bash
# tidy_changed.sh [COMMIT]: the rules of .clang-tidy over the lines that differ from a commit, what is not committed included.
#
# The default is where the branch left origin/main, and without that name the commit before the last. ./check calls it: what cannot be
# looked at is skipped with a word, of more than OZNA_TIDY_FILES files (8) only the first are read, four to ten seconds of processor
# time each, and after OZNA_TIDY_SECONDS (60) it stops with what it has seen. Needs a configured build/release. Ends with 1 where a rule is broken.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

skip() {
  echo "Skipped the tidy rules: $1"
  exit 0
}

command -v clang-tidy-diff >/dev/null || skip "clang-tidy is not installed (scripts/install_packages.sh tidy)"
[ -f build/release/compile_commands.json ] || skip "build/release is not configured"
base=${1:-$(git merge-base HEAD origin/main 2>/dev/null || git rev-parse --verify --quiet HEAD~1 2>/dev/null || true)}
[ -n "$base" ] || skip "there is neither origin/main nor an earlier commit to compare with"
git rev-parse --verify --quiet "$base^{commit}" >/dev/null || { echo "tidy_changed.sh: expected a commit, found '$base'" >&2; exit 2; }

mapfile -t files < <(git diff --name-only --diff-filter=AM "$base" -- '*.cpp' '*.hpp' '*.h' ':!docs' ':!fuzz' ':!tests/abi' \
                       ':!tests/consumer' ':!benchmarks/other_detectors.cpp')
[ "${#files[@]}" -gt 0 ] || { echo "No source differs from $(git rev-parse --short "$base")."; exit 0; }
limit=${OZNA_TIDY_FILES:-8}
if [ "${#files[@]}" -gt "$limit" ]; then
  echo "The tidy rules see $limit of the ${#files[@]} files that differ; OZNA_TIDY_FILES=${#files[@]} sees all."
  files=("${files[@]:0:limit}")
fi

# A batch is compiled as one source that includes its members: each of them gets the batch's command.
mkdir -p build/tidy
python3 - build/release/compile_commands.json >build/tidy/compile_commands.json <<'END'
import json, re, sys
commands = []
for entry in json.load(open(sys.argv[1])):
    batch = entry["file"]
    members = re.findall(r'#include "(.*)"', open(batch).read()) if "/Unity/" in batch else [batch]
    commands += [{**entry, "file": member, "command": entry["command"].replace(batch, member)} for member in members]
json.dump(commands, sys.stdout)
END
git diff -U0 --src-prefix=a/ --dst-prefix=b/ "$base" -- "${files[@]}" |
  timeout "${OZNA_TIDY_SECONDS:-60}" clang-tidy-diff -p1 -path build/tidy -j "$(nproc)" -quiet >build/tidy/log 2>&1 || status=$?
case "${status:-0}" in
  0) ;;
  124) echo "The tidy rules were stopped after ${OZNA_TIDY_SECONDS:-60} seconds; OZNA_TIDY_SECONDS gives them more." ;;
  *) cat build/tidy/log; exit 1 ;;
esac
if grep -qE ': (warning|error): ' build/tidy/log; then
  cat build/tidy/log
  exit 1
fi

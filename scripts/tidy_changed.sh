#!/usr/bin/env bash
# tidy_changed.sh [COMMIT]: clang-tidy over the sources that differ from a commit, by default from the one before the last.
# Needs a configured build/release. About three seconds of processor time per file.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
base=${1:-HEAD~1}
mapfile -t files < <(git diff --name-only --diff-filter=AM "$base" -- '*.cpp' ':!fuzz' ':!docs' ':!benchmarks/other_detectors.cpp')
[ "${#files[@]}" -gt 0 ] || { echo "No source differs from $base."; exit 0; }
clang-tidy -p build/release --quiet --warnings-as-errors='*' "${files[@]}"

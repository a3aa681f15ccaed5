#!/usr/bin/env bash
# Checks that the program printed in README.md is docs/find_faces.cpp, which the tests build and run.
set -euo pipefail
root=$1
diff <(sed -n '/^```cpp$/,/^```$/p' "$root/README.md" | sed '1d;$d') "$root/docs/find_faces.cpp"

#!/usr/bin/env bash
# renew_abi.sh: takes the present binary interfaces as those that tests/abi compares with. Run it when a change of
# public/ozna.h or kit/oznakit.h is meant, and commit tests/abi/lib*.abi with it. Needs an x86-64 machine with g++.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/install_packages.sh" check
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for library in ozna oznakit; do
  "$root/tests/abi/abi_test.sh" "$library" renew "$work"
done
git -C "$root" --no-pager diff --stat -- tests/abi || true

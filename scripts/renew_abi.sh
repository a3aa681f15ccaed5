#!/usr/bin/env bash
# renew_abi.sh: takes the present binary interface as the one that tests/abi compares with. Run it when a change of
# public/ozna.h is meant, and commit tests/abi/libozna.abi with it. Needs an x86-64 machine with g++.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
"$root/scripts/install_packages.sh" check
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$root/tests/abi/abi_test.sh" renew "$work"
git -C "$root" --no-pager diff --stat -- tests/abi/libozna.abi || true

#!/usr/bin/env bash
# faces_parallel.sh LIST OUTPUT.jsonl [LOGIN...]: the faces of the photographs that a file lists, one per line, found on
# several hosts. A login is as GNU parallel takes it: 8/ann@big-host for eight jobs there, 2/: for two here.
set -euo pipefail
list=$1 output=$2
shift 2
logins=(--sshlogin 2/:)
[ "$#" -gt 0 ] && logins=() && for login in "$@"; do logins+=(--sshlogin "$login"); done
# A job whose host fails is tried again; ozna ends with 1 where it could not read some photographs, which is not a failure.
parallel --will-cite --keep-order --retries 3 --max-args 16 "${logins[@]}" \
  'ozna detect --json --jobs 1 -- {} || [ $? -eq 1 ]' :::: "$list" >"$output"

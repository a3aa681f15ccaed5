#!/usr/bin/env bash
# run_test.sh SOURCE PROGRAM WORK: what ./run does around the build, in a checkout whose build is a pretended one: it tells
# its progress, leaves folders of others alone, ends with where the pictures lie, and with the status of the program.
set -euo pipefail
source=$1 program=$2 work=$3
rm -rf "$work"
place="$work/a checkout"
mkdir -p "$place/scripts"
cp "$source/run" "$place/"
ln -s "$source/samples" "$place/samples"
cat >"$place/scripts/install_packages.sh" <<'END_OF_SCRIPT'
#!/usr/bin/env bash
echo "install $*" >>"$(dirname "$0")/called"
END_OF_SCRIPT
# Writes the lines of a build into its log, a little after each other, as the watcher of the log must see them.
cat >"$place/scripts/build.sh" <<'END_OF_SCRIPT'
#!/usr/bin/env bash
set -euo pipefail
cd "$(dirname "$0")"
echo "build $*" >>called
for part in $(seq 40); do
  echo "[$part/40] Building" >>../build/run.log
done
[ ! -e fail ] || exit 9
# The watcher looks each second.
end=$((SECONDS + 60))
until [ "$SECONDS" -ge "$end" ] || grep -q 'built 40 of 40 parts' ../err; do sleep 0.1; done
END_OF_SCRIPT
chmod +x "$place/scripts/"*.sh
mkdir -p "$place/build/run/tools"
ln -s "$program" "$place/build/run/tools/ozna"
mv "$place/build" "$place/built"

# run_there STATUS [PHOTO...]: from another folder, with what it prints in out and err.
run_there() {
  local wanted=$1 status=0
  shift
  (cd "$work" && "$place/run" "$@") >"$place/stdout" 2>"$place/err" || status=$?
  [ "$status" -eq "$wanted" ] || { echo "status $status, not $wanted"; cat "$place/stdout" "$place/err"; exit 1; }
}
# has FILE TEXT
has() { grep -qF -- "$2" "$place/$1" || { echo "no '$2' in $1:"; cat "$place/$1"; exit 1; }; }

# A build that fails in a checkout that has none: the status goes through, no picture is written.
touch "$place/scripts/fail"
run_there 9
[ ! -e "$place/out" ]
[ "$(grep -c 'No such file' "$place/err")" -eq 0 ] || { cat "$place/err"; exit 1; }
rm -r "$place/scripts/fail" "$place/build"
mv "$place/built" "$place/build"

# The samples.
run_there 0
[ "$(cat "$place/scripts/called")" = "install build
build run ozna_tool
install build
build run ozna_tool" ]
has err "built 4 of 40 parts"
has err "built 40 of 40 parts"
[ "$(tail -n 3 "$place/err")" = "Photographs:        3
Annotated pictures: 3
They lie in:        $place/out" ] || { cat "$place/err"; exit 1; }
has stdout "group.jpg  1280 x 700  9 faces"
for name in astronaut.png grace_hopper.jpg group.jpg; do test -s "$place/out/$name"; done

# Its own folder is made anew.
run_there 0 "$source/samples/astronaut.png"
[ "$(ls "$place/out")" = astronaut.png ]

# The folder of somebody else stays, and a photograph that fails is told by the status.
rm "$place/out/.made-by-run"
echo mine >"$place/out/mine"
run_there 1 "$source/samples/astronaut.png" "$work/missing.jpg"
[ "$(ls "$place/out")" = "astronaut.png
mine" ]
[ "$(ls "$place/out-2")" = astronaut.png ]
has err "They lie in:        $place/out-2"
has err "missing.jpg: No such file or directory"
has err "Photographs:        2"
has err "Annotated pictures: 1"
run_there 0 "$source/samples/astronaut.png"
[ ! -e "$place/out-3" ]

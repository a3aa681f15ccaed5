#!/usr/bin/env bash
# Checks that each source of the product has a test file of its name in the same folder below tests/; those that have none stand here,
# each with its reason. (The tests of caffe/ stand in one folder; those of the fitting are Python.)
set -euo pipefail
root=$1
fail=0

# Sources without a test file of their own, and why.
exceptions=$(cat <<'END'
kit/chip.cpp: the C function of faces/chip.cpp, whose tests call it
kit/models/checked_network.cpp: cascade_test.cpp has a whole cascade refused for each of its reasons
kit/models/no_built_in_models.cpp: an empty list
kit/search/face_search.cpp: what oznakit_finder_find runs; find_faces_test.cpp
public/enclosed/calling_thread_loops.cpp: takes a function's place in the linked library; tests/host counts threads
public/enclosed/error_log.cpp: takes a function's place in the linked library; tests/host/quiet_host.cpp reads it
public/enclosed/kernel_choice.cpp: takes a function's place in the linked library
public/enclosed/large_matrices.cpp: takes a function's place in the linked library
public/enclosed/message_memory.cpp: takes a function's place in the linked library; tests/host/plugin_host.cpp
public/enclosed/workspace_end.cpp: takes a function's place in the linked library; tests/host/workspace_host.cpp
python/module.cpp: the tests in tests/python
tools/commands/cascade_prefixes.cpp: bench_command_test.cpp measures with them
tools/commands/defaults.cpp: info_command_test.cpp prints them
tools/commands/machine_description.cpp: info_command_test.cpp prints it
tools/main.cpp: a program's main
tools/modules/frame_module.cpp: a loadable module; more_formats_test.cpp
tools/modules/heif_module.cpp: a loadable module; picture_metadata_test.cpp
tools/modules/picture_module.cpp: a loadable module; photograph_test.cpp
tools/modules/raw_module.cpp: a loadable module; raw_photograph_test.cpp
tools/photograph/codec_modules.cpp: opens the modules; installation_test.cpp
tools/photograph/metadata_library.cpp: a lock around a library
tools/process/math_threads.cpp: one call each of two libraries; raw_photograph_test.cpp counts threads
training/alignment/detect_boxes.cpp: a program's main
training/alignment/evaluate.cpp: a program's main
training/alignment/measure_quality.cpp: a program's main
training/alignment/train.cpp: a program's main
training/detector/mine/evaluate.cpp: a program's main
training/detector/mine/mine.cpp: a program's main
END
)

# The test file of a source below tests/, without its ending. (No processes: there are hundreds of sources.)
test_of() {
  local folder=${1%/*} unit=${1##*/}
  [[ $1 = caffe/* ]] && folder=caffe
  test_file=$folder/${unit%.*}_test
}

excepted() { [[ $'\n'$exceptions == *$'\n'"$1: "* ]]; }

seen=0
while IFS= read -r source; do
  seen=$((seen + 1))
  test_of "$source"
  if [ -e "$root/tests/$test_file.cpp" ] || [ -e "$root/tests/$test_file.py" ]; then
    excepted "$source" && { echo "$source has a test file; take it off the list in this script."; fail=1; }
  elif ! excepted "$source"; then
    echo "$source: expected tests/$test_file.cpp, found none."
    fail=1
  fi
done < <(cd "$root" && find alignment caffe/src detector imaging kit mp public python tools training -name '*.cpp' -o -path 'training/detector/fit/*.py' | sort)
[ "$seen" -gt 100 ] || { echo "Expected the sources of the product, found $seen."; fail=1; }

# An exception is for a source that is there, with a reason.
while IFS= read -r line; do
  [ -n "$line" ] || continue
  [ -e "$root/${line%%: *}" ] || { echo "An exception for ${line%%: *}, which does not exist."; fail=1; }
done <<<"$exceptions"
exit "$fail"

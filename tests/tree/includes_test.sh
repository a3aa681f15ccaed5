#!/usr/bin/env bash
# Checks that includes point one way only: each folder may include the folders named for it here, and its own.
set -euo pipefail
root=$1
fail=0

# allow FOLDER PATTERN: an include in quotes in FOLDER must match PATTERN, an extended regular expression.
allow() {
  local folder=$1 pattern=$2 hits
  [ -e "$root/$folder" ] || { echo "$folder does not exist"; fail=1; }
  hits=$(grep -rHnE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$root/$folder" \
           --include='*.h' --include='*.hpp' --include='*.cpp' | grep -vE "include[[:space:]]*\"($pattern)" || true)
  if [ -n "$hits" ]; then
    echo "$folder/ may include only: $pattern. Found:"
    echo "$hits"
    fail=1
  fi
}

allow caffe 'caffe/'
allow mp 'mp/|caffe/util/vector_math\.hpp'
allow imaging 'imaging/|caffe/util/wide_loops\.hpp'
allow alignment 'alignment/|mp/|imaging/|ozna\.h|caffe/util/(file_buffer|wide_loops)\.hpp'
allow detector 'detector/|caffe/|ozna\.h|[a-z0-9_]+\.inc'
allow public 'ozna\.h|detector/|alignment/|caffe/common\.hpp'
allow kit 'kit/|oznakit\.h|ozna\.h|caffe/|detector/|alignment/|mp/|imaging/'
# The rooms of the program, lowest first: each may include those before it, and a loaded module the interface of modules.
room_below='tools/process/'
allow tools/process "$room_below"
for room in photograph output run arguments commands; do
  room_below+="|tools/$room/"
  allow "tools/$room" "$room_below|oznakit\.hpp"
done
allow tools/modules 'tools/photograph/codec_modules\.h'
allow tools/main.cpp 'tools/(commands|arguments|process)/'
outside=$(find "$root/tools" -maxdepth 1 \( -name '*.h' -o -name '*.cpp' \) ! -name main.cpp)
if [ -n "$outside" ]; then
  echo "Sources of tools/ stand in its rooms; found outside:"
  echo "$outside"
  fail=1
fi
allow python 'oznakit\.hpp?'
allow training/common 'training/common/|ozna\.h'
allow training/detector/mine 'training/(common|detector/mine)/|detector/|ozna\.h'
# The quality of landmarks, which one program measures, is the kit's.
allow training/alignment 'training/(common|alignment)/|alignment/|mp/|kit/(faces|models)/|ozna\.h'

# The one header of a host includes standard headers alone.
if grep -nE '^[[:space:]]*#[[:space:]]*include' "$root/public/ozna.h" | grep -vE '<(cstdint|string|vector)>'; then
  echo "public/ozna.h may include <cstdint>, <string> and <vector> only"
  fail=1
fi
# Photograph files are the program's affair (and the trainers', which are programs too).
if grep -rnE 'opencv2/(imgcodecs|highgui)' "$root/public" "$root/kit" "$root/detector" "$root/alignment" "$root/mp" "$root/imaging" "$root/caffe"; then
  echo "Only tools/ and training/ read image files"
  fail=1
fi
exit "$fail"

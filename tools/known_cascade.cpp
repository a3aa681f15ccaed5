// The list of known cascades.

#include "tools/known_cascade.h"

#include <algorithm>
#include <array>

namespace oznatool {
namespace {

// Written by the build.
const char* const kKnown[] = {
#include "tools/known_cascades.inc"
    ""};

}  // namespace

bool isKnownCascade(const CascadeFiles& files) {
  const std::string digest = digestOf(files);
  return !digest.empty() &&
         std::find(std::begin(kKnown), std::end(kKnown), digest) != std::end(kKnown);
}

}  // namespace oznatool

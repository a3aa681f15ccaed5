// Digests of cascades. Apart from known_cascade.cpp, since the build makes the list of known ones with it.

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <array>
#include <cstdio>

#include "tools/input_file.h"
#include "tools/known_cascade.h"

namespace oznatool {
namespace {

class Digest {
 public:
  Digest() { XXH3_128bits_reset(&state_); }

  // Adds a text with its length, so that no two sequences of texts are one.
  void add(const std::string& text) {
    addNumber(text.size());
    XXH3_128bits_update(&state_, text.data(), text.size());
  }

  // Adds the bytes of a file. False where it cannot be read.
  bool addFile(const std::string& path) {
    try {
      InputFile file(path);
      buffer_.resize(size_t{1} << 18);
      std::uint64_t size = 0;
      while (const size_t count = file.read(buffer_.data(), buffer_.size())) {
        XXH3_128bits_update(&state_, buffer_.data(), count);
        size += count;
      }
      addNumber(size);
      return true;
    } catch (const Unreadable&) {
      return false;
    }
  }
  std::string text() const {
    const XXH128_hash_t hash = XXH3_128bits_digest(&state_);
    std::array<char, 33> digits;
    std::snprintf(digits.data(), digits.size(), "%016llx%016llx",
                  static_cast<unsigned long long>(hash.high64),
                  static_cast<unsigned long long>(hash.low64));
    return digits.data();
  }

 private:
  void addNumber(std::uint64_t number) {
    std::array<unsigned char, 8> bytes;
    for (size_t i = 0; i < bytes.size(); ++i) {
      bytes[i] = static_cast<unsigned char>(number >> (8 * i));
    }
    XXH3_128bits_update(&state_, bytes.data(), bytes.size());
  }

  XXH3_state_t state_ = {};
  std::string buffer_;
};

}  // namespace

std::string digestOf(const CascadeFiles& files) {
  std::vector<std::string> paths = {files.root + kStageListName, files.calibration_table};
  for (const NetworkFiles& network : files.networks) {
    for (const std::string& path : {network.definition, network.weights, network.mean}) {
      if (!path.empty()) paths.push_back(path);
    }
  }
  Digest digest;
  for (const std::string& path : paths) {
    digest.add(path.substr(files.root.size()));
    if (!digest.addFile(path)) return "";
  }
  return digest.text();
}

}  // namespace oznatool

// Names and files of annotated photographs.

#include "tools/output/annotation_output.h"

#include <filesystem>
#include <memory>
#include <system_error>

#include "tools/output/annotate.h"
#include "tools/output/existing_files.h"
#include "tools/output/image_encoder.h"
#include "tools/output/output_file.h"
#include "tools/photograph/picture_metadata.h"
#include "tools/process/exit_code.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(kExitOutput, printable(path) + ": " + reason);
}

bool isStandardOutput(const std::string& target) { return target == "-"; }

bool isDirectoryTarget(const std::string& target, bool may_be_several) {
  std::error_code error;
  const bool is_there = fs::is_directory(target, error);
  const bool is_named = !target.empty() && target.back() == '/';
  if (is_there || is_named || isStandardOutput(target)) return !isStandardOutput(target);
  if (!may_be_several) return false;
  if (namesImageFormat(target)) {
    throw Failure(kExitUsage, printable(target) +
                                  " is one picture, and there may be several photographs: name a "
                                  "directory, or end it in /");
  }
  return true;
}

}  // namespace

AnnotationOutput::AnnotationOutput(const std::string& target, const std::vector<std::string>& names,
                                   bool may_be_several, Taken taken)
    : target_(target),
      is_directory_(isDirectoryTarget(target, may_be_several)),
      taken_(taken),
      written_(std::make_shared<std::unordered_set<std::string>>()) {
  if (isStandardOutput(target)) {
    if (may_be_several) {
      throw Failure(kExitUsage, "-o - takes one photograph: standard output holds one picture");
    }
    return;
  }
  if (is_directory_) {
    makeDirectory(target);
    if (taken_ == Taken::kReplaced) refuseToOverwritePhotographs(target, names);
    return;
  }
  std::error_code error;
  if (fs::equivalent(target, names.front(), error)) {
    throw Failure(kExitUsage, printable(target) + " would overwrite the photograph");
  }
  if (!namesImageFormat(target)) {
    fail(target, "its ending names no image format that can be written");
  }
  const fs::path directory = fs::path(target).parent_path();
  if (!directory.empty() && !fs::is_directory(directory, error)) {
    fail(target, "its directory does not exist");
  }
}

std::string AnnotationOutput::nameFor(const Input& input) const {
  std::string name = is_directory_ || isStandardOutput(target_) ? input.place : target_;
  if (!namesImageFormat(name)) name += ".png";
  return name;
}

bool AnnotationOutput::isThere(const Input& input) const {
  std::error_code error;
  if (isStandardOutput(target_)) return false;
  const std::string name = nameFor(input);
  return fs::exists(is_directory_ ? fs::path(target_) / name : fs::path(name), error);
}

void AnnotationOutput::protect(const Input& input) const {
  if (is_directory_) refuseToOverwritePhotographs(target_, {input.path});
}

void AnnotationOutput::write(const std::string& name, const Bytes& bytes) const {
  if (isStandardOutput(target_)) {
    writeBytes(bytes);
  } else if (!is_directory_) {
    replaceFile(target_, bytes.data(), bytes.size());
  } else {
    // Another photograph of this run may have the same name.
    const bool is_first = written_->insert(name).second;
    writeNewFile(target_, name, bytes,
                 taken_ == Taken::kReplaced && !is_first ? Taken::kAnotherName : taken_);
  }
}

PreparedFiles AnnotationOutput::prepare(const Input& input, const Record& record,
                                        Photograph& photograph) const {
  const std::string name = nameFor(input);
  annotate(photograph.pixels, record.faces);
  const cv::Size size = photograph.pixels.size();
  // Shared, since a function object must be copyable.
  const auto bytes = std::make_shared<const Bytes>(withMetadata(
      encodePicture(name, photograph.pixels, photograph.alpha), photograph.metadata, size));
  return {static_cast<std::int64_t>(bytes->size()),
          [this, name, bytes](Record& /*record*/) { write(name, *bytes); }};
}

}  // namespace oznatool

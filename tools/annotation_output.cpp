// Names and files of annotated photographs.

#include "tools/annotation_output.h"

#include <filesystem>
#include <memory>
#include <system_error>

#include "tools/annotate.h"
#include "tools/exit_code.h"
#include "tools/image_encoder.h"
#include "tools/output_file.h"
#include "tools/streams.h"

namespace oznatool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
  throw Failure(kExitOutput, printable(path) + ": " + reason);
}

bool isDirectoryTarget(const std::string& target, const InputOptions& inputs) {
  std::error_code error;
  return Inputs::maySeveral(inputs) || (!target.empty() && target.back() == '/') ||
         fs::is_directory(target, error);
}

}  // namespace

AnnotationOutput::AnnotationOutput(const std::string& target, const Options& options)
    : target_(target),
      is_directory_(isDirectoryTarget(target, options.inputs)),
      taken_(options.resume.empty() ? Taken::kAnotherName : Taken::kEqualServes) {
  if (is_directory_) {
    makeDirectory(target);
    return;
  }
  std::error_code error;
  if (fs::equivalent(target, options.inputs.names.front(), error)) {
    throw Failure(kExitUsage, printable(target) + " would overwrite the photograph");
  }
  if (!namesImageFormat(target))
    fail(target, "its ending names no image format that can be written");
  const fs::path directory = fs::path(target).parent_path();
  if (!directory.empty() && !fs::is_directory(directory, error))
    fail(target, "its directory does not exist");
}

PreparedFiles AnnotationOutput::prepare(const Input& input, const Record& record,
                                        Photograph* photograph) const {
  std::string name = is_directory_ ? input.place : target_;
  if (!namesImageFormat(name)) name += ".png";
  annotate(photograph->pixels, record.faces);
  // Shared, since a function object must be copyable.
  const auto bytes = std::make_shared<const Bytes>(encodePicture(name, photograph->pixels));
  return {static_cast<std::int64_t>(bytes->size()), [this, name, bytes](Record* /*record*/) {
            if (is_directory_) {
              writeNewFile(target_, name, *bytes, taken_);
            } else {
              replaceFile(target_, bytes->data(), bytes->size());
            }
          }};
}

}  // namespace oznatool

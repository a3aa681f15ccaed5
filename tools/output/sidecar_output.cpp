// Names and files of sidecars.

#include "tools/output/sidecar_output.h"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <system_error>

#include "tools/output/output_file.h"
#include "tools/output/xmp_regions.h"
#include "tools/process/exit_code.h"
#include "tools/process/input_file.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

// A sidecar that is there already.
struct Former {
  std::string text;                   // Empty where there is none.
  std::optional<struct stat> status;  // As it was when it was read; nothing where there is none.
};

Former formerSidecar(const std::string& path) {
  constexpr std::int64_t kLargest = std::int64_t{16} << 20;  // In bytes.
  try {
    InputFile file(path);
    Former former;
    former.status = file.status();
    former.text = file.readAll(kLargest);
    return former;
  } catch (const Unreadable& problem) {
    // A link that leads nowhere looks the same here, and is refused when it is to be written.
    if (problem.error() == ENOENT) return {};
    throw Failure(kExitOutput, printable(path) + ": " + problem.what());
  }
}

}  // namespace

SidecarOutput::SidecarOutput(const std::string& directory, bool by_stem)
    : directory_(directory),
      by_stem_(by_stem),
      written_(std::make_shared<std::unordered_set<std::string>>()) {
  makeDirectory(directory);
}

std::string SidecarOutput::pathFor(const Input& input) const {
  std::filesystem::path place(input.place);
  if (by_stem_) place.replace_extension();
  return (std::filesystem::path(directory_) / (place.string() + ".xmp")).string();
}

bool SidecarOutput::isThere(const Input& input) const {
  std::error_code error;
  return std::filesystem::exists(pathFor(input), error);
}

PreparedFiles SidecarOutput::prepare(const Input& input, const Record& /*record*/,
                                     Photograph& /*photograph*/) const {
  const std::string path = pathFor(input);
  return {0, [path, written = written_](Record& record) {
            if (!written->insert(path).second) {
              throw Failure(kExitOutput, printable(path) +
                                             ": is the sidecar of another photograph "
                                             "of the same name");
            }
            namingFile(path, [&] {
              const Former former = formerSidecar(path);
              const std::string text = xmpWithRegions(record, former.text);
              if (former.status && text == former.text) return;
              replaceUnchangedFile(path, former.status, text.data(), text.size());
            });
          }};
}

}  // namespace oznatool

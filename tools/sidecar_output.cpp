// Names and files of sidecars.

#include "tools/sidecar_output.h"

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tools/exit_code.h"
#include "tools/output_file.h"
#include "tools/streams.h"
#include "tools/xmp_regions.h"

namespace oznatool {
namespace {

// The text of a sidecar that is there already; empty where there is none.
std::string formerText(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return "";
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (file) text << file.rdbuf();
  if (!file && !file.eof()) {
    throw Failure(kExitOutput, printable(path) + ": " + std::strerror(errno));
  }
  return text.str();
}

}  // namespace

SidecarOutput::SidecarOutput(const std::string& directory)
    : directory_(directory), written_(std::make_shared<std::unordered_set<std::string>>()) {
  makeDirectory(directory);
}

PreparedFiles SidecarOutput::prepare(const Input& input, const Record& /*record*/,
                                     Photograph* /*photograph*/) const {
  const std::string path = (std::filesystem::path(directory_) / (input.place + ".xmp")).string();
  return {0, [path, written = written_](Record* record) {
            if (!written->insert(path).second) {
              throw Failure(kExitOutput, printable(path) +
                                             ": is the sidecar of another photograph "
                                             "of the same name");
            }
            try {
              replaceFile(path, xmpWithRegions(*record, formerText(path)));
            } catch (const Failure&) {
              throw;
            } catch (const std::exception& error) {
              throw Failure(kExitOutput, printable(path) + ": " + error.what());
            }
          }};
}

}  // namespace oznatool

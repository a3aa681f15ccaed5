// Files that are read once more, changed in memory and replaced.

#include "tools/output/embed_output.h"

#include <algorithm>
#include <exception>
#include <exiv2/image.hpp>
#include <exiv2/xmp_exiv2.hpp>
#include <new>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "tools/output/embedded_packet.h"
#include "tools/output/face_region.h"
#include "tools/output/output_file.h"
#include "tools/output/xmp_regions.h"
#include "tools/photograph/metadata_library.h"
#include "tools/process/exit_code.h"
#include "tools/process/input_file.h"
#include "tools/process/streams.h"

namespace oznatool {
namespace {

constexpr std::int64_t kLargest = std::int64_t{1} << 30;  // In bytes.

// A packet without statements, as a file holds it: marked for those who look for it in the bytes.
const std::string kEmptyPacket =
    "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
    "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n"
    " <rdf:RDF xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n </rdf:RDF>\n"
    "</x:xmpmeta>\n<?xpacket end=\"w\"?>";

// What nobody else can read is not written: the metadata library must find in the file all that the
// packet says.
void expectFound(const std::string& file, const std::string& packet) {
  const MetadataLibrary library;
  Exiv2::XmpData wanted;
  const bool is_read = Exiv2::XmpParser::decode(wanted, packet) == 0;
  const auto image = Exiv2::ImageFactory::open(reinterpret_cast<const Exiv2::byte*>(file.data()),
                                               static_cast<long>(file.size()));
  image->readMetadata();
  const Exiv2::XmpData& found = image->xmpData();
  const auto is_same = [](const Exiv2::Xmpdatum& a, const Exiv2::Xmpdatum& b) {
    return a.key() == b.key() && a.toString() == b.toString();
  };
  if (!is_read || wanted.empty() ||
      !std::equal(wanted.begin(), wanted.end(), found.begin(), found.end(), is_same)) {
    throw std::runtime_error("would not be understood by the metadata library");
  }
}

// The file with the regions of a record; empty where it stays as it is.
std::string withRegions(const std::string& file, const Record& record) {
  const PacketPlace place = packetPlaceIn(file);
  if (record.faces.empty() && place.text.find(kRegionSpace) == std::string::npos) return "";
  const std::string& former = place.text.empty() ? kEmptyPacket : place.text;
  const std::string text = xmpWithRegions(record, former);
  if (text == former) return "";
  std::string changed = withPacket(file, place, text);
  if (changed == file) return "";
  expectFound(changed, text);
  return changed;
}

}  // namespace

// The files that this run has written, which a second name may lead to.
struct EmbedOutput::Written {
  std::set<std::pair<dev_t, ino_t>> files;
};

EmbedOutput::EmbedOutput() : written_(std::make_shared<Written>()) {}
EmbedOutput::~EmbedOutput() = default;

bool EmbedOutput::isThere(const Input& input) const {
  try {
    InputFile file(input.path);
    if (!S_ISREG(file.status().st_mode)) return false;
    return hasOurMark(packetPlaceIn(file.readAll(kLargest)).text);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    return false;
  }
}

PreparedFiles EmbedOutput::prepare(const Input& input, const Record& record,
                                   Photograph& /*photograph*/) const {
  const std::string path = input.path;
  // The old file and the new one.
  const std::int64_t bytes = record.stamp ? 2 * record.stamp->bytes : 0;
  return {bytes, [path, written = written_](Record& record) {
            namingFile(path, [&] {
              InputFile file(path);
              const struct stat status = file.status();
              if (!S_ISREG(status.st_mode) || path.rfind("/dev/", 0) == 0) {
                throw std::runtime_error(
                    "is not a file in a folder, so no regions can be written into it");
              }
              if (!record.stamp || !(*record.stamp == *stampOf(status))) {
                // Another name of a file that has its regions by now.
                if (written->files.count({status.st_dev, status.st_ino}) == 0) {
                  throw std::runtime_error("was changed while it was searched");
                }
                record.stamp = stampOf(status);
                return;
              }
              const std::string changed = withRegions(file.readAll(kLargest), record);
              if (changed.empty()) return;
              const struct stat now =
                  replaceUnchangedFile(path, status, changed.data(), changed.size());
              written->files.insert({now.st_dev, now.st_ino});
              record.stamp = stampOf(now);
            });
          }};
}

}  // namespace oznatool

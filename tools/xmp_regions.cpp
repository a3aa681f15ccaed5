// Region structures by the metadata library.

#include "tools/xmp_regions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <exiv2/properties.hpp>
#include <exiv2/xmp_exiv2.hpp>
#include <stdexcept>

#include "tools/metadata_library.h"
#include "tools/orientation.h"

namespace oznatool {
namespace {

const std::string kRegions = "Xmp.mwg-rs.Regions";

void setText(Exiv2::XmpData* xmp, const std::string& key, const std::string& text) {
  Exiv2::XmpTextValue value(text);
  xmp->add(Exiv2::XmpKey(key), &value);
}

void setStruct(Exiv2::XmpData* xmp, const std::string& key) {
  Exiv2::XmpTextValue value;
  value.setXmpStruct();
  xmp->add(Exiv2::XmpKey(key), &value);
}

void setBag(Exiv2::XmpData* xmp, const std::string& key) {
  Exiv2::XmpTextValue value;
  value.setXmpArrayType(Exiv2::XmpValue::xaBag);
  xmp->add(Exiv2::XmpKey(key), &value);
}

std::string fraction(double value) {
  std::array<char, 32> text;
  const std::to_chars_result result = std::to_chars(text.data(), text.data() + text.size(), value,
                                                    std::chars_format::fixed, /*precision=*/6);
  return {text.data(), result.ptr};
}

void addRegion(Exiv2::XmpData* xmp, size_t number, const oznalib::Rectangle<float>& rect,
               const cv::Size& stored) {
  const std::string region =
      kRegions + "/mwg-rs:RegionList[" + std::to_string(number) + "]/mwg-rs:";
  setText(xmp, region + "Type", "Face");
  setStruct(xmp, region + "Area");
  const std::string area = region + "Area/stArea:";
  setText(xmp, area + "x", fraction((rect.left + rect.right) / 2.0 / stored.width));
  setText(xmp, area + "y", fraction((rect.top + rect.bottom) / 2.0 / stored.height));
  setText(xmp, area + "w", fraction((rect.right - rect.left) / stored.width));
  setText(xmp, area + "h", fraction((rect.bottom - rect.top) / stored.height));
  setText(xmp, area + "unit", "normalized");
}

void addRegions(Exiv2::XmpData* xmp, const Record& record) {
  const cv::Size stored = exchangesSides(record.orientation)
                              ? cv::Size(record.size.height, record.size.width)
                              : record.size;
  setStruct(xmp, kRegions);
  const std::string dimensions = kRegions + "/mwg-rs:AppliedToDimensions";
  setStruct(xmp, dimensions);
  setText(xmp, dimensions + "/stDim:w", std::to_string(stored.width));
  setText(xmp, dimensions + "/stDim:h", std::to_string(stored.height));
  setText(xmp, dimensions + "/stDim:unit", "pixel");
  setBag(xmp, kRegions + "/mwg-rs:RegionList");
  size_t number = 0;
  for (const Face& face : record.faces) {
    oznalib::Rectangle<float> rect =
        inStoredFrame(face.rect, cv::Size2f(record.size), record.orientation);
    rect = {std::max(rect.left, 0.0F), std::max(rect.top, 0.0F),
            std::min(rect.right, static_cast<float>(stored.width)),
            std::min(rect.bottom, static_cast<float>(stored.height))};
    if (rect.left < rect.right && rect.top < rect.bottom) addRegion(xmp, ++number, rect, stored);
  }
}

// Takes the regions out. Throws where one bears a name.
void removeRegions(Exiv2::XmpData* xmp) {
  for (auto at = xmp->begin(); at != xmp->end();) {
    const std::string key = at->key();
    if (key.rfind(kRegions, 0) != 0) {
      ++at;
      continue;
    }
    constexpr const char* kName = "mwg-rs:Name";
    const bool is_name = key.size() > std::char_traits<char>::length(kName) &&
                         key.compare(key.size() - std::char_traits<char>::length(kName),
                                     std::string::npos, kName) == 0;
    if (is_name && !at->toString().empty()) {
      throw std::runtime_error("holds named regions, which would be lost");
    }
    at = xmp->erase(at);
  }
}

}  // namespace

std::string xmpWithRegions(const Record& record, const std::string& former) {
  const MetadataLibrary library;
  Exiv2::XmpData xmp;
  if (!former.empty() && Exiv2::XmpParser::decode(xmp, former) != 0) {
    throw std::runtime_error("holds something that is no XMP");
  }
  removeRegions(&xmp);
  addRegions(&xmp, record);
  std::string packet;
  if (Exiv2::XmpParser::encode(
          packet, xmp, Exiv2::XmpParser::omitPacketWrapper | Exiv2::XmpParser::useCompactFormat) !=
      0) {
    throw std::runtime_error("its XMP cannot be encoded");
  }
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + packet;
}

}  // namespace oznatool

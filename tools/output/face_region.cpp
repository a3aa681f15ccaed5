// Items of region lists.

#include "tools/output/face_region.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <vector>

#include "tools/output/xmp_struct.h"

namespace oznatool {
namespace {

const std::string kAreaSpace = "http://ns.adobe.com/xmp/sType/Area#";
const std::string kDimensionsSpace = "http://ns.adobe.com/xap/1.0/sType/Dimensions#";
const std::string kOwnSpace = "ozna:ns:regions/";

std::string fraction(double value) {
  std::array<char, 32> text;
  const std::to_chars_result result = std::to_chars(text.data(), text.data() + text.size(), value,
                                                    std::chars_format::fixed, /*precision=*/6);
  return {text.data(), result.ptr};
}

std::optional<double> numberIn(const std::string& text) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const std::from_chars_result result = std::from_chars(text.data(), end, value);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::optional<double> numberOf(const std::vector<XmpField>& fields, const XmlName& name) {
  const XmpField* const field = fieldIn(fields, name);
  return field == nullptr ? std::nullopt : numberIn(field->text);
}

// The fields of a structure that is a field itself; none where it is not a structure.
std::vector<XmpField> partsOf(const XmpField* field) {
  if (field == nullptr || field->element == nullptr) return {};
  return fieldsOf(*field->element).value_or(std::vector<XmpField>());
}

std::optional<RegionArea> areaOf(const std::vector<XmpField>& parts) {
  const XmpField* const unit = fieldIn(parts, {kAreaSpace, "unit"});
  const auto x = numberOf(parts, {kAreaSpace, "x"});
  const auto y = numberOf(parts, {kAreaSpace, "y"});
  const auto w = numberOf(parts, {kAreaSpace, "w"});
  const auto h = numberOf(parts, {kAreaSpace, "h"});
  if (!x || !y || !w || !h || unit == nullptr || unit->text != "normalized") return std::nullopt;
  return RegionArea{*x, *y, *w, *h};
}

// Our mark: four numbers with a blank between two.
std::optional<RegionArea> markedArea(const std::string& text) {
  std::array<double, 4> numbers = {};
  std::size_t begin = 0;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const std::size_t end = i + 1 < numbers.size() ? text.find(' ', begin) : text.size();
    const auto number = numberIn(text.substr(begin, end - begin));
    if (end == std::string::npos || !number) return std::nullopt;
    numbers[i] = *number;
    begin = end + 1;
  }
  return RegionArea{numbers[0], numbers[1], numbers[2], numbers[3]};
}

// Other programs write the same number with other digits.
bool agree(const RegionArea& a, const RegionArea& b) {
  constexpr double kHalfADigit = 5e-7;
  const auto near = [](double left, double right) { return std::abs(left - right) < kHalfADigit; };
  return near(a.x, b.x) && near(a.y, b.y) && near(a.w, b.w) && near(a.h, b.h);
}

bool isPlain(const XmlElement& element) {
  return element.attributes.empty() && element.children.empty();
}

}  // namespace

std::string regionItem(const RegionArea& area) {
  const std::string x = fraction(area.x);
  const std::string y = fraction(area.y);
  const std::string w = fraction(area.w);
  const std::string h = fraction(area.h);
  return "\n     <rdf:li xmlns:rdf=\"" + kRdfSpace + "\" xmlns:mwg-rs=\"" + kRegionSpace +
         "\" xmlns:stArea=\"" + kAreaSpace + "\" xmlns:ozna=\"" + kOwnSpace +
         "\" rdf:parseType=\"Resource\">"
         "<mwg-rs:Type>Face</mwg-rs:Type><mwg-rs:Area stArea:x=\"" +
         x + "\" stArea:y=\"" + y + "\" stArea:w=\"" + w + "\" stArea:h=\"" + h +
         "\" stArea:unit=\"normalized\"/><mwg-rs:Extensions ozna:Area=\"" + x + " " + y + " " + w +
         " " + h + "\"/></rdf:li>";
}

std::string dimensionsProperty(const cv::Size& stored) {
  return "<mwg-rs:AppliedToDimensions xmlns:mwg-rs=\"" + kRegionSpace + "\" xmlns:stDim=\"" +
         kDimensionsSpace + "\" stDim:w=\"" + std::to_string(stored.width) + "\" stDim:h=\"" +
         std::to_string(stored.height) + "\" stDim:unit=\"pixel\"/>";
}

RegionFacts factsOf(const XmlElement& item) {
  RegionFacts facts;
  const auto fields = fieldsOf(item);
  if (!fields) return facts;
  const XmpField* const type = fieldIn(*fields, {kRegionSpace, "Type"});
  facts.is_face = type != nullptr && type->text == "Face";
  const std::vector<XmpField> parts = partsOf(fieldIn(*fields, {kRegionSpace, "Area"}));
  facts.area = areaOf(parts);
  const std::vector<XmpField> extensions = partsOf(fieldIn(*fields, {kRegionSpace, "Extensions"}));
  const XmpField* const mark = fieldIn(extensions, {kOwnSpace, "Area"});
  if (!facts.is_face || !facts.area || mark == nullptr) return facts;
  const auto marked = markedArea(mark->text);
  facts.is_ours = fields->size() == 3 && parts.size() == 5 && extensions.size() == 1 &&
                  !item.has_remarks && (type->element == nullptr || isPlain(*type->element)) &&
                  marked && agree(*marked, *facts.area);
  return facts;
}

bool hasOurMark(const std::string& text) { return text.find(kOwnSpace) != std::string::npos; }

std::optional<cv::Size> dimensionsIn(const XmlElement& property) {
  const auto fields = fieldsOf(property);
  if (!fields) return std::nullopt;
  const XmpField* const unit = fieldIn(*fields, {kDimensionsSpace, "unit"});
  const auto w = numberOf(*fields, {kDimensionsSpace, "w"});
  const auto h = numberOf(*fields, {kDimensionsSpace, "h"});
  constexpr double kMost = 1e9;
  if (!w || !h || *w < 1 || *h < 1 || *w > kMost || *h > kMost || unit == nullptr ||
      unit->text != "pixel") {
    return std::nullopt;
  }
  return cv::Size(static_cast<int>(*w), static_cast<int>(*h));
}

}  // namespace oznatool

// The regions of a sidecar, exchanged in its text.

#include "tools/output/xmp_regions.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <vector>

#include "tools/output/face_region.h"
#include "tools/output/xml_tree.h"
#include "tools/output/xmp_struct.h"
#include "tools/photograph/orientation.h"

namespace oznatool {
namespace {

const XmlName kRdf = {kRdfSpace, "RDF"};
const XmlName kDescription = {kRdfSpace, "Description"};
const XmlName kRegions = {kRegionSpace, "Regions"};
const XmlName kRegionList = {kRegionSpace, "RegionList"};
const XmlName kDimensions = {kRegionSpace, "AppliedToDimensions"};

[[noreturn]] void failForm() {
  throw std::runtime_error("has regions in a form that is not known");
}

cv::Size storedSize(const Record& record) {
  return exchangesSides(record.orientation) ? cv::Size(record.size.height, record.size.width)
                                            : record.size;
}

std::vector<RegionArea> areasOf(const Record& record) {
  const cv::Size stored = storedSize(record);
  std::vector<RegionArea> areas;
  for (const Face& face : record.faces) {
    oznakit::Box rect = inStoredFrame(face.rect, cv::Size2f(record.size), record.orientation);
    rect = {std::max(rect.left, 0.0F), std::max(rect.top, 0.0F),
            std::min(rect.right, static_cast<float>(stored.width)),
            std::min(rect.bottom, static_cast<float>(stored.height))};
    if (!(rect.left < rect.right && rect.top < rect.bottom)) continue;
    areas.push_back({(rect.left + rect.right) / 2.0 / stored.width,
                     (rect.top + rect.bottom) / 2.0 / stored.height,
                     (rect.right - rect.left) / stored.width,
                     (rect.bottom - rect.top) / stored.height});
  }
  return areas;
}

bool holdsCentre(const RegionArea& area, const RegionArea& other) {
  return std::abs(other.x - area.x) < area.w / 2 && std::abs(other.y - area.y) < area.h / 2;
}

std::string itemsOf(const std::vector<RegionArea>& areas) {
  std::string items;
  for (const RegionArea& area : areas) items += regionItem(area);
  return items;
}

std::string listProperty(const std::vector<RegionArea>& areas) {
  return "<mwg-rs:RegionList xmlns:mwg-rs=\"" + kRegionSpace + "\"><rdf:Bag xmlns:rdf=\"" +
         kRdfSpace + "\">" + itemsOf(areas) + (areas.empty() ? "" : "\n    ") +
         "</rdf:Bag></mwg-rs:RegionList>";
}

std::string regionsProperty(const cv::Size& stored, const std::vector<RegionArea>& areas) {
  return "<mwg-rs:Regions xmlns:rdf=\"" + kRdfSpace + "\" xmlns:mwg-rs=\"" + kRegionSpace +
         "\" rdf:parseType=\"Resource\">\n    " + dimensionsProperty(stored) + "\n    " +
         listProperty(areas) + "\n   </mwg-rs:Regions>";
}

std::string description(const std::string& about, const std::string& property) {
  return "\n  <rdf:Description xmlns:rdf=\"" + kRdfSpace + "\" rdf:about=\"" + xmlEscaped(about) +
         "\">\n   " + property + "\n  </rdf:Description>";
}

// The element of all statements in an XMP text.
const XmlElement& statementsIn(const XmlElement& root) {
  const auto fail = [] { throw std::runtime_error("holds something that is no XMP"); };
  const XmlElement* statements = &root;
  if (root.name.space == "adobe:ns:meta/" && root.children.size() == 1) {
    statements = &root.children[0];
  }
  if (!(statements->name == kRdf)) fail();
  for (const XmlElement& child : statements->children) {
    if (!(child.name == kDescription)) fail();
  }
  return *statements;
}

// What the statements are about: the same text in each, mostly an empty one.
std::string subjectOf(const XmlElement& statements) {
  for (const XmlElement& child : statements.children) {
    for (const XmlName& name : {XmlName{kRdfSpace, "about"}, XmlName{"", "about"}}) {
      const std::string* const about = child.attribute(name);
      if (about != nullptr) return *about;
    }
  }
  return "";
}

// The property of all regions, or null.
const XmlElement* regionsIn(const XmlElement& statements) {
  const XmlElement* found = nullptr;
  for (const XmlElement& statement : statements.children) {
    for (const XmlElement& property : statement.children) {
      if (!(property.name == kRegions)) continue;
      if (found != nullptr) throw std::runtime_error("has its regions in two places");
      found = &property;
    }
  }
  return found;
}

bool isEmpty(const XmlElement& property) {
  return property.children.empty() && trimmed(property.text).empty() && !property.has_remarks;
}

// Exchanges our regions in a text that has a property of regions.
class Exchange {
 public:
  Exchange(const std::string& source, const XmlElement& regions, const Record& record)
      : source_(source), regions_(regions), stored_(storedSize(record)), areas_(areasOf(record)) {}

  std::string made() {
    const XmlElement* const body = bodyOf(regions_);
    if (isEmpty(regions_)) {
      edits_.replace(regions_.begin, regions_.end, regionsProperty(stored_, areas_));
      return edits_.applied(source_);
    }
    const auto fields = fieldsOf(regions_);
    if (body == nullptr || !fields) failForm();
    exchangeList(*body, fieldIn(*fields, kRegionList));
    setDimensions(*body, fieldIn(*fields, kDimensions));
    return edits_.applied(source_);
  }

 private:
  void exchangeList(const XmlElement& body, const XmpField* list) {
    if (list == nullptr) {
      edits_.append(source_, body, listProperty(areas_));
      return;
    }
    if (list->element == nullptr) failForm();
    if (isEmpty(*list->element)) {
      edits_.replace(list->element->begin, list->element->end, listProperty(areas_));
      return;
    }
    const XmlElement* const array = arrayOf(*list->element);
    if (array == nullptr) failForm();
    for (const XmlElement& item : array->children) {
      const RegionFacts facts = factsOf(item);
      if (facts.is_ours) {
        edits_.remove(source_, item);
        continue;
      }
      has_others_ = true;
      if (facts.is_face && facts.area) dropShown(*facts.area);
    }
    edits_.append(source_, *array, itemsOf(areas_));
  }

  // Forgets those of our faces that a region of others shows.
  void dropShown(const RegionArea& shown) {
    areas_.erase(std::remove_if(areas_.begin(), areas_.end(),
                                [&](const RegionArea& area) {
                                  return holdsCentre(shown, area) && holdsCentre(area, shown);
                                }),
                 areas_.end());
  }

  // The dimensions belong to all regions of the list.
  void setDimensions(const XmlElement& body, const XmpField* dimensions) {
    if (dimensions == nullptr) {
      edits_.append(source_, body, dimensionsProperty(stored_));
      return;
    }
    if (dimensions->element == nullptr) failForm();
    const auto given = dimensionsIn(*dimensions->element);
    if (given && *given == stored_) return;
    if (has_others_) {
      throw std::runtime_error(
          "has regions of another program for a photograph of another size than " +
          std::to_string(stored_.width) + " x " + std::to_string(stored_.height) + " pixels");
    }
    edits_.replace(dimensions->element->begin, dimensions->element->end,
                   dimensionsProperty(stored_));
  }

  const std::string& source_;
  const XmlElement& regions_;
  const cv::Size stored_;
  std::vector<RegionArea> areas_;
  bool has_others_ = false;
  TextEdits edits_;
};

}  // namespace

std::string xmpWithRegions(const Record& record, const std::string& former) {
  const std::string property = regionsProperty(storedSize(record), areasOf(record));
  if (former.empty()) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">\n <rdf:RDF xmlns:rdf=\"" +
           kRdfSpace + "\">" + description("", property) + "\n </rdf:RDF>\n</x:xmpmeta>\n";
  }
  const XmlElement root = parsedXml(former);
  const XmlElement& statements = statementsIn(root);
  std::string changed;
  if (const XmlElement* const regions = regionsIn(statements)) {
    changed = Exchange(former, *regions, record).made();
  } else {
    TextEdits edits;
    edits.append(former, statements, description(subjectOf(statements), property));
    changed = edits.applied(former);
  }
  // What goes out must be read by others: no edit may break it.
  regionsIn(statementsIn(parsedXml(changed)));
  return changed;
}

}  // namespace oznatool

// The three forms of a structure, and arrays.

#include "tools/output/xmp_struct.h"

#include <algorithm>
#include <cstddef>

namespace oznatool {
namespace {

XmlName rdf(const std::string& local) { return {kRdfSpace, local}; }

// Adds attributes as fields. Returns false where one has a meaning of RDF's own or of XML's.
bool addAttributes(const XmlElement& element, bool may_be_resource, std::vector<XmpField>& fields) {
  for (const XmlAttribute& attribute : element.attributes) {
    const bool is_resource_mark = may_be_resource && attribute.name == rdf("parseType");
    if (is_resource_mark) continue;
    if (attribute.name.space.empty() || attribute.name.space == kRdfSpace ||
        attribute.name.space == "http://www.w3.org/XML/1998/namespace") {
      return false;
    }
    fields.push_back({attribute.name, attribute.value, nullptr});
  }
  return true;
}

bool isDescription(const XmlElement& property) {
  return property.children.size() == 1 && property.children[0].name == rdf("Description");
}

}  // namespace

std::string trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r\n";
  const std::size_t begin = text.find_first_not_of(kBlanks);
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

const XmlElement* bodyOf(const XmlElement& property) {
  const std::string* const type = property.attribute(rdf("parseType"));
  if (type != nullptr) return *type == "Resource" ? &property : nullptr;
  return isDescription(property) ? &property.children[0] : nullptr;
}

std::optional<std::vector<XmpField>> fieldsOf(const XmlElement& property) {
  if (!trimmed(property.text).empty()) return std::nullopt;
  const XmlElement* const body = bodyOf(property);
  if (body == nullptr && !property.children.empty()) return std::nullopt;
  if (body != nullptr && !trimmed(body->text).empty()) return std::nullopt;
  std::vector<XmpField> fields;
  if (!addAttributes(property, /*may_be_resource=*/body == &property, fields)) return std::nullopt;
  if (body == nullptr) return fields;
  if (body != &property && !addAttributes(*body, /*may_be_resource=*/false, fields)) {
    return std::nullopt;
  }
  for (const XmlElement& child : body->children) {
    fields.push_back({child.name, trimmed(child.text), &child});
  }
  return fields;
}

const XmpField* fieldIn(const std::vector<XmpField>& fields, const XmlName& name) {
  const auto found = std::find_if(fields.begin(), fields.end(),
                                  [&](const XmpField& field) { return field.name == name; });
  return found == fields.end() ? nullptr : &*found;
}

const XmlElement* arrayOf(const XmlElement& property) {
  if (property.children.size() != 1 || !trimmed(property.text).empty()) return nullptr;
  const XmlElement& array = property.children[0];
  const bool is_array =
      array.name == rdf("Bag") || array.name == rdf("Seq") || array.name == rdf("Alt");
  return is_array ? &array : nullptr;
}

}  // namespace oznatool

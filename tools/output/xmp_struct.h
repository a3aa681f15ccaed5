/// Structures of XMP, in the forms in which RDF may write them.

#ifndef OZNA_TOOLS_OUTPUT_XMP_STRUCT_H_
#define OZNA_TOOLS_OUTPUT_XMP_STRUCT_H_

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/output/xml_tree.h"

namespace oznatool {

inline const std::string kRdfSpace = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";

/// A field of a structure.
struct XmpField {
  XmlName name;
  std::string text;           ///< Its value, where it has no parts.
  const XmlElement* element;  ///< Null where it is written as an attribute.
};

/// The fields of a property whose value is a structure.
///
/// A structure is written as elements in the property (rdf:parseType="Resource"), as attributes of
/// it, or as elements and attributes of one rdf:Description in it.
/// Returns  Nothing where the value is not a structure or something else stands beside its fields.
std::optional<std::vector<XmpField>> fieldsOf(const XmlElement& property);

/// The element whose children are the fields of a structure: the property or the rdf:Description in
/// it; null where there is neither.
const XmlElement* bodyOf(const XmlElement& property);

/// The field of a name, or null.
const XmpField* fieldIn(const std::vector<XmpField>& fields, const XmlName& name);

/// The array, a bag or a list, that is the value of a property, or null.
const XmlElement* arrayOf(const XmlElement& property);

/// The text without the blanks around it.
std::string trimmed(const std::string& text);

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_XMP_STRUCT_H_

/// The elements of an XML text with the bytes that they stand in, so that parts of the text can be
/// exchanged and the rest stays as it is, comments and blanks included.

#ifndef OZNA_TOOLS_OUTPUT_XML_TREE_H_
#define OZNA_TOOLS_OUTPUT_XML_TREE_H_

#include <cstddef>
#include <string>
#include <vector>

namespace oznatool {

/// A name in a namespace, which is empty where there is none.
struct XmlName {
  std::string space;
  std::string local;
  bool operator==(const XmlName& other) const {
    return local == other.local && space == other.space;
  }
};

struct XmlAttribute {
  XmlName name;
  std::string value;
};

struct XmlElement {
  XmlName name;
  std::vector<XmlAttribute> attributes;  ///< Without declarations of namespaces.
  std::vector<XmlElement> children;
  std::string text;          ///< Directly inside, without that of the children.
  bool has_remarks = false;  ///< A comment or an instruction stands inside, at any depth.

  // Bytes of the whole text: of the element with its tags, and of what stands between the tags. An
  // empty-element tag has both of the latter at its end.
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t inner_begin = 0;
  std::size_t inner_end = 0;

  bool isEmptyTag() const { return inner_begin == end; }
  /// The value of an attribute, or null.
  const std::string* attribute(const XmlName& wanted) const;
};

/// The root element of an XML text.
///
/// Errors  std::runtime_error with a reason where the text is not well-formed XML in UTF-8, has
///         a document type, which could define anything, is nested more than 200 levels
///         deep or has more than 100000 elements.
XmlElement parsedXml(const std::string& text);

/// Text as it may stand between tags and in attributes.
std::string xmlEscaped(const std::string& text);

/// Changes to a text, collected and made in one go.
class TextEdits {
 public:
  /// Puts text in place of the bytes from begin to end.
  void replace(std::size_t begin, std::size_t end, const std::string& text);
  /// Puts text behind the last child of an element, or where the first one would stand.
  void append(const std::string& source, const XmlElement& element, const std::string& text);
  /// Takes an element away with the blanks before it.
  void remove(const std::string& source, const XmlElement& element);

  /// The changed text. Edits must not overlap; those at one place are made in the order in which
  /// they were added.
  std::string applied(const std::string& source) const;

 private:
  struct Edit {
    std::size_t begin, end;
    std::string text;
  };
  std::vector<Edit> edits_;
};

}  // namespace oznatool

#endif  // OZNA_TOOLS_OUTPUT_XML_TREE_H_

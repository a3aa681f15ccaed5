// Elements and their bytes by expat.

#include "tools/output/xml_tree.h"

#include <expat.h>
#include <strings.h>

#include <algorithm>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>

namespace oznatool {
namespace {

constexpr char kSeparator = '\n';  // Between namespace and name: it stands in neither.
constexpr std::size_t kDeepest = 200;
constexpr std::size_t kMostElements = 100000;

struct Free {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using Parser = std::unique_ptr<XML_ParserStruct, Free>;

XmlName nameOf(const std::string& text) {
  const std::size_t at = text.find(kSeparator);
  if (at == std::string::npos) return {"", text};
  return {text.substr(0, at), text.substr(at + 1)};
}

// Builds the tree from the parser's calls. No exception may pass through the parser, which is C.
class Builder {
 public:
  explicit Builder(XML_Parser parser) : parser_(parser) {
    XML_SetUserData(parser, this);
    XML_SetElementHandler(parser, onBegin, onEnd);
    XML_SetCharacterDataHandler(parser, onText);
    XML_SetCommentHandler(parser, onComment);
    XML_SetProcessingInstructionHandler(parser, onInstruction);
    XML_SetStartDoctypeDeclHandler(parser, onDocumentType);
    XML_SetXmlDeclHandler(parser, onDeclaration);
  }

  void rethrow() const {
    if (error_) std::rethrow_exception(error_);
  }
  XmlElement takeRoot() { return std::move(root_); }

 private:
  static void XMLCALL onBegin(void* self, const char* name, const char** attributes) {
    static_cast<Builder*>(self)->guarded(
        [&](Builder& builder) { builder.begin(name, attributes); });
  }
  static void XMLCALL onEnd(void* self, const char* /*name*/) {
    static_cast<Builder*>(self)->guarded([](Builder& builder) { builder.end(); });
  }
  static void XMLCALL onText(void* self, const char* text, int size) {
    static_cast<Builder*>(self)->guarded([&](Builder& builder) {
      if (!builder.open_.empty()) {
        builder.open_.back().text.append(text, static_cast<std::size_t>(size));
      }
    });
  }
  static void XMLCALL onComment(void* self, const char* /*text*/) {
    static_cast<Builder*>(self)->remark();
  }
  static void XMLCALL onInstruction(void* self, const char* /*target*/, const char* /*data*/) {
    static_cast<Builder*>(self)->remark();
  }
  static void XMLCALL onDocumentType(void* self, const char* /*name*/, const char* /*system*/,
                                     const char* /*publik*/, int /*has_internal*/) {
    static_cast<Builder*>(self)->guarded(
        [](Builder&) { throw std::runtime_error("has a document type"); });
  }

  static void XMLCALL onDeclaration(void* self, const char* /*version*/, const char* encoding,
                                    int /*standalone*/) {
    static_cast<Builder*>(self)->guarded([encoding](Builder&) {
      // What is put in is UTF-8.
      if (encoding != nullptr && strcasecmp(encoding, "UTF-8") != 0 &&
          strcasecmp(encoding, "US-ASCII") != 0) {
        throw std::runtime_error("is no XML in UTF-8");
      }
    });
  }

  void guarded(const std::function<void(Builder&)>& body) {
    if (error_) return;
    try {
      body(*this);
    } catch (...) {
      error_ = std::current_exception();
      XML_StopParser(parser_, /*resumable=*/XML_FALSE);
    }
  }

  void begin(const char* name, const char** attributes) {
    if (open_.size() == kDeepest) throw std::runtime_error("is nested too deeply");
    if (++count_ > kMostElements) throw std::runtime_error("has too many elements");
    XmlElement element;
    element.name = nameOf(name);
    for (; *attributes != nullptr; attributes += 2) {
      element.attributes.push_back({nameOf(attributes[0]), attributes[1]});
    }
    element.begin = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_));
    element.inner_begin =
        element.begin + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_));
    open_.push_back(std::move(element));
  }

  void end() {
    XmlElement element = std::move(open_.back());
    open_.pop_back();
    // An empty-element tag has an end of no bytes behind it.
    element.inner_end = static_cast<std::size_t>(XML_GetCurrentByteIndex(parser_));
    element.end = element.inner_end + static_cast<std::size_t>(XML_GetCurrentByteCount(parser_));
    if (open_.empty()) {
      root_ = std::move(element);
      return;
    }
    open_.back().has_remarks = open_.back().has_remarks || element.has_remarks;
    open_.back().children.push_back(std::move(element));
  }

  void remark() {
    if (!open_.empty()) open_.back().has_remarks = true;
  }

  XML_Parser parser_;
  std::vector<XmlElement> open_;  // From the root inwards.
  std::size_t count_ = 0;
  XmlElement root_;
  std::exception_ptr error_;
};

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

}  // namespace

const std::string* XmlElement::attribute(const XmlName& wanted) const {
  for (const XmlAttribute& attribute : attributes) {
    if (attribute.name == wanted) return &attribute.value;
  }
  return nullptr;
}

XmlElement parsedXml(const std::string& text) {
  // Those encodings have an ASCII character in two or four bytes: nothing could be put in between.
  if (text.find('\0') != std::string::npos) throw std::runtime_error("is no XML in UTF-8");
  const Parser parser(XML_ParserCreateNS(/*encoding=*/nullptr, kSeparator));
  if (parser == nullptr) throw std::bad_alloc();
  Builder builder(parser.get());
  const bool is_whole = XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()),
                                  /*isFinal=*/1) == XML_STATUS_OK;
  builder.rethrow();
  if (!is_whole && XML_GetErrorCode(parser.get()) == XML_ERROR_NO_MEMORY) throw std::bad_alloc();
  if (!is_whole) {
    throw std::runtime_error("is no XML: line " +
                             std::to_string(XML_GetCurrentLineNumber(parser.get())) + ": " +
                             XML_ErrorString(XML_GetErrorCode(parser.get())));
  }
  return builder.takeRoot();
}

std::string xmlEscaped(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

void TextEdits::replace(std::size_t begin, std::size_t end, const std::string& text) {
  edits_.push_back({begin, end, text});
}

void TextEdits::append(const std::string& source, const XmlElement& element,
                       const std::string& text) {
  if (!element.isEmptyTag()) {
    const std::size_t at =
        element.children.empty() ? element.inner_begin : element.children.back().end;
    replace(at, at, text);
    return;
  }
  // The tag is opened: its name ends at a blank or at the slash.
  const std::size_t name_end = source.find_first_of(" \t\r\n/", element.begin);
  const std::string name = source.substr(element.begin + 1, name_end - element.begin - 1);
  replace(element.end - 2, element.end, ">" + text + "</" + name + ">");
}

void TextEdits::remove(const std::string& source, const XmlElement& element) {
  std::size_t begin = element.begin;
  while (begin > 0 && isBlank(source[begin - 1])) --begin;
  replace(begin, element.end, "");
}

std::string TextEdits::applied(const std::string& source) const {
  std::vector<Edit> edits = edits_;
  std::stable_sort(edits.begin(), edits.end(),
                   [](const Edit& a, const Edit& b) { return a.begin < b.begin; });
  std::string changed;
  std::size_t copied = 0;
  for (const Edit& edit : edits) {
    if (edit.begin < copied) throw std::logic_error("edits overlap");
    changed += source.substr(copied, edit.begin - copied) + edit.text;
    copied = edit.end;
  }
  return changed + source.substr(copied);
}

}  // namespace oznatool

// Elements with their bytes, and edits of a text.

#include "tools/output/xml_tree.h"

#include <gtest/gtest.h>

namespace ozna_test {
namespace {

using oznatool::parsedXml;
using oznatool::TextEdits;
using oznatool::XmlElement;

std::string outer(const std::string& text, const XmlElement& element) {
  return text.substr(element.begin, element.end - element.begin);
}

std::string inner(const std::string& text, const XmlElement& element) {
  return text.substr(element.inner_begin, element.inner_end - element.inner_begin);
}

TEST(XmlTree, ElementsKnowTheirBytes) {
  const std::string text =
      "\xEF\xBB\xBF<?xml version='1.0'?><!-- > --><p:a xmlns:p='n' b='>'>\xC3\xA4 <c/> <d "
      "p:e='&amp;'><f>x</f></d><![CDATA[<g/>]]></p:a >\n";
  const XmlElement root = parsedXml(text);
  EXPECT_EQ(root.name.space, "n");
  EXPECT_EQ(root.name.local, "a");
  EXPECT_EQ(root.text, "\xC3\xA4  <g/>");
  EXPECT_EQ(outer(text, root).substr(0, 5), "<p:a ");
  EXPECT_EQ(outer(text, root).substr(outer(text, root).size() - 7), "</p:a >");
  ASSERT_EQ(root.children.size(), 2U);
  EXPECT_EQ(outer(text, root.children[0]), "<c/>");
  EXPECT_TRUE(root.children[0].isEmptyTag());
  EXPECT_EQ(outer(text, root.children[1]), "<d p:e='&amp;'><f>x</f></d>");
  EXPECT_EQ(inner(text, root.children[1]), "<f>x</f>");
  ASSERT_NE(root.children[1].attribute({"n", "e"}), nullptr);
  EXPECT_EQ(*root.children[1].attribute({"n", "e"}), "&");
  EXPECT_EQ(root.children[1].attribute({"", "e"}), nullptr);
  EXPECT_FALSE(root.has_remarks);
  EXPECT_TRUE(parsedXml("<a><b><?c d?></b></a>").has_remarks);
}

TEST(XmlTree, EditsChangeNothingElse) {
  const std::string text = "<a>\n  <b/>\n  <c d='1' />\n</a>";
  const XmlElement root = parsedXml(text);
  TextEdits edits;
  edits.append(text, root, "<e/>");
  edits.remove(text, root.children[0]);
  edits.append(text, root.children[1], "new");
  EXPECT_EQ(edits.applied(text), "<a>\n  <c d='1' >new</c><e/>\n</a>");
}

TEST(XmlTree, DepthAndNumberOfElementsHaveALimit) {
  std::string deep;
  for (int i = 0; i < 201; ++i) deep += "<a>";
  for (int i = 0; i < 201; ++i) deep += "</a>";
  EXPECT_THROW(parsedXml(deep), std::runtime_error);
  EXPECT_NO_THROW(parsedXml(deep.substr(3, deep.size() - 7)));
  std::string many = "<a>";
  for (int i = 0; i < 100000; ++i) many += "<b/>";
  EXPECT_THROW(parsedXml(many + "</a>"), std::runtime_error);
  EXPECT_NO_THROW(parsedXml(many.substr(0, many.size() - 4) + "</a>"));
}

TEST(XmlTree, ReasonsNameTheLine) {
  try {
    parsedXml("<a>\n<b></a>");
    FAIL();
  } catch (const std::runtime_error& error) {
    EXPECT_NE(std::string(error.what()).find("line 2"), std::string::npos) << error.what();
  }
}

}  // namespace
}  // namespace ozna_test

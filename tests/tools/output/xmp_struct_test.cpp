// Structures in the forms in which RDF may write them.

#include "tools/output/xmp_struct.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using oznatool::parsedXml;
using oznatool::XmlElement;
using oznatool::XmpField;

const std::string kSpaces =
    " xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#' xmlns:a='space:a'";

XmlElement property(const std::string& attributes, const std::string& content) {
  return parsedXml("<a:Area" + kSpaces + " " + attributes + ">" + content + "</a:Area>");
}

// "x=1 y=2" of the fields of a structure; "none" where it is not one.
std::string textOf(const XmlElement& element) {
  const auto fields = oznatool::fieldsOf(element);
  if (!fields) return "none";
  std::string text;
  for (const XmpField& field : *fields) text += field.name.local + "=" + field.text + " ";
  return text;
}

TEST(XmpStruct, IsTheSameInEveryForm) {
  const std::string elements = "<a:x> 1\n</a:x><a:y>2</a:y>";
  EXPECT_EQ(textOf(property("rdf:parseType='Resource'", elements)), "x=1 y=2 ");
  EXPECT_EQ(textOf(property("a:x='1' a:y='2'", "")), "x=1 y=2 ");
  EXPECT_EQ(textOf(property("", "<rdf:Description>" + elements + "</rdf:Description>")),
            "x=1 y=2 ");
  EXPECT_EQ(textOf(property("", "<rdf:Description a:x='1'><a:y>2</a:y></rdf:Description>")),
            "x=1 y=2 ");
  EXPECT_EQ(textOf(property("", "")), "");
}

TEST(XmpStruct, IsNoneBesideTextOrInAnotherForm) {
  EXPECT_EQ(textOf(property("", "text")), "none");
  EXPECT_EQ(textOf(property("rdf:parseType='Resource'", "text<a:x>1</a:x>")), "none");
  EXPECT_EQ(textOf(property("rdf:parseType='Literal'", "<a:x>1</a:x>")), "none");
  EXPECT_EQ(textOf(property("", "<a:x>1</a:x>")), "none");
  EXPECT_EQ(textOf(property("", "<rdf:Description/><rdf:Description/>")), "none");
  EXPECT_EQ(textOf(property("", "<rdf:Description>text</rdf:Description>")), "none");
  // Attributes with a meaning of their own are no fields.
  EXPECT_EQ(textOf(property("rdf:resource='elsewhere'", "")), "none");
  EXPECT_EQ(textOf(property("xml:lang='en'", "")), "none");
  EXPECT_EQ(textOf(property("x='1'", "")), "none");
}

TEST(XmpStruct, FieldsAreFoundByTheirWholeName) {
  const auto fields = oznatool::fieldsOf(property("a:x='1'", ""));
  ASSERT_TRUE(fields);
  ASSERT_NE(oznatool::fieldIn(*fields, {"space:a", "x"}), nullptr);
  EXPECT_EQ(oznatool::fieldIn(*fields, {"space:a", "x"})->element, nullptr);
  EXPECT_EQ(oznatool::fieldIn(*fields, {"space:b", "x"}), nullptr);
  EXPECT_EQ(oznatool::fieldIn(*fields, {"space:a", "X"}), nullptr);
}

TEST(XmpStruct, ArraysAreBagsAndListsThatStandAlone) {
  for (const std::string kind : {"Bag", "Seq", "Alt"}) {
    const XmlElement whole = property("", "<rdf:" + kind + "><rdf:li/></rdf:" + kind + ">");
    ASSERT_NE(oznatool::arrayOf(whole), nullptr) << kind;
    EXPECT_EQ(oznatool::arrayOf(whole)->children.size(), 1U);
  }
  EXPECT_EQ(oznatool::arrayOf(property("", "<rdf:Bag/><rdf:Bag/>")), nullptr);
  EXPECT_EQ(oznatool::arrayOf(property("", "text<rdf:Bag/>")), nullptr);
  EXPECT_EQ(oznatool::arrayOf(property("", "<a:Bag/>")), nullptr);
  EXPECT_EQ(oznatool::arrayOf(property("", "")), nullptr);
}

TEST(XmpStruct, BodyHoldsTheFields) {
  const XmlElement inner = property("", "<rdf:Description><a:x>1</a:x></rdf:Description>");
  EXPECT_EQ(oznatool::bodyOf(inner), &inner.children[0]);
  const XmlElement outer = property("rdf:parseType='Resource'", "<a:x>1</a:x>");
  EXPECT_EQ(oznatool::bodyOf(outer), &outer);
  const XmlElement neither = property("a:x='1'", "");
  EXPECT_EQ(oznatool::bodyOf(neither), nullptr);
}

TEST(Trimmed, TakesBlanksOffBothEndsAlone) {
  EXPECT_EQ(oznatool::trimmed(" \t\r\na b\n"), "a b");
  EXPECT_EQ(oznatool::trimmed(" \n"), "");
  EXPECT_EQ(oznatool::trimmed(""), "");
}

}  // namespace

// Sidecars in which other programs and their users have written.

#include "tools/output/xmp_regions.h"

#include <sys/stat.h>

#include <cstddef>
#include <regex>

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

// A record of a photograph of 200 by 100 pixels with these boxes.
oznatool::Record recordWith(const std::vector<oznakit::Box>& boxes) {
  oznatool::Record record;
  record.size = cv::Size(200, 100);
  for (const auto& box : boxes) record.faces.push_back({box, 0.9F});
  return record;
}

// Centres 0.2, 0.3 and 0.6, 0.3; sides 0.2 and 0.4 of the photograph.
const oznakit::Box kLeft = {20, 10, 60, 50};
const oznakit::Box kRight = {100, 10, 140, 50};

// A region as a photo manager writes it; beside is what stands in it besides type and area.
std::string region(const std::string& type, const std::string& x, const std::string& beside) {
  return "\n     <rdf:li>\n      <rdf:Description mwg-rs:Type=\"" + type + "\"" + beside +
         ">\n       <mwg-rs:Area stArea:x=\"" + x +
         "\" stArea:y=\"0.3\" stArea:w=\"0.1\" stArea:h=\"0.2\" "
         "stArea:unit=\"normalized\"/>\n      </rdf:Description>\n     </rdf:li>";
}

std::string sidecarOf(const std::string& regions, const std::string& width = "200") {
  return "\xEF\xBB\xBF<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>\n"
         "<!-- kept by hand, 2019 & ever after -->\n"
         "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\" x:xmptk=\"some program\">\n"
         " <r:RDF xmlns:r=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\">\n"
         "  <r:Description r:about='' xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" "
         "xmp:Rating=\"4\"/>\n"
         "  <r:Description r:about='' xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"\n"
         "    xmlns:mwg-rs=\"http://www.metadataworkinggroup.com/schemas/regions/\"\n"
         "    xmlns:stDim=\"http://ns.adobe.com/xap/1.0/sType/Dimensions#\"\n"
         "    xmlns:stArea=\"http://ns.adobe.com/xmp/sType/Area#\">\n"
         "   <mwg-rs:Regions rdf:parseType=\"Resource\">\n"
         "    <mwg-rs:AppliedToDimensions stDim:w=\"" +
         width +
         "\" stDim:h=\"100\" stDim:unit=\"pixel\"/>\n"
         "    <mwg-rs:RegionList>\n     <rdf:Bag><!-- of the family -->" +
         regions +
         "\n     </rdf:Bag>\n    </mwg-rs:RegionList>\n   </mwg-rs:Regions>\n"
         "  </r:Description>\n </r:RDF>\n</x:xmpmeta>\n<?xpacket end=\"w\"?>";
}

// Of others: everything that is no unnamed face, and faces of which a user said something.
const std::string kOthers =
    region("Pet", "0.9", " mwg-rs:Name=\"Rex\"") + region("Focus", "0.9", "") +
    region("BarCode", "0.9", " mwg-rs:BarCodeValue=\"123\"") +
    region("Face", "0.9", " mwg-rs:Name=\"Grace\"") +
    region("Face", "0.85", " mwg-rs:Title=\"Aunt\"") +
    region("Face", "0.8", " mwg-rs:Description=\"with a hat\"") + region("Face", "0.75", "");

std::string oursIn(const std::string& text) {
  static const std::regex ours(
      "\n +<rdf:li[^>]*>(?:(?!</rdf:li>)[^])*ozna:Area(?:(?!</rdf:li>)[^])*</rdf:li>");
  return std::regex_replace(text, ours, "");
}

std::string reasonFor(const std::string& former) {
  try {
    oznatool::xmpWithRegions(recordWith({kLeft}), former);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(XmpOfOthers, StaysToTheByteBehindManyRuns) {
  const std::string former = sidecarOf(kOthers);
  const std::string once = oznatool::xmpWithRegions(recordWith({kLeft, kRight}), former);
  EXPECT_NE(once, former);
  EXPECT_EQ(oursIn(once), former);
  EXPECT_EQ(oznatool::xmpWithRegions(recordWith({kLeft, kRight}), once), once);
  const std::string moved = oznatool::xmpWithRegions(recordWith({kRight}), once);
  EXPECT_EQ(oursIn(moved), former);
  EXPECT_EQ(moved.find("stArea:x=\"0.200000\""), std::string::npos);
  EXPECT_EQ(oznatool::xmpWithRegions(recordWith({}), moved), former);
}

TEST(XmpOfOthers, RegionsOfOursThatAUserChangedAreTheirs) {
  const std::string plain = oznatool::xmpWithRegions(recordWith({kLeft}), "");
  const std::string end = "</rdf:li>";
  const auto with = [&](const std::string& inserted) {
    std::string text = plain;
    return text.insert(text.find(end), inserted);
  };
  const auto exchanged = [&](const std::string& from, const std::string& to) {
    std::string text = plain;
    EXPECT_NE(text.find(from), std::string::npos) << from;
    return text.replace(text.find(from), from.size(), to);
  };
  for (const std::string& changed :
       {with("<mwg-rs:Name>Grace</mwg-rs:Name>"), with("<mwg-rs:Title>Aunt</mwg-rs:Title>"),
        with("<mwg-rs:Description>with a hat</mwg-rs:Description>"), with("<!-- who? -->"),
        exchanged("stArea:x=\"0.200000\"", "stArea:x=\"0.210000\""),
        exchanged("<mwg-rs:Type>Face", "<mwg-rs:Type>Pet")}) {
    SCOPED_TRACE(changed);
    const std::string text = oznatool::xmpWithRegions(recordWith({kRight}), changed);
    EXPECT_EQ(text.find("0.600000"), text.rfind("stArea:x=\"0.600000\"") + 10);
    std::string kept = changed.substr(changed.find("<rdf:li"));
    kept.resize(kept.find(end));
    EXPECT_NE(text.find(kept), std::string::npos);
  }
}

TEST(XmpOfOthers, RegionsOfOursInOtherWordsAreOurs) {
  // The same region as another library may write it: short numbers, a description, attributes.
  const std::string rewritten = sidecarOf(
      "<rdf:li xmlns:ozna=\"ozna:ns:regions/\"><rdf:Description mwg-rs:Type=\"Face\">"
      "<mwg-rs:Area stArea:unit=\"normalized\" stArea:x=\"0.2\" stArea:y=\"0.3\" stArea:w=\"0.2\" "
      "stArea:h=\"0.4\"/><mwg-rs:Extensions rdf:parseType=\"Resource\"><ozna:Area>0.200000 "
      "0.300000 "
      "0.200000 0.400000</ozna:Area></mwg-rs:Extensions></rdf:Description></rdf:li>");
  const std::string text = oznatool::xmpWithRegions(recordWith({kRight}), rewritten);
  EXPECT_EQ(text.find("0.2\""), std::string::npos);
  EXPECT_NE(text.find("0.600000"), std::string::npos);
}

TEST(XmpOfOthers, FaceThatTheyShowGetsNoSecondRegion) {
  const std::string former = sidecarOf(region("Face", "0.21", " mwg-rs:Name=\"Grace\"") +
                                       region("Pet", "0.6", " mwg-rs:Name=\"Rex\""));
  const std::string text = oznatool::xmpWithRegions(recordWith({kLeft, kRight}), former);
  EXPECT_EQ(oursIn(text), former);
  EXPECT_EQ(text.find("stArea:x=\"0.200000\""), std::string::npos);
  EXPECT_NE(text.find("stArea:x=\"0.600000\""), std::string::npos);  // A pet is no face.
}

TEST(XmpOfOthers, StatementsWithoutRegionsGetThem) {
  const std::string head = "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\">";
  for (const std::string& former :
       {head + "<q:RDF xmlns:q=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"/></x:xmpmeta>",
        head + "<q:RDF xmlns:q=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><!-- none "
               "--></q:RDF></x:xmpmeta>",
        std::string("<q:RDF xmlns:q=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><q:Description "
                    "q:about=\"uuid:1&amp;2\"/></q:RDF>")}) {
    SCOPED_TRACE(former);
    const std::string text = oznatool::xmpWithRegions(recordWith({kLeft}), former);
    EXPECT_NE(text.find("stArea:x=\"0.200000\""), std::string::npos);
    EXPECT_EQ(text.find("uuid:1&amp;2") != text.rfind("uuid:1&amp;2"),
              former.find("uuid") != std::string::npos);
    EXPECT_EQ(oznatool::xmpWithRegions(recordWith({kLeft}), text), text);
  }
  // An empty list, in four spellings.
  for (const char* list :
       {"", "<mwg-rs:RegionList/>", "<mwg-rs:RegionList><rdf:Bag/></mwg-rs:RegionList>",
        "<mwg-rs:RegionList><rdf:Bag></rdf:Bag></mwg-rs:RegionList>"}) {
    const std::string whole = sidecarOf("");
    const std::size_t begin = whole.find("<mwg-rs:RegionList>");
    const std::size_t end = whole.find("   </mwg-rs:Regions>");
    const std::string former = whole.substr(0, begin) + list + whole.substr(end);
    EXPECT_NE(oznatool::xmpWithRegions(recordWith({kLeft}), former).find("stArea:x=\"0.200000\""),
              std::string::npos)
        << list;
  }
}

TEST(XmpOfOthers, WhatIsNoXmpIsRefused) {
  for (const char* other : {"<svg xmlns=\"http://www.w3.org/2000/svg\"><rect/></svg>", "<a/>",
                            "<a>", "text", "{}", "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"/>",
                            "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><b/></x:xmpmeta>",
                            "<x:xmpmeta xmlns:x=\"another\"><r:RDF "
                            "xmlns:r=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"/></x:xmpmeta>",
                            "<r:RDF xmlns:r=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\" "
                            "xmlns:f=\"http://xmlns.com/foaf/0.1/\"><f:Person/></r:RDF>"}) {
    EXPECT_NE(reasonFor(other).find("is no X"), std::string::npos) << other << reasonFor(other);
  }
  EXPECT_NE(reasonFor("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a/>").find("UTF-8"),
            std::string::npos);
  EXPECT_NE(reasonFor("<!DOCTYPE a [<!ENTITY b \"c\">]><a>&b;</a>").find("document type"),
            std::string::npos);
}

TEST(XmpOfOthers, RegionsThatAreNotUnderstoodAreRefused) {
  EXPECT_NE(reasonFor(sidecarOf(kOthers, "400")).find("of another size than 200 x 100"),
            std::string::npos);
  EXPECT_EQ(reasonFor(sidecarOf("", "400")), "");
  std::string odd = sidecarOf("");
  const std::string type = "<mwg-rs:Regions rdf:parseType=\"Resource\">";
  odd.replace(odd.find(type), type.size(), "<mwg-rs:Regions rdf:parseType=\"Literal\">");
  EXPECT_NE(reasonFor(odd).find("a form that is not known"), std::string::npos);
  std::string twice = sidecarOf("");
  const std::string part = "  </r:Description>\n";
  twice.insert(twice.find(part), "<mwg-rs:Regions/>");
  EXPECT_NE(reasonFor(twice).find("in two places"), std::string::npos);
}

class XmpFiles : public ProgramTest {};

TEST_F(XmpFiles, KeepModeAndLinkAndEverythingOfOthers) {
  const std::string photograph = OZNA_SOURCE_DIR "/samples/astronaut.png";
  // Without the mark of the byte order, which the other reader warns of.
  std::string former = sidecarOf(kOthers, "512").substr(3);
  former.replace(former.find("stDim:h=\"100\""), 13, "stDim:h=\"512\"");
  writeFile(at("archive/real.xmp"), former);
  chmod(at("archive/real.xmp").c_str(), 0600);
  fs::create_directory(at("xmp"));
  fs::create_symlink(at("archive/real.xmp"), at("xmp/astronaut.png.xmp"));
  const Outcome run = runOzna({"detect", "--xmp", at("xmp"), photograph});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(fs::is_symlink(at("xmp/astronaut.png.xmp")));
  struct stat status;
  ASSERT_EQ(stat(at("archive/real.xmp").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0600U);
  const std::string text = readFile(at("archive/real.xmp"));
  EXPECT_NE(text, former);
  EXPECT_EQ(oursIn(text), former);
  // Another reader finds all of them.
  const std::string types =
      outputOf("exiftool -s3 -sep , -RegionType '" + at("archive/real.xmp") + "'");
  EXPECT_EQ(types, "Pet,Focus,BarCode,Face,Face,Face,Face,Face\n");
  EXPECT_EQ(outputOf("exiftool -s3 -Warning -validate '" + at("archive/real.xmp") + "'"), "OK\n");
}

TEST_F(XmpFiles, ThatAreOtherXmlAreLeftAlone) {
  const std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\"><rect/></svg>\n";
  writeFile(at("xmp/a.png.xmp"), svg);
  const Outcome run = runOzna({"detect", "--json", "--xmp", at("xmp"), makePicture("a.png")});
  expectFailure(run, 4, "a.png.xmp: holds something that is no XMP");
  EXPECT_EQ(readFile(at("xmp/a.png.xmp")), svg);
  EXPECT_EQ(linesOf(run.out).size(), 1U);
}

}  // namespace
}  // namespace ozna_test

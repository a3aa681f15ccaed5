// Sidecar files, read back by exiftool.

#include <cstddef>
#include <cstdio>
#include <exiv2/exiv2.hpp>

#include "tests/tools/pictures.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

class Xmp : public ProgramTest {
 protected:
  // The region structure that exiftool finds in a file, numbers as numbers.
  static nlohmann::ordered_json regionInfo(const std::string& path) {
    const std::string command = "exiftool -j -struct -n -RegionInfo '" + path + "'";
    FILE* const pipe = popen(command.c_str(), "r");
    std::string text;
    char buffer[4096];
    while (pipe != nullptr && std::fgets(buffer, sizeof(buffer), pipe) != nullptr) text += buffer;
    if (pipe != nullptr) pclose(pipe);
    const nlohmann::ordered_json value = parsed(text);
    if (!value.is_array() || value.empty()) return {};
    return value[0].value("RegionInfo", nlohmann::ordered_json());
  }

  // Runs align with this box, so that the region is known, and gives the region structure.
  nlohmann::ordered_json regionsOfBox(const std::string& box, const std::string& photograph) const {
    const Outcome run = runOzna(
        {"align", "--models", makeLandmarkModels(), "--box", box, "--xmp", at("xmp"), photograph});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return regionInfo(at("xmp/" + fs::path(photograph).filename().string() + ".xmp"));
  }
};

TEST_F(Xmp, RegionsLieInTheStoredFrameForAllOrientations) {
  // The upright photograph has 200 by 100 pixels and its face the edges 20,10,60,50: centre 40,30.
  struct Expected {
    int orientation, width, height;
    double x, y, w, h;
  };
  for (const Expected& expected :
       {Expected{1, 200, 100, 40, 30, 40, 40}, Expected{2, 200, 100, 160, 30, 40, 40},
        Expected{3, 200, 100, 160, 70, 40, 40}, Expected{4, 200, 100, 40, 70, 40, 40},
        Expected{5, 100, 200, 30, 40, 40, 40}, Expected{6, 100, 200, 30, 160, 40, 40},
        Expected{7, 100, 200, 70, 160, 40, 40}, Expected{8, 100, 200, 70, 40, 40, 40}}) {
    SCOPED_TRACE(expected.orientation);
    const std::string path = at(std::to_string(expected.orientation) + ".jpg");
    writeFile(path, encodedWithOrientation(
                        ".jpg", asStored(gradientPicture(200, 100), expected.orientation),
                        expected.orientation));
    const std::string before = readFile(path);
    const nlohmann::ordered_json info = regionsOfBox("20,10,60,50", path);
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(info["AppliedToDimensions"]["W"], expected.width);
    EXPECT_EQ(info["AppliedToDimensions"]["H"], expected.height);
    EXPECT_EQ(info["AppliedToDimensions"]["Unit"], "pixel");
    ASSERT_EQ(info["RegionList"].size(), 1U);
    const nlohmann::ordered_json& region = info["RegionList"][0];
    EXPECT_EQ(region["Type"], "Face");
    EXPECT_EQ(region["Area"]["Unit"], "normalized");
    EXPECT_NEAR(region["Area"]["X"].get<double>() * expected.width, expected.x, 1e-3);
    EXPECT_NEAR(region["Area"]["Y"].get<double>() * expected.height, expected.y, 1e-3);
    EXPECT_NEAR(region["Area"]["W"].get<double>() * expected.width, expected.w, 1e-3);
    EXPECT_NEAR(region["Area"]["H"].get<double>() * expected.height, expected.h, 1e-3);
  }
}

TEST_F(Xmp, RegionsHoldTheDetectedFaces) {
  const std::string photograph = OZNA_SOURCE_DIR "/samples/group.jpg";
  const Outcome run = runOzna({"detect", "--json", "--xmp", at("xmp"), photograph});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json faces = parsed(run.out)["faces"];
  const nlohmann::ordered_json regions = regionInfo(at("xmp/group.jpg.xmp"))["RegionList"];
  ASSERT_GT(faces.size(), 1U);
  ASSERT_EQ(regions.size(), faces.size());
  for (std::size_t i = 0; i < faces.size(); ++i) {
    const double centre = (faces[i]["left"].get<double>() + faces[i]["right"].get<double>()) / 2;
    EXPECT_NEAR(regions[i]["Area"]["X"].get<double>() * 1280, centre, 0.01);
  }
}

TEST_F(Xmp, RegionsAreCutToThePhotograph) {
  const nlohmann::ordered_json info =
      regionsOfBox("-20,-10,40,300", makePicture("a.png", 200, 100));
  const nlohmann::ordered_json& area = info["RegionList"][0]["Area"];
  EXPECT_NEAR(area["X"].get<double>(), 0.1, 1e-6);  // 0 to 40 of 200.
  EXPECT_NEAR(area["W"].get<double>(), 0.2, 1e-6);
  EXPECT_NEAR(area["Y"].get<double>(), 0.5, 1e-6);
  EXPECT_NEAR(area["H"].get<double>(), 1, 1e-6);
}

TEST_F(Xmp, PhotographWithoutFacesHasNoRegion) {
  ASSERT_EQ(runOzna({"detect", "--xmp", at("xmp"), makePicture("a.png", 200, 100)}).exit_code, 0);
  const nlohmann::ordered_json info = regionInfo(at("xmp/a.png.xmp"));
  EXPECT_EQ(info["AppliedToDimensions"]["W"], 200);
  // The list is there, since the schema wants one, and empty, which exiftool prints as no text.
  EXPECT_EQ(info["RegionList"], "");
}

TEST_F(Xmp, FailedPhotographHasNoSidecar) {
  writeFile(at("bad.jpg"), "no photograph");
  EXPECT_EQ(runOzna({"detect", "--xmp", at("xmp"), at("bad.jpg")}).exit_code, 1);
  EXPECT_FALSE(fs::exists(at("xmp/bad.jpg.xmp")));
}

std::string sidecarWith(const std::string& inside) {
  return "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
         "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"><rdf:Description "
         "rdf:about=\"\" xmlns:xmp=\"http://ns.adobe.com/xap/1.0/\" "
         "xmlns:mwg-rs=\"http://www.metadataworkinggroup.com/schemas/regions/\" "
         "xmp:Rating=\"4\">" +
         inside + "</rdf:Description></rdf:RDF></x:xmpmeta>";
}

TEST_F(Xmp, FormerSidecarKeepsAllButItsRegions) {
  const std::string photograph = makePicture("a.png", 200, 100);
  writeFile(at("xmp/a.png.xmp"), sidecarWith(""));
  regionsOfBox("20,10,60,50", photograph);
  const nlohmann::ordered_json again = regionsOfBox("100,10,140,50", photograph);
  ASSERT_EQ(again["RegionList"].size(), 1U);
  EXPECT_NEAR(again["RegionList"][0]["Area"]["X"].get<double>(), 0.6, 1e-6);
  EXPECT_NE(readFile(at("xmp/a.png.xmp")).find("Rating=\"4\""), std::string::npos);
}

TEST_F(Xmp, NameGivenInAnotherProgramStaysAndTheOtherFacesAreReplaced) {
  const std::string photograph = OZNA_SOURCE_DIR "/samples/group.jpg";
  const std::string sidecar = at("xmp/group.jpg.xmp");
  const auto detect = [&](const std::string& choice) {
    std::vector<std::string> arguments = {"detect", "--json", "--xmp", at("xmp"), photograph};
    if (!choice.empty()) arguments.push_back(choice);
    const Outcome run = runOzna(arguments);
    EXPECT_EQ(run.exit_code, 0) << run.err;
    return parsed(run.out)["faces"];
  };
  const nlohmann::ordered_json faces = detect("");
  // The smallest face gets a name, by a library that writes the whole file anew, in forms of its
  // own.
  const auto width = [](const nlohmann::ordered_json& face) {
    return face["right"].get<double>() - face["left"].get<double>();
  };
  std::size_t smallest = 0;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    if (width(faces[i]) < width(faces[smallest])) smallest = i;
  }
  const auto file = Exiv2::ImageFactory::open(sidecar);
  file->readMetadata();
  file->xmpData()["Xmp.mwg-rs.Regions/mwg-rs:RegionList[" + std::to_string(smallest + 1) +
                  "]/mwg-rs:Name"] = "Grace";
  file->writeMetadata();
  const nlohmann::ordered_json named = regionInfo(sidecar)["RegionList"];
  ASSERT_EQ(named.size(), faces.size());
  ASSERT_EQ(named[smallest]["Name"], "Grace");

  const auto expectGrace = [&](std::size_t count) {
    const nlohmann::ordered_json regions = regionInfo(sidecar)["RegionList"];
    EXPECT_EQ(regions.size(), count);
    std::size_t graces = 0;
    for (const nlohmann::ordered_json& region : regions) {
      if (!region.contains("Name")) continue;
      ++graces;
      EXPECT_EQ(region["Name"], "Grace");
      EXPECT_EQ(region["Area"], named[smallest]["Area"]);
    }
    EXPECT_EQ(graces, 1U);
  };
  detect("");
  expectGrace(faces.size());
  detect("--biggest");
  expectGrace(2);
  detect("");
  expectGrace(faces.size());
}

TEST_F(Xmp, FormerSidecarThatIsNoneIsLeftAlone) {
  const std::string photograph = makePicture("a.png", 200, 100);
  writeFile(at("xmp/a.png.xmp"), "<<< something else");
  expectFailure(runOzna({"detect", "--xmp", at("xmp"), photograph}), 4, "is no XML");
  EXPECT_EQ(readFile(at("xmp/a.png.xmp")), "<<< something else");
}

TEST_F(Xmp, EqualNamesDoNotShareASidecar) {
  const Outcome run = runOzna({"detect", "--json", "--xmp", at("xmp"),
                               makePicture("x/a.png", 200, 100), makePicture("y/a.png", 100, 100)});
  expectFailure(run, 4, "a.png.xmp: is the sidecar of another photograph");
  EXPECT_EQ(regionInfo(at("xmp/a.png.xmp"))["AppliedToDimensions"]["W"], 200);
  EXPECT_EQ(linesOf(run.out).size(), 2U);
}

TEST_F(Xmp, SubfoldersAreKept) {
  makePicture("in/x/a.png", 200, 100);
  makePicture("in/y/a.png", 100, 100);
  ASSERT_EQ(runOzna({"detect", "-r", "--xmp", at("xmp"), at("in")}).exit_code, 0);
  EXPECT_TRUE(fs::exists(at("xmp/x/a.png.xmp")));
  EXPECT_TRUE(fs::exists(at("xmp/y/a.png.xmp")));
}

TEST_F(Xmp, DirectoryThatCannotBeMadeIsReported) {
  writeFile(at("file"), "");
  expectFailure(runOzna({"detect", "--xmp", at("file"), makePicture("a.png")}), 4, at("file"));
}

}  // namespace
}  // namespace ozna_test

// Regions that are written into the photographs, read back by other programs.

#include <sys/stat.h>
#include <sys/xattr.h>

#include <cstddef>
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>

#include "tests/tools/output/jpeg_segments.h"
#include "tests/tools/pictures.h"
#include "tests/tools/program.h"

namespace ozna_test {
namespace {

namespace fs = std::filesystem;

const char* const kGroup = OZNA_SOURCE_DIR "/samples/group.jpg";

// Whether one file is the other with bytes put in at one place.
bool isInserted(const std::string& before, const std::string& after) {
  if (after.size() <= before.size()) return false;
  const std::size_t head =
      std::mismatch(before.begin(), before.end(), after.begin()).first - before.begin();
  const std::size_t tail =
      std::mismatch(before.rbegin(), before.rend(), after.rbegin()).first - before.rbegin();
  return head + tail >= before.size();
}

class Embed : public ProgramTest {
 protected:
  static nlohmann::ordered_json regionInfo(const std::string& path) {
    const nlohmann::ordered_json value =
        parsed(outputOf("exiftool -j -struct -n -RegionInfo '" + path + "'"));
    if (!value.is_array() || value.empty()) return {};
    return value[0].value("RegionInfo", nlohmann::ordered_json());
  }

  // Embeds this box, so that the region is known.
  Outcome embedBox(const std::string& box, const std::string& photograph,
                   std::vector<std::string> more = {}) const {
    more.insert(more.begin(), {"align", "--json", "--points", "5", "--models", makeLandmarkModels(),
                               "--box", box, "--embed"});
    more.push_back(photograph);
    return runOzna(more);
  }

  std::string copyOf(const std::string& photograph, const std::string& name) const {
    writeFile(at(name), readFile(photograph));
    return at(name);
  }

  // Fails unless nothing but the photographs lies in the test's directory.
  void expectNoLeftovers() const {
    for (const auto& entry : fs::recursive_directory_iterator(directory_)) {
      EXPECT_EQ(entry.path().filename().string().find(".ozna-"), std::string::npos) << entry.path();
    }
  }
};

TEST_F(Embed, JpegGetsTheRegionsOfASidecarAndKeepsEveryOtherByte) {
  for (int orientation = 1; orientation <= 8; ++orientation) {
    SCOPED_TRACE(orientation);
    const std::string name = std::to_string(orientation) + ".jpg";
    const std::string path = at(name);
    writeFile(path, encodedWithOrientation(".jpg", asStored(gradientPicture(200, 100), orientation),
                                           orientation));
    const std::string before = readFile(path);
    const Outcome run = embedBox("20,10,60,50", path, {"--xmp", at("xmp")});
    ASSERT_EQ(run.exit_code, 0) << run.err;
    EXPECT_TRUE(isInserted(before, readFile(path)));
    EXPECT_EQ(regionInfo(path)["RegionList"].size(), 1U);
    EXPECT_EQ(regionInfo(path), regionInfo(at("xmp/" + name + ".xmp")));
  }
}

TEST_F(Embed, PixelsAndCodedDataOfARealPhotographStay) {
  const std::string path = copyOf(kGroup, "group.jpg");
  const Outcome run = runOzna({"detect", "--json", "--embed", path});
  ASSERT_EQ(run.exit_code, 0) << run.err;
  const nlohmann::ordered_json faces = parsed(run.out)["faces"];
  ASSERT_GT(faces.size(), 1U);
  EXPECT_EQ(regionInfo(path)["RegionList"].size(), faces.size());
  EXPECT_TRUE(isInserted(readFile(kGroup), readFile(path)));
  EXPECT_EQ(cv::norm(cv::imread(kGroup), cv::imread(path), cv::NORM_INF), 0);
  // Another program takes all markers away: what is left is the coded picture.
  EXPECT_EQ(outputOf("jpegtran -copy none '" + path + "' | sha256sum"),
            outputOf(std::string("jpegtran -copy none '") + kGroup + "' | sha256sum"));
  EXPECT_EQ(outputOf("exiftool -s3 -Warning -Error -validate '" + path + "'").rfind("Error", 0),
            std::string::npos);
  EXPECT_EQ(parsed(run.out)["bytes"], fs::file_size(path));
}

TEST_F(Embed, PngGetsRegionsTooAndKeepsEveryOtherByte) {
  const std::string path = makePicture("a.png", 200, 100);
  const std::string before = readFile(path);
  ASSERT_EQ(embedBox("20,10,60,50", path).exit_code, 0);
  EXPECT_TRUE(isInserted(before, readFile(path)));
  EXPECT_NEAR(regionInfo(path)["RegionList"][0]["Area"]["X"].get<double>(), 0.2, 1e-6);
  EXPECT_EQ(cv::norm(cv::imread(path), gradientPicture(200, 100), cv::NORM_INF), 0);
  ASSERT_EQ(embedBox("100,10,140,50", path).exit_code, 0);
  ASSERT_EQ(regionInfo(path)["RegionList"].size(), 1U);
  EXPECT_NEAR(regionInfo(path)["RegionList"][0]["Area"]["X"].get<double>(), 0.6, 1e-6);
}

TEST_F(Embed, SecondRunWritesNothingAndAnotherFaceReplacesOurs) {
  const std::string path = at("a.jpg");
  writeFile(path, encoded(".jpg", gradientPicture(200, 100)));
  ASSERT_EQ(embedBox("20,10,60,50", path).exit_code, 0);
  struct stat first, second;
  ASSERT_EQ(stat(path.c_str(), &first), 0);
  ASSERT_EQ(embedBox("20,10,60,50", path).exit_code, 0);
  ASSERT_EQ(stat(path.c_str(), &second), 0);
  EXPECT_EQ(first.st_ino, second.st_ino);
  EXPECT_EQ(first.st_mtim.tv_nsec, second.st_mtim.tv_nsec);
  ASSERT_EQ(embedBox("100,10,140,50", path).exit_code, 0);
  const nlohmann::ordered_json regions = regionInfo(path)["RegionList"];
  ASSERT_EQ(regions.size(), 1U);
  EXPECT_NEAR(regions[0]["Area"]["X"].get<double>(), 0.6, 1e-6);
}

TEST_F(Embed, NamesThatAnotherProgramGaveStay) {
  const std::string path = at("a.jpg");
  writeFile(path, encoded(".jpg", gradientPicture(200, 100)));
  outputOf(
      "exiftool -q -overwrite_original -XMP-dc:Title=Feast "
      "'-RegionInfo={AppliedToDimensions={W=200,H=100,"
      "Unit=pixel},RegionList=[{Area={X=0.21,Y=0.3,W=0.2,H=0.3,Unit=normalized},Name=Grace,Type="
      "Face},{Area={X=0.9,"
      "Y=0.8,W=0.1,H=0.1,Unit=normalized},Type=Face}]}' '" +
      path + "'");
  ASSERT_EQ(regionInfo(path)["RegionList"].size(), 2U);
  const std::string before = readFile(path);
  // A face that Grace's region shows: nothing is to be written.
  ASSERT_EQ(embedBox("20,10,60,50", path).exit_code, 0);
  EXPECT_EQ(readFile(path), before);
  for (const auto& [box, x] : {std::pair("100,10,140,50", 0.6), std::pair("110,10,150,50", 0.65)}) {
    ASSERT_EQ(embedBox(box, path).exit_code, 0);
    const nlohmann::ordered_json regions = regionInfo(path)["RegionList"];
    ASSERT_EQ(regions.size(), 3U);
    EXPECT_EQ(regions[0]["Name"], "Grace");
    EXPECT_EQ(regions[1]["Area"]["X"], 0.9);
    EXPECT_NEAR(regions[2]["Area"]["X"].get<double>(), x, 1e-6);
    EXPECT_EQ(outputOf("exiftool -s3 -Title '" + path + "'"), "Feast\n");
  }
  // Ours are gone where there is no face any more, and the file is what it was.
  ASSERT_EQ(runOzna({"detect", "--embed", path}).exit_code, 0);
  EXPECT_EQ(readFile(path), before);
}

TEST_F(Embed, PhotographWithoutFacesIsNotWritten) {
  const std::string path = makePicture("a.png", 200, 100);
  const std::string before = readFile(path);
  const Outcome run = runOzna({"detect", "--json", "--embed", path});
  EXPECT_EQ(run.exit_code, 0) << run.err;
  EXPECT_EQ(parsed(run.out)["faces"].size(), 0U);
  EXPECT_EQ(readFile(path), before);
}

TEST_F(Embed, ModeOwnerAttributesAndLinkStay) {
  const std::string path = at("real/a.jpg");
  writeFile(path, encoded(".jpg", gradientPicture(200, 100)));
  chmod(path.c_str(), 0640);
  const bool is_given = chown(path.c_str(), 1234, 4321) == 0;
  const bool has_tag = setxattr(path.c_str(), "user.xdg.tags", "feast", 5, 0) == 0;
  fs::create_symlink(path, at("link.jpg"));
  const Outcome run = embedBox("20,10,60,50", at("link.jpg"));
  ASSERT_EQ(run.exit_code, 0) << run.err;
  EXPECT_TRUE(fs::is_symlink(at("link.jpg")));
  EXPECT_EQ(regionInfo(path)["RegionList"].size(), 1U);
  struct stat status;
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  if (is_given) {
    EXPECT_EQ(status.st_uid, 1234U);
    EXPECT_EQ(status.st_gid, 4321U);
  }
  char tags[16];
  if (has_tag) {
    EXPECT_EQ(getxattr(path.c_str(), "user.xdg.tags", tags, sizeof(tags)), 5);
  }
  expectNoLeftovers();
}

TEST_F(Embed, PhotographThatCannotBeWrittenWholeStaysAsItIs) {
  cv::Mat noise(100, 200, CV_8UC3);
  cv::randu(noise, 0, 256);
  const std::string path = at("a.jpg");
  writeFile(path, encoded(".jpg", noise));
  const std::string before = readFile(path);
  const std::string limit = "--fsize=" + std::to_string(before.size());
  const Outcome run = runOznaUnder(
      {"prlimit", limit}, {"align", "--json", "--points", "5", "--models", makeLandmarkModels(),
                           "--box", "20,10,60,50", "--embed", path});
  expectFailure(run, 4, "a.jpg: ");
  EXPECT_EQ(linesOf(run.out).size(), 1U);
  EXPECT_EQ(readFile(path), before);
  expectNoLeftovers();
}

TEST_F(Embed, RunGoesOnAndSkipsWhatHasItsRegions) {
  const std::string path = copyOf(kGroup, "in/group.jpg");
  const Outcome first = runOzna({"detect", "--json", "--embed", path});
  ASSERT_EQ(first.exit_code, 0) << first.err;
  writeFile(at("out.jsonl"), first.out);
  const std::string written = readFile(path);
  const Outcome second =
      runOzna({"detect", "--json", "--embed", "--resume", at("out.jsonl"), "-r", at("in")});
  EXPECT_EQ(second.out, "") << second.err;
  EXPECT_NE(second.err.find("1 done before"), std::string::npos) << second.err;
  const Outcome skipped =
      runOzna({"detect", "--json", "--embed", "--skip-existing", "-r", at("in")});
  EXPECT_EQ(skipped.out, "") << skipped.err;
  // A run that was killed before its record came finds the same faces, and changes nothing.
  const Outcome again = runOzna({"detect", "--json", "--embed", path});
  EXPECT_EQ(again.out, first.out);
  EXPECT_EQ(readFile(path), written);
}

TEST_F(Embed, TwoNamesOfOnePhotographAreBothDone) {
  for (const char* jobs : {"-j1", "-j4"}) {
    const std::string path = copyOf(kGroup, "group.jpg");
    fs::remove(at("other.jpg"));
    fs::create_symlink(path, at("other.jpg"));
    const Outcome run = runOzna({"detect", "--json", "--embed", jobs, path, path, at("other.jpg")});
    EXPECT_EQ(run.exit_code, 0) << run.err;
    const std::vector<std::string> lines = linesOf(run.out);
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(parsed(lines[0])["faces"], parsed(lines[1])["faces"]);
    EXPECT_EQ(parsed(lines[0])["modified"], parsed(lines[1])["modified"]);
    EXPECT_EQ(regionInfo(path)["RegionList"].size(), parsed(lines[0])["faces"].size());
  }
}

TEST_F(Embed, FilesThatCannotBeWrittenSafelyAreRefusedAndStay) {
  const cv::Mat picture = gradientPicture(200, 100);
  const std::string jpeg = encoded(".jpg", picture);
  const std::string packet = segment('\xE1', kPacketKey + "<x/>");
  struct Case {
    const char* name;
    std::string bytes;
    const char* reason;
  };
  for (const Case& refused : std::vector<Case>{
           {"a.tiff", encoded(".tiff", picture), "is no JPEG or PNG file"},
           {"a.webp", encoded(".webp", picture), "is no JPEG or PNG file"},
           {"a.heic", encodedHeic(picture), "is no JPEG or PNG file"},
           {"cut.jpg", jpeg.substr(0, jpeg.size() - 40), "cut short"},
           {"two.jpg", withSegment(jpeg, packet + packet), "two XMP packets"},
           {"none.jpg", withSegment(jpeg, packet), "no XMP"},
           {"mpf.jpg", withSegment(jpeg, kMpf) + jpeg, "no longer be found"},
           {"behind.jpg", jpeg + "something else", "no longer be found"},
           {"extended.jpg",
            withSegment(
                jpeg, segment('\xE1', std::string("http://ns.adobe.com/xmp/extension/\0", 35) +
                                          std::string(40, '0') +
                                          "http://www.metadataworkinggroup.com/schemas/regions/")),
            "extension of its XMP packet"},
           // Other readers go by the usual prefix.
           {"prefix.jpg",
            withSegment(jpeg,
                        segment('\xE1', kPacketKey + "<r:RDF xmlns:r=\"http://www.w3.org/1999/02/"
                                                     "22-rdf-syntax-ns#\"></r:RDF>")),
            "would not be understood"},
           {"full.jpg",
            withSegment(jpeg, segment('\xE1', kPacketKey +
                                                  "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><r:RDF "
                                                  "xmlns:r=\"http://www.w3.org/1999/02/"
                                                  "22-rdf-syntax-ns#\"></r:RDF><!--" +
                                                  std::string(65200, '.') + "--></x:xmpmeta>")),
            "too little room"}}) {
    SCOPED_TRACE(refused.name);
    const std::string path = at(refused.name);
    writeFile(path, refused.bytes);
    const Outcome run = embedBox("20,10,60,50", path);
    expectFailure(run, 4, refused.reason);
    EXPECT_NE(run.err.find(refused.name), std::string::npos);
    EXPECT_EQ(linesOf(run.out).size(), 1U);
    EXPECT_EQ(readFile(path), refused.bytes);
  }
  expectFailure(runOznaOn(jpeg, {"detect", "--embed", "-i", "-"}), 2, "--embed writes into files");
  expectNoLeftovers();
}

TEST_F(Embed, FilmBehindAPhotographAndMovedPicturesStayWhereTheyAre) {
  const std::string jpeg = encoded(".jpg", gradientPicture(200, 100));
  // Phones append a film, whose place is counted from the end.
  const std::string film = std::string("\0\0\0\x18", 4) + "ftypmp42 and so on";
  writeFile(at("film.jpg"), jpeg + film);
  ASSERT_EQ(embedBox("20,10,60,50", at("film.jpg")).exit_code, 0);
  EXPECT_TRUE(isInserted(jpeg + film, readFile(at("film.jpg"))));
  // A file with further pictures keeps its size, where blanks of its packet make room.
  const std::string blanks(4000, ' ');
  const std::string packet =
      "<?xpacket begin=\"\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?><x:xmpmeta "
      "xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
      "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"></rdf:RDF></x:xmpmeta>" +
      blanks + "<?xpacket end=\"w\"?>";
  const std::string several =
      withSegment(jpeg, kMpf + "\xFF\xFF" + segment('\xE1', kPacketKey + packet)) + jpeg;
  writeFile(at("several.jpg"), several);
  ASSERT_EQ(embedBox("20,10,60,50", at("several.jpg")).exit_code, 0);
  const std::string written = readFile(at("several.jpg"));
  EXPECT_EQ(written.size(), several.size());
  EXPECT_EQ(written.substr(written.size() - jpeg.size()), jpeg);
  EXPECT_EQ(regionInfo(at("several.jpg"))["RegionList"].size(), 1U);
}

class SecondPictures : public Embed {
 protected:
  // The second picture, found by the index of another program.
  std::string secondOf(const std::string& path) const {
    const std::string extracted = at("second.jpg");
    outputOf("exiftool -b -MPImage2 '" + path + "' > '" + extracted + "'");
    return readFile(extracted);
  }
};

TEST_F(SecondPictures, AreFoundByTheirIndexWhereverThePacketStands) {
  const std::string second = encoded(".jpg", gradientPicture(50, 40));
  const std::string exif = segment('\xE1', std::string("Exif\0\0II*\0\x08\0\0\0\0\0\0\0\0\0", 20));
  const std::string packet = segment(
      '\xE1',
      kPacketKey +
          "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF "
          "xmlns:rdf=\"http://www.w3.org/1999/02/22-rdf-syntax-ns#\"></rdf:RDF></x:xmpmeta>");
  struct Case {
    bool is_big_endian;
    std::string before, behind;
  };
  for (const auto& [is_big_endian, before, behind] : std::vector<Case>{{false, "", ""},
                                                                       {true, exif, ""},
                                                                       {false, exif + packet, ""},
                                                                       {true, "", packet},
                                                                       {false, "", packet}}) {
    SCOPED_TRACE(std::to_string(is_big_endian) + before + behind);
    const std::string path = at("a.jpg");
    const std::string whole = withSecondPicture(before, behind, second, is_big_endian);
    writeFile(path, whole);
    ASSERT_EQ(secondOf(path), second);
    // A face, then none: the packet grows and shrinks.
    for (const char* box : {"20,10,60,50", ""}) {
      const Outcome run = *box == '\0' ? runOzna({"detect", "--embed", path}) : embedBox(box, path);
      ASSERT_EQ(run.exit_code, 0) << run.err;
      const std::string written = readFile(path);
      EXPECT_NE(written.size(), whole.size());
      EXPECT_EQ(secondOf(path), second);
      // The size of the first picture in the index: it ends before the zeros.
      const std::string size =
          number(written.size() - second.size() - 5, is_big_endian) + std::string(8, '\0');
      EXPECT_NE(written.find(size), std::string::npos);
      if (*box != '\0') {
        EXPECT_EQ(regionInfo(path)["RegionList"].size(), 1U);
      }
    }
  }
}

TEST_F(SecondPictures, WithSomethingElseThatCountsTheirPlacesAreRefused) {
  const std::string second = encoded(".jpg", gradientPicture(50, 40));
  const std::string whole = withSecondPicture("", "", second, false);
  const std::string exif("Exif\0\0MM\0*\0\0\0\x08\0\0\0\0\0\0",
                         20);  // A directory without entries.
  // The number in this segment is the place of the second picture, from the file's begin or from
  // the Exif data.
  const std::size_t place = whole.size() - second.size() + 4 + exif.size() + 4;
  const auto noted = [&](std::size_t value, bool is_big_endian) {
    const std::string note = segment('\xE1', exif + number(value, is_big_endian));
    return withSecondPicture(note, "", second, false);
  };
  struct Case {
    const char* name;
    std::string bytes;
  };
  for (const Case& refused : std::vector<Case>{
           {"absolute", noted(place, true)},
           {"absolute, the other order", noted(place, false)},
           {"from the Exif data", noted(place - 12, true)},
           {"something between", withSecondPicture("", "", "?" + second, false)},
           {"not whole", whole.substr(0, whole.size() - 1)},
           {"two indexes", withSecondPicture(indexOf(1, 2, 3, false), "", second, false)},
           {"something behind", withSecondPicture("", "", second, false, "something else")}}) {
    SCOPED_TRACE(refused.name);
    writeFile(at("a.jpg"), refused.bytes);
    expectFailure(embedBox("20,10,60,50", at("a.jpg")), 4, "no longer be found");
    EXPECT_EQ(readFile(at("a.jpg")), refused.bytes);
  }
  // The same note with another number is nothing to fear, nor is what counts from the end.
  writeFile(at("a.jpg"), noted(place + 1, true));
  EXPECT_EQ(embedBox("20,10,60,50", at("a.jpg")).exit_code, 0);
  writeFile(at("b.jpg"), withSecondPicture("", "", second, false, "a list of some kind SEFT"));
  EXPECT_EQ(embedBox("20,10,60,50", at("b.jpg")).exit_code, 0);
}

TEST_F(SecondPictures, WithAnIndexThatIsCutOrWrongAreRefused) {
  const std::string second = encoded(".jpg", gradientPicture(50, 40));
  const std::string whole = withSecondPicture("", "", second, true);
  const std::size_t index = whole.find("MPF") + 4;
  // The directory's place, the number of its fields, the kind, size and place of the list.
  for (const std::size_t byte : {0, 4, 8, 34, 35, 36, 37, 38, 40, 42}) {
    SCOPED_TRACE(byte);
    std::string changed = whole;
    changed[index + byte] = '\x7F';
    writeFile(at("a.jpg"), changed);
    EXPECT_EQ(embedBox("20,10,60,50", at("a.jpg")).exit_code, 4);
    EXPECT_EQ(readFile(at("a.jpg")), changed);
  }
}

}  // namespace
}  // namespace ozna_test

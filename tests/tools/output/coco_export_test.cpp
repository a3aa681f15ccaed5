// The export in the form of COCO.

#include "tools/output/coco_export.h"

#include "tests/tools/program.h"

namespace ozna_test {
namespace {

class Coco : public ProgramTest {};

TEST_F(Coco, IsOneDocumentOfTheWholeRun) {
  const std::string none = makePicture("none.png");
  const Outcome run = runOzna({"align", "--points", "5", "--format", "coco", at("missing.png"),
                               none, OZNA_SOURCE_DIR "/samples/group.jpg"});
  EXPECT_EQ(run.exit_code, 1);
  const nlohmann::ordered_json coco = parsed(run.out);
  ASSERT_EQ(coco["images"].size(), 2U);
  EXPECT_EQ(coco["images"][0]["file_name"], none);
  EXPECT_EQ(coco["images"][1]["width"], 1280);
  ASSERT_EQ(coco["annotations"].size(), 9U);
  const nlohmann::ordered_json face =
      parsed(runOzna({"detect", "--json", OZNA_SOURCE_DIR "/samples/group.jpg"}).out)["faces"][0];
  const nlohmann::ordered_json& first = coco["annotations"][0];
  EXPECT_EQ(first["image_id"], coco["images"][1]["id"]);
  EXPECT_EQ(first["category_id"], coco["categories"][0]["id"]);
  EXPECT_FLOAT_EQ(first["bbox"][0].get<float>(), face["left"].get<float>());
  EXPECT_NEAR(first["bbox"][2].get<float>(), face["right"].get<float>() - face["left"].get<float>(),
              1e-3);
  EXPECT_EQ(first["keypoints"].size(), 15U);
  EXPECT_EQ(coco["categories"][0]["keypoints"].size(), 5U);
  EXPECT_EQ(parsed(runOzna({"detect", "--format", "coco", none}).out)["annotations"].size(), 0U);
}

}  // namespace
}  // namespace ozna_test

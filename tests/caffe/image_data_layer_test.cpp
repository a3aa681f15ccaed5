// Tests of ImageDataLayer and of the reading of images into records.

#include <opencv2/core.hpp>

#include "caffe/data_layers.hpp"
#include "tests/caffe/data_test_helpers.h"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::Caffe;
using caffe::Datum;
using testing::HasSubstr;

// What the tests reach into.
class OpenImageDataLayer : public caffe::ImageDataLayer<float> {
 public:
  using caffe::ImageDataLayer<float>::ImageDataLayer;
  ~OpenImageDataLayer() override { JoinPrefetchThread(); }  // As every class derived from it.
  using caffe::ImageDataLayer<float>::lines_id_;
};

// Interleaved bytes first, first + 1, ... modulo 256.
cv::Mat CountingImage(int rows, int columns, int first) {
  cv::Mat image(rows, columns, CV_8UC3);
  for (int i = 0; i < rows * columns * 3; ++i) {
    image.data[i] = static_cast<unsigned char>(first + i);
  }
  return image;
}

// The planes of an image, by the plainest possible loop.
std::vector<float> PlanesOf(const cv::Mat& image) {
  std::vector<float> planes;
  for (int c = 0; c < 3; ++c) {
    for (int y = 0; y < image.rows; ++y) {
      for (int x = 0; x < image.cols; ++x) {
        planes.push_back(image.at<cv::Vec3b>(y, x)[c]);
      }
    }
  }
  return planes;
}

TEST(ReadImageToDatum, LaysPixelsOutByPlane) {
  cv::Mat image(1, 2, CV_8UC3);
  image.at<cv::Vec3b>(0, 0) = cv::Vec3b(1, 2, 3);
  image.at<cv::Vec3b>(0, 1) = cv::Vec3b(201, 202, 203);
  Datum datum;
  datum.add_float_data(5);
  ASSERT_TRUE(caffe::ReadImageToDatum(image, 0, 0, &datum));
  EXPECT_EQ(3, datum.channels());
  EXPECT_EQ(1, datum.height());
  EXPECT_EQ(2, datum.width());
  EXPECT_EQ(0, datum.label());
  EXPECT_EQ(0, datum.float_data_size());
  EXPECT_EQ((std::vector<float>{1, 201, 2, 202, 3, 203}), ValuesOf(datum));
}

TEST(ReadImageToDatum, ReadsViewIntoLargerImage) {
  const cv::Mat image = CountingImage(4, 5, 10);
  const cv::Mat view = image(cv::Rect(1, 2, 3, 2));
  Datum datum;
  ASSERT_TRUE(caffe::ReadImageToDatum(view, 0, 0, &datum));
  EXPECT_EQ(PlanesOf(view.clone()), ValuesOf(datum));
}

TEST(ReadImageToDatum, CrossesHeightAndWidth) {
  Datum datum;
  ASSERT_TRUE(caffe::ReadImageToDatum(CountingImage(4, 4, 0), /*height=*/2, /*width=*/5, &datum));
  EXPECT_EQ(5, datum.height());
  EXPECT_EQ(2, datum.width());
}

TEST(ReadImageToDatum, ScalesOnlyIfBothSizesAreGiven) {
  Datum datum;
  ASSERT_TRUE(caffe::ReadImageToDatum(CountingImage(4, 6, 0), 3, 0, &datum));
  EXPECT_EQ(4, datum.height());
  ASSERT_TRUE(caffe::ReadImageToDatum(CountingImage(4, 6, 0), 0, 3, &datum));
  EXPECT_EQ(6, datum.width());
}

TEST(ReadImageToDatum, HalvesByMeanOfFourPixels) {
  cv::Mat image(2, 2, CV_8UC3);
  image.at<cv::Vec3b>(0, 0) = cv::Vec3b(10, 0, 100);
  image.at<cv::Vec3b>(0, 1) = cv::Vec3b(20, 0, 100);
  image.at<cv::Vec3b>(1, 0) = cv::Vec3b(30, 4, 100);
  image.at<cv::Vec3b>(1, 1) = cv::Vec3b(40, 4, 100);
  Datum datum;
  ASSERT_TRUE(caffe::ReadImageToDatum(image, 1, 1, &datum));
  EXPECT_EQ((std::vector<float>{25, 2, 100}), ValuesOf(datum));
}

TEST(ReadImageToDatum, ReportsImageWithoutPixels) {
  Datum datum;
  EXPECT_FALSE(caffe::ReadImageToDatum(cv::Mat(), 0, 0, &datum));
  EXPECT_FALSE(caffe::ReadImageToDatum(cv::Mat(), 4, 4, &datum));
  EXPECT_FALSE(caffe::ReadImageToDatum(cv::Mat(0, 5, CV_8UC3), 0, 0, &datum));
}

TEST(ReadImageToDatumDeathTest, RefusesImageOfAnotherType) {
  Datum datum;
  EXPECT_DEATH(caffe::ReadImageToDatum(cv::Mat(2, 2, CV_8UC1), 0, 0, &datum),
               HasSubstr("Images are 8-bit with three channels."));
  EXPECT_DEATH(caffe::ReadImageToDatum(cv::Mat(2, 2, CV_32FC3), 0, 0, &datum),
               HasSubstr("Images are 8-bit with three channels."));
}

class ImageDataLayerTest : public testing::Test {
 protected:
  ImageDataLayerTest() : test_phase_(Caffe::TEST) {
    // The layers have threads, which a plain fork would not carry over.
    testing::FLAGS_gtest_death_test_style = "threadsafe";
  }

  static LayerParameter Param(const std::string& fields) {
    return ParseLayer("name: 'images' type: IMAGE_DATA image_data_param { " + fields + " }");
  }

  // A layer on the images, set up.
  OpenImageDataLayer& Layer(const std::vector<cv::Mat>& images, const std::string& fields) {
    layer_ = std::make_unique<OpenImageDataLayer>(Param(fields));
    for (const cv::Mat& image : images) {
      layer_->activeImagePtrs().push_back(boost::shared_ptr<cv::Mat>(new cv::Mat(image)));
    }
    layer_->SetUp({}, &tops_);
    return *layer_;
  }

  // The same, for a layer that dies: its destructor waits for the thread that does.
  void RunToDeath(const std::vector<cv::Mat>& images, const std::string& fields) {
    Layer(images, fields);
    layer_.reset();
  }

  const std::vector<float> NextBatch() {
    EXPECT_EQ(0, layer_->Forward({}, &tops_));
    return DataOf(data_);
  }

  TemporaryFolder folder_;
  ScopedRuntimeState test_phase_;
  Blob<float> data_;
  Blob<float> label_;
  std::vector<Blob<float>*> tops_ = {&data_, &label_};
  std::unique_ptr<OpenImageDataLayer> layer_;
};

// Suites of this name run under the thread sanitizer.
using ImageDataLayerThreads = ImageDataLayerTest;

TEST_F(ImageDataLayerTest, StandsInWithOneSquareOfNewHeight) {
  const auto& layer = Layer({}, "batch_size: 2 new_height: 6");
  EXPECT_EQ((std::vector<int>{2, 3, 6, 6}), ShapeOf(data_));
  EXPECT_EQ((std::vector<int>{2, 1, 1, 1}), ShapeOf(label_));
  EXPECT_EQ(108, layer.datum_size());
  EXPECT_EQ(1U, layer_->activeImagePtrs().size());
  EXPECT_EQ(cv::Size(6, 6), layer_->activeImagePtrs()[0]->size());
  EXPECT_EQ(CV_8UC3, layer_->activeImagePtrs()[0]->type());
}

TEST_F(ImageDataLayerTest, TakesBothSidesFromNewHeight) {
  Layer({CountingImage(10, 20, 0)}, "batch_size: 1 new_height: 32 new_width: 64");
  EXPECT_EQ((std::vector<int>{1, 3, 32, 32}), ShapeOf(data_));
}

TEST_F(ImageDataLayerTest, TellsSizeOfRecordAndPhaseOfItsThread) {
  const auto& layer = Layer({CountingImage(4, 6, 0)}, "batch_size: 1 crop_size: 2");
  EXPECT_EQ(3, layer.datum_channels());
  EXPECT_EQ(4, layer.datum_height());
  EXPECT_EQ(6, layer.datum_width());
  EXPECT_EQ(72, layer.datum_size());
  EXPECT_EQ(Caffe::TEST, layer.phase());
}

TEST_F(ImageDataLayerTest, LeavesGradientsAlone) {
  Layer({CountingImage(2, 2, 0)}, "batch_size: 1");
  layer_->Forward({}, &tops_);
  std::vector<Blob<float>*> bottoms;
  layer_->Backward(tops_, true, &bottoms);
  EXPECT_EQ(std::vector<float>(12, 0), DiffOf(data_));
}

TEST_F(ImageDataLayerTest, DoesNotReadNewWidth) {
  Layer({CountingImage(10, 20, 0)}, "batch_size: 1 new_height: 8");
  EXPECT_EQ((std::vector<int>{1, 3, 8, 8}), ShapeOf(data_));
  Layer({CountingImage(10, 20, 0)}, "batch_size: 1 new_width: 8");
  EXPECT_EQ((std::vector<int>{1, 3, 10, 20}), ShapeOf(data_));
}

TEST_F(ImageDataLayerTest, OpensNoSource) {
  Layer({CountingImage(2, 2, 0)}, "batch_size: 1 source: '/nowhere/at/all'");
  EXPECT_EQ(PlanesOf(CountingImage(2, 2, 0)), NextBatch());
}

TEST_F(ImageDataLayerThreads, RepeatsImagesInOrderWithLabelZero) {
  const std::vector<cv::Mat> images = {CountingImage(2, 3, 0), CountingImage(2, 3, 240)};
  Layer(images, "batch_size: 3 shuffle: true scale: 1");
  for (int batch = 0; batch < 3; ++batch) {
    std::vector<float> expected;
    for (int slot = 0; slot < 3; ++slot) {
      Append(expected, PlanesOf(images[(batch * 3 + slot) % 2]));
    }
    EXPECT_EQ(expected, NextBatch()) << "batch " << batch;
    EXPECT_EQ((std::vector<float>{0, 0, 0}), DataOf(label_));
  }
}

TEST_F(ImageDataLayerThreads, BuildsOneBatchAhead) {
  const auto& layer = Layer({CountingImage(1, 1, 0), CountingImage(1, 1, 1), CountingImage(1, 1, 2),
                             CountingImage(1, 1, 3), CountingImage(1, 1, 4)},
                            "batch_size: 2");
  layer_->JoinPrefetchThread();
  EXPECT_EQ(2, layer.lines_id_);
  layer_->Forward({}, &tops_);
  EXPECT_EQ(0, data_.cpu_data()[0]);
  layer_->JoinPrefetchThread();
  EXPECT_EQ(4, layer.lines_id_);
}

TEST_F(ImageDataLayerTest, ScalesImagesOfAllSizes) {
  cv::Mat dark(8, 8, CV_8UC3, cv::Scalar(10, 20, 30));
  cv::Mat light(3, 5, CV_8UC3, cv::Scalar(110, 120, 130));
  Layer({dark, light}, "batch_size: 2 new_height: 1");
  EXPECT_EQ((std::vector<float>{10, 20, 30, 110, 120, 130}), NextBatch());
}

TEST_F(ImageDataLayerTest, SubtractsMeanAndScales) {
  WriteBlobFile(folder_.file("mean"), 1, 3, 1, 2, {1, 2, 3, 4, 5, 6});
  Layer({CountingImage(1, 2, 10)},
        "batch_size: 1 scale: 2 mean_file: '" + folder_.file("mean") + "'");
  // Planes 10 13, 11 14, 12 15.
  EXPECT_EQ((std::vector<float>{18, 22, 16, 20, 14, 18}), NextBatch());
}

TEST_F(ImageDataLayerTest, CentresCropOutsideTraining) {
  const cv::Mat image = CountingImage(7, 6, 3);
  Layer({image}, "batch_size: 1 crop_size: 4");
  EXPECT_EQ(CropOf(PlanesOf(image), 3, 7, 6, 4, 1, 1, false), NextBatch());
}

TEST_F(ImageDataLayerThreads, PlacesAndMirrorsCropsByDrawsInTraining) {
  const ScopedRuntimeState training(Caffe::TRAIN);
  const std::vector<cv::Mat> images = {CountingImage(9, 12, 3), CountingImage(9, 12, 90)};
  Caffe::set_random_seed(4712);
  boost::mt19937 common(4712);
  Layer(images, "batch_size: 3 crop_size: 4 mirror: true scale: 0.5");
  int item = 0;
  for (int batch = 0; batch < 4; ++batch) {
    boost::mt19937 own(common());
    std::vector<float> expected;
    for (int slot = 0; slot < 3; ++slot, ++item) {
      const int row = own() % 5;
      const int column = own() % 8;
      const bool mirrored = own() % 2 == 1;
      Append(expected, CropOf(PlanesOf(images[item % 2]), 3, 9, 12, 4, row, column, mirrored, 0.5));
    }
    EXPECT_EQ(expected, NextBatch()) << "batch " << batch;
  }
}

// Draws the same number for everything: the thread takes the class's own draws.
class ConstantDraws : public OpenImageDataLayer {
 public:
  using OpenImageDataLayer::OpenImageDataLayer;
  ~ConstantDraws() override { JoinPrefetchThread(); }  // Before the draws below are gone.
  unsigned int PrefetchRand() override { return 3; }
};

TEST_F(ImageDataLayerThreads, DrawsByTheVirtualFunction) {
  const ScopedRuntimeState training(Caffe::TRAIN);
  const cv::Mat image = CountingImage(9, 12, 3);
  ConstantDraws layer(Param("batch_size: 1 crop_size: 4 mirror: true"));
  layer.activeImagePtrs().push_back(boost::shared_ptr<cv::Mat>(new cv::Mat(image)));
  layer.SetUp({}, &tops_);
  layer.Forward({}, &tops_);
  // Row 3 of 5, column 3 of 8, and an odd number for the mirror.
  EXPECT_EQ(CropOf(PlanesOf(image), 3, 9, 12, 4, 3, 3, true), DataOf(data_));
}

// The flag shuffles nothing, but it makes sure of a generator: outside the training phase, the crop
// stays in the middle and the mirror is the first draw of each image.
TEST_F(ImageDataLayerTest, MirrorsOutsideTrainingWithShuffle) {
  const cv::Mat image = CountingImage(6, 6, 3);
  Caffe::set_random_seed(5);
  boost::mt19937 common(5);
  Layer({image}, "batch_size: 8 crop_size: 2 mirror: true shuffle: true");
  boost::mt19937 own(common());
  std::vector<float> expected;
  int mirrored_count = 0;
  for (int slot = 0; slot < 8; ++slot) {
    const bool mirrored = own() % 2 == 1;
    mirrored_count += mirrored;
    Append(expected, CropOf(PlanesOf(image), 3, 6, 6, 2, 2, 2, mirrored));
  }
  EXPECT_EQ(expected, NextBatch());
  EXPECT_GT(mirrored_count, 0);
  EXPECT_LT(mirrored_count, 8);
}

TEST_F(ImageDataLayerTest, SeedsNoGeneratorWhereNothingIsDrawn) {
  Caffe::set_random_seed(6);
  boost::mt19937 common(6);
  Layer({CountingImage(6, 6, 3)}, "batch_size: 1 crop_size: 2");
  NextBatch();
  Caffe::set_phase(Caffe::TRAIN);
  Layer({CountingImage(6, 6, 3)}, "batch_size: 1");
  NextBatch();
  EXPECT_EQ(common(), (*static_cast<boost::mt19937*>(Caffe::rng_stream().generator()))());
}

TEST_F(ImageDataLayerTest, SkipsDrawnNumberOfImages) {
  std::vector<cv::Mat> images;
  for (int i = 0; i < 7; ++i) {
    images.push_back(cv::Mat(1, 1, CV_8UC3, cv::Scalar(i, i, i)));
  }
  Caffe::set_random_seed(21);
  boost::mt19937 common(21);
  const float skip = common() % 7;
  ASSERT_NE(0, skip);
  Layer(images, "batch_size: 1 rand_skip: 7");
  EXPECT_EQ(std::vector<float>(3, skip), NextBatch());
}

TEST_F(ImageDataLayerThreads, KeepsOldSlotsFromImageWithoutPixelsOn) {
  const cv::Mat image = CountingImage(1, 1, 50);
  const auto& layer = Layer({image, cv::Mat()}, "batch_size: 3");
  layer_->JoinPrefetchThread();
  EXPECT_EQ(1, layer.lines_id_);
  const std::vector<float> kept = {50, 51, 52, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(kept, NextBatch());
  layer_->JoinPrefetchThread();
  EXPECT_EQ(1, layer.lines_id_);  // It stands before the image without pixels for good.
  EXPECT_EQ(kept, NextBatch());
}

TEST_F(ImageDataLayerThreads, JoinsThreadInDestructorWhileBatchIsBuilt) {
  // The first thread of a process may bring a helper of the sanitizer's with it.
  std::thread([] {}).join();
  const int threads_before = ThreadCount();
  for (int round = 0; round < 5; ++round) {
    // Not of the derived class above, which joins by itself.
    auto layer = std::make_unique<caffe::ImageDataLayer<float>>(Param("batch_size: 5000"));
    layer->activeImagePtrs().push_back(
        boost::shared_ptr<cv::Mat>(new cv::Mat(CountingImage(16, 16, 0))));
    layer->SetUp({}, &tops_);
    layer.reset();
    EXPECT_EQ(threads_before, ThreadCount());
  }
}

TEST_F(ImageDataLayerTest, IsDestroyedWithoutSetUp) { MakeLayer("type: IMAGE_DATA"); }

TEST_F(ImageDataLayerTest, FeedsNet) {
  const auto net = MakeNet(
      "layers { type: IMAGE_DATA name: 'images' top: 'values' top: 'labels' "
      "image_data_param { batch_size: 2 new_height: 4 } }");
  net->ForwardAll();
  EXPECT_EQ((std::vector<int>{2, 3, 4, 4}), ShapeOf(*net->blob_by_name("values")));
  EXPECT_EQ((std::vector<float>{0, 0}), DataOf(*net->blob_by_name("labels")));
}

using ImageDataLayerDeathTest = ImageDataLayerTest;

TEST_F(ImageDataLayerDeathTest, RefusesBottomAndOtherThanTwoTops) {
  const std::string text = "type: IMAGE_DATA image_data_param { batch_size: 1 new_height: 2 }";
  EXPECT_DEATH(LayerBench(text, {{1, 1, 1, 1}}, 2),
               HasSubstr("Check failed: bottom.size() == 0 (1 vs. 0) Input Layer takes no input "
                         "blobs."));
  EXPECT_DEATH(LayerBench(text, {}, 1),
               HasSubstr("Check failed: top->size() == 2 (1 vs. 2) Input Layer takes two blobs as "
                         "output."));
}

TEST_F(ImageDataLayerDeathTest, RefusesEmptyStandIn) {
  EXPECT_DEATH(RunToDeath({}, "batch_size: 1"),
               HasSubstr("Check failed: ReadImageToDatum(*(activeImagePtrs_[lines_id_]), "
                         "new_height, new_width, &datum) "));
}

TEST_F(ImageDataLayerDeathTest, RefusesNewHeightBeyondAllSizes) {
  EXPECT_DEATH(
      RunToDeath({}, "batch_size: 1 new_height: 4294967295"),
      HasSubstr("Check failed: (new_height == 0 && new_width == 0) || (new_height > 0 && new_width "
                "> 0) Current implementation requires new_height and new_width to be set at the "
                "same time."));
}

TEST_F(ImageDataLayerDeathTest, RefusesNewHeightWhoseSquareIsTooLarge) {
  EXPECT_DEATH(RunToDeath({}, "batch_size: 1 new_height: 65535"),
               HasSubstr("A record is too large: 3 x 65535 x 65535"));
}

TEST_F(ImageDataLayerDeathTest, RefusesNullImage) {
  EXPECT_DEATH(
      {
        OpenImageDataLayer layer(Param("batch_size: 1"));
        layer.activeImagePtrs().resize(1);
        layer.SetUp({}, &tops_);
      },
      HasSubstr("A null pointer among the images."));
}

TEST_F(ImageDataLayerDeathTest, RefusesToSkipBehindLastImage) {
  Caffe::set_random_seed(21);
  boost::mt19937 common(21);
  ASSERT_GT(common() % 1000, 2U);
  EXPECT_DEATH(
      {
        Caffe::set_random_seed(21);
        RunToDeath({CountingImage(1, 1, 0), CountingImage(1, 1, 0)},
                   "batch_size: 1 rand_skip: 1000");
      },
      testing::AllOf(HasSubstr("Check failed: activeImagePtrs_.size() > skip (2 vs. "),
                     HasSubstr(") Not enough points to skip")));
}

TEST_F(ImageDataLayerDeathTest, RefusesCropAsLargeAsImage) {
  EXPECT_DEATH(RunToDeath({CountingImage(4, 9, 0)}, "batch_size: 1 crop_size: 4"),
               HasSubstr("Check failed: datum_height_ > crop_size (4 vs. 4)"));
  EXPECT_DEATH(RunToDeath({CountingImage(9, 4, 0)}, "batch_size: 1 crop_size: 4"),
               HasSubstr("Check failed: datum_width_ > crop_size (4 vs. 4)"));
}

TEST_F(ImageDataLayerDeathTest, RefusesMirrorWithoutCrop) {
  EXPECT_DEATH(RunToDeath({CountingImage(4, 9, 0)}, "batch_size: 1 mirror: true"),
               HasSubstr("Current implementation requires mirror and crop_size to be set at the "
                         "same time."));
}

TEST_F(ImageDataLayerDeathTest, RefusesMirrorOutsideTrainingWithoutShuffle) {
  EXPECT_DEATH(RunToDeath({CountingImage(4, 9, 0)}, "batch_size: 1 crop_size: 2 mirror: true"),
               HasSubstr("Check failed: prefetch_rng_ "));
}

TEST_F(ImageDataLayerDeathTest, RefusesImageOfAnotherSizeThanFirst) {
  EXPECT_DEATH(RunToDeath({CountingImage(4, 4, 0), CountingImage(4, 3, 0)}, "batch_size: 2"),
               HasSubstr("A record of shape 3 x 4 x 3 among records of shape 3 x 4 x 4"));
  EXPECT_DEATH(
      RunToDeath({CountingImage(4, 4, 0), CountingImage(2, 3, 0)}, "batch_size: 2 crop_size: 3"),
      HasSubstr("A record of shape 3 x 2 x 3 among records of shape 3 x 4 x 4"));
}

TEST_F(ImageDataLayerDeathTest, RefusesMeanOfAnotherShape) {
  const std::vector<cv::Mat> images = {CountingImage(2, 2, 0)};
  const std::string fields = "batch_size: 1 mean_file: '" + folder_.file("mean") + "'";
  const std::vector<float> values(24, 0.F);
  WriteBlobFile(folder_.file("mean"), 2, 3, 2, 2, values);
  EXPECT_DEATH(RunToDeath(images, fields), HasSubstr("data_mean_.num() == 1 (2 vs. 1)"));
  WriteBlobFile(folder_.file("mean"), 1, 2, 2, 2, values);
  EXPECT_DEATH(RunToDeath(images, fields),
               HasSubstr("data_mean_.channels() == datum_channels_ (2 vs. 3)"));
  WriteBlobFile(folder_.file("mean"), 1, 3, 3, 2, values);
  EXPECT_DEATH(RunToDeath(images, fields),
               HasSubstr("data_mean_.height() == datum_height_ (3 vs. 2)"));
  WriteBlobFile(folder_.file("mean"), 1, 3, 2, 3, values);
  EXPECT_DEATH(RunToDeath(images, fields),
               HasSubstr("data_mean_.width() == datum_width_ (3 vs. 2)"));
}

TEST_F(ImageDataLayerDeathTest, RefusesMeanFileThatDoesNotRead) {
  const std::string fields = "batch_size: 1 mean_file: '" + folder_.file("mean") + "'";
  std::ofstream(folder_.file("mean")) << "\xff\xff\xff";
  EXPECT_DEATH(RunToDeath({CountingImage(2, 2, 0)}, fields),
               HasSubstr("Check failed: ReadProtoFromBinaryFile(filename, proto) "));
}

TEST_F(ImageDataLayerDeathTest, RefusesSecondThreadBeforeFirstIsJoined) {
  EXPECT_DEATH(Layer({CountingImage(2, 2, 0)}, "batch_size: 1").CreatePrefetchThread(),
               HasSubstr("The last prefetch thread was not joined."));
}

TEST_F(ImageDataLayerDeathTest, RefusesThreadWithoutLayerBlobOrImage) {
  EXPECT_DEATH(caffe::ImageDataLayerPrefetch<float>(nullptr),
               HasSubstr("Check failed: layer_pointer "));
  caffe::ImageDataLayer<float> fresh{LayerParameter()};
  EXPECT_DEATH(caffe::ImageDataLayerPrefetch<float>(&fresh),
               HasSubstr("Check failed: layer->prefetch_data_ "));
  Layer({CountingImage(2, 2, 0)}, "batch_size: 1");
  layer_->JoinPrefetchThread();
  layer_->lines_id_ = 1;
  caffe::ImageDataLayer<float>* base = layer_.get();
  EXPECT_DEATH(caffe::ImageDataLayerPrefetch<float>(base),
               HasSubstr("Check failed: lines_size > layer->lines_id_ (1 vs. 1)"));
}

}  // namespace
}  // namespace caffe_test

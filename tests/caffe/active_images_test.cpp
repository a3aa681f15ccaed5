// Tests of the hook by which a network would hand images in memory to its data layer.

#include <gtest/gtest.h>

#include <opencv2/core.hpp>
#include <vector>

#include "caffe/data_layers.hpp"
#include "caffe/net.hpp"
#include "tests/caffe/test_helpers.h"

namespace caffe {

// Sets what nothing else can set, before the layers are made.
class NetTestPeer {
 public:
  using Images = vector<shared_ptr<cv::Mat>>;

  static Images imagesOfLayer(bool use, const Images& images) {
    Net<float> net{NetParameter()};
    net.use_active_images_ = use;
    net.active_image_ptrs_ = images;
    net.Init(
        caffe_test::ParseNet("layers { name: 'images' type: IMAGE_DATA top: 'data'"
                             " top: 'label' image_data_param { batch_size: 1 new_height: 2 }"
                             " }"));
    EXPECT_EQ(net.active_image_ptrs_, images);
    return static_cast<ImageDataLayer<float>&>(*net.layers()[0]).activeImagePtrs();
  }
};

namespace {

TEST(ActiveImages, GoFromTheNetworkToTheLayerBeforeItIsSetUp) {
  const NetTestPeer::Images images = {
      boost::shared_ptr<cv::Mat>(new cv::Mat(4, 4, CV_8UC3, cv::Scalar(1, 2, 3)))};
  EXPECT_EQ(NetTestPeer::imagesOfLayer(true, images), images);
}

TEST(ActiveImages, StayWithTheNetworkWithoutTheFlag) {
  const NetTestPeer::Images images = {boost::shared_ptr<cv::Mat>(new cv::Mat(4, 4, CV_8UC3))};
  const NetTestPeer::Images others = NetTestPeer::imagesOfLayer(false, images);
  ASSERT_EQ(others.size(), 1U);  // The one that stands in.
  EXPECT_NE(others, images);
}

}  // namespace
}  // namespace caffe

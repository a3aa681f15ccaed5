// Tests of DataLayer: records of a database that each test writes.

#include "caffe/data_layers.hpp"
#include "tests/caffe/data_test_helpers.h"
#include "tests/caffe/test_helpers.h"

namespace caffe_test {
namespace {

using caffe::Caffe;
using caffe::Datum;
using testing::HasSubstr;

// What the tests reach into.
class OpenDataLayer : public caffe::DataLayer<float> {
 public:
  using caffe::DataLayer<float>::DataLayer;
  ~OpenDataLayer() override { JoinPrefetchThread(); }  // As every class derived from it.
  using caffe::DataLayer<float>::iter_;
  using caffe::DataLayer<float>::prefetcher_;
};

class DataLayerTest : public testing::Test {
 protected:
  DataLayerTest() : test_phase_(Caffe::TEST) {
    // The layers have threads, which a plain fork would not carry over.
    testing::FLAGS_gtest_death_test_style = "threadsafe";
  }

  // A layer on a database of its own, set up, with the given fields of data_param.
  LayerBench& Layer(const std::vector<Datum>& datums, const std::string& fields,
                    int top_count = 2) {
    return LayerOn(Serialized(datums), fields, top_count);
  }

  LayerBench& LayerOn(const std::vector<std::string>& values, const std::string& fields,
                      int top_count = 2) {
    WriteDatabase(folder_.file("db"), values);
    bench_ = std::make_unique<LayerBench>(Text(fields), std::vector<std::vector<int>>(), top_count);
    return *bench_;
  }

  // The same, for a layer that dies: its destructor waits for the thread that does.
  void RunToDeath(const std::vector<Datum>& datums, const std::string& fields) {
    Layer(datums, fields);
    bench_.reset();
  }

  std::string Text(const std::string& fields) const {
    return "name: 'data' type: DATA data_param { source: '" + folder_.file("db") + "' " + fields +
           " }";
  }

  TemporaryFolder folder_;
  ScopedRuntimeState test_phase_;
  std::unique_ptr<LayerBench> bench_;
};

// Suites of this name run under the thread sanitizer.
using DataLayerThreads = DataLayerTest;

const std::vector<Datum> ThreeSmallRecords() {
  return {ByteDatum(2, 2, 3, /*label=*/4, /*first=*/0), ByteDatum(2, 2, 3, 9, 100),
          ByteDatum(2, 2, 3, 1, 200)};
}

TEST_F(DataLayerTest, ShapesTopsByBatchAndRecord) {
  LayerBench& bench = Layer(ThreeSmallRecords(), "batch_size: 5");
  EXPECT_EQ((std::vector<int>{5, 2, 2, 3}), ShapeOf(*bench.top(0)));
  EXPECT_EQ((std::vector<int>{5, 1, 1, 1}), ShapeOf(*bench.top(1)));
  const auto& layer = bench.layer_as<caffe::DataLayer<float>>();
  EXPECT_EQ(2, layer.datum_channels());
  EXPECT_EQ(2, layer.datum_height());
  EXPECT_EQ(3, layer.datum_width());
  EXPECT_EQ(12, layer.datum_size());
}

TEST_F(DataLayerTest, ShapesTopByCropInPlaceOfRecord) {
  LayerBench& bench = Layer({ByteDatum(3, 5, 7, 0, 0)}, "batch_size: 2 crop_size: 4");
  EXPECT_EQ((std::vector<int>{2, 3, 4, 4}), ShapeOf(*bench.top(0)));
}

TEST_F(DataLayerThreads, ReturnsRecordsInOrderOfKeysAndWrapsAround) {
  const std::vector<Datum> records = ThreeSmallRecords();
  LayerBench& bench = Layer(records, "batch_size: 2");
  // Batches of two out of three: 0 1, 2 0, 1 2, 0 1.
  for (int batch = 0; batch < 4; ++batch) {
    EXPECT_EQ(0, bench.Forward());
    const Datum& first = records[batch * 2 % 3];
    const Datum& second = records[(batch * 2 + 1) % 3];
    std::vector<float> expected = ValuesOf(first);
    Append(expected, ValuesOf(second));
    EXPECT_EQ(expected, DataOf(*bench.top(0))) << "batch " << batch;
    EXPECT_EQ((std::vector<float>{float(first.label()), float(second.label())}),
              DataOf(*bench.top(1)));
  }
}

TEST_F(DataLayerTest, RepeatsRecordsInBatchLargerThanDataBase) {
  LayerBench& bench = Layer(ThreeSmallRecords(), "batch_size: 7");
  bench.Forward();
  EXPECT_EQ((std::vector<float>{4, 9, 1, 4, 9, 1, 4}), DataOf(*bench.top(1)));
  bench.Forward();
  EXPECT_EQ((std::vector<float>{9, 1, 4, 9, 1, 4, 9}), DataOf(*bench.top(1)));
}

TEST_F(DataLayerTest, ScalesBytes) {
  LayerBench& bench = Layer({ByteDatum(1, 1, 3, 0, 250, 3)}, "batch_size: 1 scale: 0.5");
  bench.Forward();
  EXPECT_EQ((std::vector<float>{125, 126.5, 0}), DataOf(*bench.top(0)));  // 250, 253, 256 mod 256.
}

TEST_F(DataLayerTest, ReadsFloatsWhereThereAreNoBytes) {
  Datum datum = ShapedDatum(1, 2, 2, 3);
  for (const float value : {-1.5F, 0.25F, 1000.F, 3.F}) {
    datum.add_float_data(value);
  }
  LayerBench& bench = Layer({datum}, "batch_size: 1 scale: 2");
  bench.Forward();
  EXPECT_EQ((std::vector<float>{-3, 0.5, 2000, 6}), DataOf(*bench.top(0)));
  EXPECT_EQ((std::vector<float>{3}), DataOf(*bench.top(1)));
}

TEST_F(DataLayerTest, PrefersBytesToFloats) {
  Datum datum = ByteDatum(1, 1, 2, 0, 5, 1);
  datum.add_float_data(77);
  datum.add_float_data(78);
  LayerBench& bench = Layer({datum}, "batch_size: 1");
  bench.Forward();
  EXPECT_EQ((std::vector<float>{5, 6}), DataOf(*bench.top(0)));
}

TEST_F(DataLayerTest, FillsOneTopWithoutLabels) {
  const std::vector<Datum> records = ThreeSmallRecords();
  LayerBench& bench = Layer(records, "batch_size: 1", /*top_count=*/1);
  bench.Forward();
  bench.Forward();
  EXPECT_EQ(ValuesOf(records[1]), DataOf(*bench.top(0)));
}

TEST_F(DataLayerTest, CentresCropOutsideTraining) {
  // Free rows 5 - 2 = 3 and columns 6 - 2 = 4: the crop stands at row 1 and column 2.
  const Datum datum = ByteDatum(2, 5, 6, 0, 3);
  LayerBench& bench = Layer({datum}, "batch_size: 1 crop_size: 2 scale: 3");
  bench.Forward();
  EXPECT_EQ(CropOf(ValuesOf(datum), 2, 5, 6, 2, 1, 2, false, 3), DataOf(*bench.top(0)));
}

TEST_F(DataLayerTest, SubtractsMeanAtPlaceOfSource) {
  const Datum datum = ByteDatum(1, 4, 4, 0, 3);
  const std::vector<float> mean = SeededValues(16, 5, 0, 100);
  WriteBlobFile(folder_.file("mean"), 1, 1, 4, 4, mean);
  const std::string mean_file = "mean_file: '" + folder_.file("mean") + "' ";
  LayerBench& bench = Layer({datum}, "batch_size: 1 crop_size: 2 " + mean_file);
  bench.Forward();
  EXPECT_EQ(CropOf(ValuesOf(datum), 1, 4, 4, 2, 1, 1, false, 1, mean), DataOf(*bench.top(0)));
}

TEST_F(DataLayerTest, SubtractsMeanWithoutCrop) {
  WriteBlobFile(folder_.file("mean"), 1, 1, 1, 3, {1, 2, 3});
  const std::string mean_file = "mean_file: '" + folder_.file("mean") + "' ";
  LayerBench& bench = Layer({ByteDatum(1, 1, 3, 0, 10, 1)}, "batch_size: 1 scale: 2 " + mean_file);
  bench.Forward();
  EXPECT_EQ((std::vector<float>{18, 18, 18}), DataOf(*bench.top(0)));
}

TEST_F(DataLayerTest, KeepsMeanAtZeroWithoutMeanFile) {
  WriteDatabase(folder_.file("db"), Serialized({ByteDatum(1, 2, 2, 0, 10)}));
  OpenDataLayer layer(ParseLayer(Text("batch_size: 1")));
  Blob<float> top;
  std::vector<Blob<float>*> tops = {&top};
  layer.SetUp({}, &tops);
  layer.JoinPrefetchThread();
  EXPECT_EQ((std::vector<float>{0, 0, 0, 0}), DataOf(layer.prefetcher_.data_mean()));
}

// Reproduces the draws: a fresh generator a batch, seeded by the next number of the common one, and
// from it row, column and mirror an image.
TEST_F(DataLayerThreads, PlacesAndMirrorsCropsByDrawsInTraining) {
  const ScopedRuntimeState training(Caffe::TRAIN);
  const std::vector<Datum> records = {ByteDatum(2, 9, 12, 0, 3), ByteDatum(2, 9, 12, 0, 90)};
  const std::vector<float> mean = SeededValues(2 * 9 * 12, 6, 0, 100);
  WriteBlobFile(folder_.file("mean"), 1, 2, 9, 12, mean);
  const std::string mean_file = "mean_file: '" + folder_.file("mean") + "' ";
  Caffe::set_random_seed(4711);
  boost::mt19937 common(4711);
  LayerBench& bench =
      Layer(records, "batch_size: 3 crop_size: 4 mirror: true scale: 0.5 " + mean_file);
  int item = 0;
  int mirrored_count = 0;
  for (int batch = 0; batch < 4; ++batch) {
    boost::mt19937 own(common());
    std::vector<float> expected;
    for (int slot = 0; slot < 3; ++slot, ++item) {
      const int row = own() % 5;
      const int column = own() % 8;
      const bool mirrored = own() % 2 == 1;
      mirrored_count += mirrored;
      Append(expected,
             CropOf(ValuesOf(records[item % 2]), 2, 9, 12, 4, row, column, mirrored, 0.5, mean));
    }
    bench.Forward();
    EXPECT_EQ(expected, DataOf(*bench.top(0))) << "batch " << batch;
  }
  EXPECT_GT(mirrored_count, 0);
  EXPECT_LT(mirrored_count, 12);
}

TEST_F(DataLayerTest, DrawsNoMirrorWhereNoneIsWanted) {
  const ScopedRuntimeState training(Caffe::TRAIN);
  const Datum datum = ByteDatum(1, 9, 9, 0, 3);
  Caffe::set_random_seed(12);
  boost::mt19937 common(12);
  LayerBench& bench = Layer({datum}, "batch_size: 2 crop_size: 4");
  boost::mt19937 own(common());
  std::vector<float> expected;
  for (int slot = 0; slot < 2; ++slot) {
    const int row = own() % 5;
    const int column = own() % 5;
    Append(expected, CropOf(ValuesOf(datum), 1, 9, 9, 4, row, column, false));
  }
  bench.Forward();
  EXPECT_EQ(expected, DataOf(*bench.top(0)));
}

TEST_F(DataLayerTest, NeverPlacesCropAtLastPosition) {
  const ScopedRuntimeState training(Caffe::TRAIN);
  const Datum datum = ByteDatum(1, 3, 3, 0, 3);
  LayerBench& bench = Layer({datum}, "batch_size: 20 crop_size: 2");
  bench.Forward();
  const std::vector<float> first_position = CropOf(ValuesOf(datum), 1, 3, 3, 2, 0, 0, false);
  std::vector<float> expected;
  for (int slot = 0; slot < 20; ++slot) {
    Append(expected, first_position);
  }
  EXPECT_EQ(expected, DataOf(*bench.top(0)));
}

TEST_F(DataLayerThreads, TakesPhaseOfStartOfThread) {
  const Datum datum = ByteDatum(1, 9, 9, 0, 3);
  LayerBench& bench = Layer({datum}, "batch_size: 1 crop_size: 2");  // Two batches: one for now,
  bench.Forward();                                                   // one ahead.
  Caffe::set_phase(Caffe::TRAIN);
  Caffe::set_random_seed(8);
  const std::vector<float> centre = CropOf(ValuesOf(datum), 1, 9, 9, 2, 3, 3, false);
  EXPECT_EQ(Caffe::TEST, bench.layer_as<caffe::DataLayer<float>>().phase());
  bench.Forward();
  EXPECT_EQ(centre, DataOf(*bench.top(0)));  // Started before the change.
  EXPECT_EQ(Caffe::TRAIN, bench.layer_as<caffe::DataLayer<float>>().phase());
  bench.Forward();
  boost::mt19937 common(8);
  boost::mt19937 own(common());
  const int row = own() % 7;
  const int column = own() % 7;
  EXPECT_EQ(CropOf(ValuesOf(datum), 1, 9, 9, 2, row, column, false), DataOf(*bench.top(0)));
}

TEST_F(DataLayerTest, SkipsDrawnNumberOfRecords) {
  std::vector<Datum> records;
  for (int i = 0; i < 10; ++i) {
    records.push_back(ByteDatum(1, 1, 1, i, i));
  }
  Caffe::set_random_seed(21);
  boost::mt19937 common(21);
  const float skip = common() % 7;
  ASSERT_NE(0, skip);
  LayerBench& bench = Layer(records, "batch_size: 2 rand_skip: 7");
  bench.Forward();
  EXPECT_EQ((std::vector<float>{skip, skip + 1}), DataOf(*bench.top(1)));
}

TEST_F(DataLayerTest, WrapsAroundWhileItSkips) {
  // A number of records to skip of up to 4294967295 also shows that whole rounds are left out.
  const float labels[] = {4, 9, 1};
  Layer(ThreeSmallRecords(), "batch_size: 1");
  for (unsigned int seed = 22; seed < 30; ++seed) {
    bench_.reset();  // Lets go of the database.
    Caffe::set_random_seed(seed);
    boost::mt19937 common(seed);
    const unsigned int skip = common() % 4294967295U;
    ASSERT_GT(skip, 10000000U);
    bench_ = std::make_unique<LayerBench>(Text("batch_size: 1 rand_skip: 4294967295"),
                                          std::vector<std::vector<int>>(), 2);
    bench_->Forward();
    EXPECT_EQ((std::vector<float>{labels[skip % 3]}), DataOf(*bench_->top(1))) << "seed " << seed;
  }
}

TEST_F(DataLayerTest, SeedsNoGeneratorWhereNothingIsDrawn) {
  const std::vector<Datum> records = {ByteDatum(1, 4, 4, 0, 0)};
  Caffe::set_random_seed(6);
  boost::mt19937 common(6);
  Layer(records, "batch_size: 1 crop_size: 2").Forward();
  bench_.reset();
  Caffe::set_phase(Caffe::TRAIN);
  Layer(records, "batch_size: 1").Forward();
  EXPECT_EQ(common(), (*static_cast<boost::mt19937*>(Caffe::rng_stream().generator()))());
}

TEST_F(DataLayerThreads, JoinsThreadInDestructorWhileBatchIsBuilt) {
  Layer(ThreeSmallRecords(), "batch_size: 1");  // Starts the helper threads of the libraries.
  bench_.reset();
  // The first thread of a process may bring a helper of the sanitizer's with it.
  std::thread([] {}).join();
  const int threads_before = ThreadCount();
  for (int round = 0; round < 5; ++round) {
    auto bench = std::make_unique<LayerBench>(Text("batch_size: 100000"),
                                              std::vector<std::vector<int>>(), 2);
    bench.reset();
    EXPECT_EQ(threads_before, ThreadCount());
  }
}

TEST_F(DataLayerTest, IsDestroyedWithoutSetUp) { MakeLayer("type: DATA"); }

TEST_F(DataLayerTest, LeavesGradientsAlone) {
  LayerBench& bench = Layer(ThreeSmallRecords(), "batch_size: 1");
  bench.Forward();
  FillConstant(bench.top(0), 5);
  bench.Backward();
  EXPECT_EQ(std::vector<float>(12, 0), DiffOf(*bench.top(0)));
}

TEST_F(DataLayerTest, FeedsNet) {
  WriteDatabase(folder_.file("db"), Serialized(ThreeSmallRecords()));
  const auto net = MakeNet("layers { " + Text("batch_size: 2") +
                           " top: 'values' top: 'labels' } "
                           "layers { name: 'drop' type: RELU bottom: 'values' top: 'values' }");
  net->ForwardAll();
  EXPECT_EQ((std::vector<float>{4, 9}), DataOf(*net->blob_by_name("labels")));
}

using DataLayerDeathTest = DataLayerTest;

TEST_F(DataLayerDeathTest, RefusesBottom) {
  WriteDatabase(folder_.file("db"), Serialized(ThreeSmallRecords()));
  EXPECT_DEATH(LayerBench(Text("batch_size: 1"), {{1, 1, 1, 1}}, 2),
               HasSubstr("Check failed: bottom.size() == 0 (1 vs. 0) Data Layer takes no input "
                         "blobs."));
}

TEST_F(DataLayerDeathTest, RefusesNoTopAndThreeTops) {
  WriteDatabase(folder_.file("db"), Serialized(ThreeSmallRecords()));
  EXPECT_DEATH(LayerBench(Text("batch_size: 1"), {}, 0),
               HasSubstr("Check failed: top->size() >= 1 (0 vs. 1) Data Layer takes at least one "
                         "blob as output."));
  EXPECT_DEATH(LayerBench(Text("batch_size: 1"), {}, 3),
               HasSubstr("Check failed: top->size() <= 2 (3 vs. 2) Data Layer takes at most two "
                         "blobs as output."));
}

TEST_F(DataLayerDeathTest, RefusesMissingDataBase) {
  EXPECT_DEATH(LayerBench(Text("batch_size: 1"), {}, 2),
               testing::ContainsRegex("Check failed: status.ok.. Failed to open leveldb /.*/db"));
}

TEST_F(DataLayerDeathTest, RefusesEmptyDataBase) {
  EXPECT_DEATH(RunToDeath({}, "batch_size: 1"), HasSubstr("No records in leveldb"));
}

TEST_F(DataLayerDeathTest, RefusesRecordThatDoesNotParse) {
  EXPECT_DEATH(LayerOn({"\xff\xff\xff"}, "batch_size: 1"), HasSubstr("A record is not a Datum"));
  EXPECT_DEATH(
      {
        LayerOn({ByteDatum(1, 1, 1, 0, 0).SerializeAsString(), "\xff\xff"}, "batch_size: 2");
        bench_.reset();
      },
      HasSubstr("A record is not a Datum: key 00000001"));
}

TEST_F(DataLayerDeathTest, RefusesEmptyBatch) {
  EXPECT_DEATH(RunToDeath(ThreeSmallRecords(), "batch_size: 0"), HasSubstr("Check failed: data_ "));
}

TEST_F(DataLayerDeathTest, RefusesCropAsLargeAsRecord) {
  const std::vector<Datum> wide = {ByteDatum(1, 4, 9, 0, 0)};
  const std::vector<Datum> high = {ByteDatum(1, 9, 4, 0, 0)};
  EXPECT_DEATH(RunToDeath(wide, "batch_size: 1 crop_size: 4"),
               HasSubstr("Check failed: datum_height_ > crop_size (4 vs. 4)"));
  EXPECT_DEATH(RunToDeath(high, "batch_size: 1 crop_size: 4"),
               HasSubstr("Check failed: datum_width_ > crop_size (4 vs. 4)"));
}

TEST_F(DataLayerDeathTest, RefusesCropBeyondAllSizes) {
  EXPECT_DEATH(RunToDeath(ThreeSmallRecords(), "batch_size: 1 crop_size: 4294967295"),
               HasSubstr("crop_size <= "));
}

TEST_F(DataLayerDeathTest, RefusesMirrorWithoutCrop) {
  EXPECT_DEATH(RunToDeath(ThreeSmallRecords(), "batch_size: 1 mirror: true"),
               HasSubstr("Current implementation requires mirror and crop_size to be set at the "
                         "same time."));
}

TEST_F(DataLayerDeathTest, RefusesMirrorOutsideTraining) {
  EXPECT_DEATH(RunToDeath({ByteDatum(1, 4, 4, 0, 0)}, "batch_size: 1 crop_size: 2 mirror: true"),
               HasSubstr("Check failed: prefetch_rng_ "));
}

TEST_F(DataLayerDeathTest, RefusesCropOfFloats) {
  Datum datum = ShapedDatum(1, 3, 3, 0);
  for (int i = 0; i < 9; ++i) {
    datum.add_float_data(i);
  }
  EXPECT_DEATH(RunToDeath({datum}, "batch_size: 1 crop_size: 2"),
               HasSubstr("Check failed: data.size() Image cropping only support uint8 data"));
}

TEST_F(DataLayerDeathTest, RefusesRecordOfAnotherShapeThanFirst) {
  for (const Datum& other :
       {ByteDatum(2, 2, 2, 0, 0), ByteDatum(1, 3, 2, 0, 0), ByteDatum(1, 2, 3, 0, 0)}) {
    EXPECT_DEATH(RunToDeath({ByteDatum(1, 2, 2, 0, 0), other}, "batch_size: 2"),
                 HasSubstr("among records of shape 1 x 2 x 2"));
  }
}

TEST_F(DataLayerDeathTest, RefusesRecordWithTooFewValues) {
  Datum few_bytes = ByteDatum(1, 4, 4, 0, 0);
  few_bytes.mutable_data()->resize(15);
  Datum few_floats = ShapedDatum(1, 4, 4, 0);
  few_floats.add_float_data(1);
  const Datum nothing = ShapedDatum(1, 4, 4, 0);
  for (const Datum& datum : {few_bytes, few_floats, nothing}) {
    EXPECT_DEATH(RunToDeath({datum}, "batch_size: 1"),
                 HasSubstr("A record has fewer values than its shape."));
  }
  EXPECT_DEATH(RunToDeath({few_bytes}, "batch_size: 1 crop_size: 1"),
               HasSubstr("A record has fewer values than its shape."));
}

TEST_F(DataLayerDeathTest, RefusesNegativeAndEmptyShapes) {
  EXPECT_DEATH(RunToDeath({ShapedDatum(-1, 4, 4, 0)}, "batch_size: 1"),
               HasSubstr("Check failed: channels >= 0"));
  EXPECT_DEATH(RunToDeath({ShapedDatum(1, -4, 4, 0)}, "batch_size: 1"),
               HasSubstr("Check failed: height >= 0"));
  EXPECT_DEATH(RunToDeath({ShapedDatum(1, 4, -4, 0)}, "batch_size: 1"),
               HasSubstr("Check failed: width >= 0"));
  EXPECT_DEATH(RunToDeath({ShapedDatum(1, 0, 4, 0)}, "batch_size: 1"),
               HasSubstr("Check failed: datum_height_ > crop_size (0 vs. 0)"));
  EXPECT_DEATH(RunToDeath({ShapedDatum(0, 4, 4, 0)}, "batch_size: 1"),
               HasSubstr("Check failed: data_ "));
}

TEST_F(DataLayerDeathTest, RefusesShapesBeyondThirtyTwoBits) {
  EXPECT_DEATH(RunToDeath({ShapedDatum(65536, 65536, 1, 0)}, "batch_size: 1"),
               HasSubstr("too large"));
  EXPECT_DEATH(RunToDeath({ShapedDatum(1, 65536, 65536, 0)}, "batch_size: 1 crop_size: 2"),
               HasSubstr("A record is too large: 1 x 65536 x 65536"));
  EXPECT_DEATH(
      RunToDeath({ShapedDatum(3, 2147483647, 2147483647, 0)}, "batch_size: 1 crop_size: 2"),
      HasSubstr("A record is too large"));
}

TEST_F(DataLayerDeathTest, RefusesMeanOfAnotherShape) {
  const std::vector<Datum> records = {ByteDatum(1, 2, 2, 0, 0)};
  const std::string fields = "batch_size: 1 mean_file: '" + folder_.file("mean") + "'";
  const std::vector<float> values(16, 0.F);
  WriteBlobFile(folder_.file("mean"), 2, 1, 2, 2, values);
  EXPECT_DEATH(RunToDeath(records, fields), HasSubstr("data_mean_.num() == 1 (2 vs. 1)"));
  WriteBlobFile(folder_.file("mean"), 1, 2, 2, 2, values);
  EXPECT_DEATH(RunToDeath(records, fields),
               HasSubstr("data_mean_.channels() == datum_channels_ (2 vs. 1)"));
  WriteBlobFile(folder_.file("mean"), 1, 1, 3, 2, values);
  EXPECT_DEATH(RunToDeath(records, fields),
               HasSubstr("data_mean_.height() == datum_height_ (3 vs. 2)"));
  WriteBlobFile(folder_.file("mean"), 1, 1, 2, 3, values);
  EXPECT_DEATH(RunToDeath(records, fields),
               HasSubstr("data_mean_.width() == datum_width_ (3 vs. 2)"));
}

TEST_F(DataLayerDeathTest, RefusesMeanFileThatDoesNotRead) {
  const std::vector<Datum> records = {ByteDatum(1, 2, 2, 0, 0)};
  const std::string fields = "batch_size: 1 mean_file: '" + folder_.file("mean") + "'";
  EXPECT_DEATH(RunToDeath(records, fields), testing::ContainsRegex("File not found: /.*/mean"));
  std::ofstream(folder_.file("mean")) << "\xff\xff\xff";
  EXPECT_DEATH(RunToDeath(records, fields),
               HasSubstr("Check failed: ReadProtoFromBinaryFile(filename, proto) "));
}

TEST_F(DataLayerDeathTest, RefusesSecondThreadBeforeFirstIsJoined) {
  EXPECT_DEATH(
      {
        LayerBench& bench = Layer(ThreeSmallRecords(), "batch_size: 1");
        bench.layer_as<caffe::DataLayer<float>>().CreatePrefetchThread();
      },
      HasSubstr("The last prefetch thread was not joined."));
}

TEST_F(DataLayerDeathTest, RefusesForwardWithoutSetUp) {
  const auto layer = MakeLayer("type: DATA");
  std::vector<Blob<float>*> tops;
  EXPECT_DEATH(layer->Forward({}, &tops), HasSubstr("Check failed: prefetch_data_ "));
}

TEST_F(DataLayerDeathTest, RefusesThreadWithoutLayerBlobOrRecord) {
  EXPECT_DEATH(caffe::DataLayerPrefetch<float>(nullptr), HasSubstr("Check failed: layer_pointer "));
  caffe::DataLayer<float> fresh{LayerParameter()};
  EXPECT_DEATH(caffe::DataLayerPrefetch<float>(&fresh),
               HasSubstr("Check failed: layer->prefetch_data_ "));

  WriteDatabase(folder_.file("db"), Serialized(ThreeSmallRecords()));
  OpenDataLayer layer(ParseLayer(Text("batch_size: 1")));
  Blob<float> top;
  std::vector<Blob<float>*> tops = {&top};
  layer.SetUp({}, &tops);
  layer.JoinPrefetchThread();
  caffe::DataLayer<float>* base = &layer;
  layer.iter_->SeekToLast();
  layer.iter_->Next();
  EXPECT_DEATH(caffe::DataLayerPrefetch<float>(base),
               HasSubstr("Check failed: layer->iter_->Valid() "));
  layer.iter_.reset();
  EXPECT_DEATH(caffe::DataLayerPrefetch<float>(base), HasSubstr("Check failed: layer->iter_ "));
}

}  // namespace
}  // namespace caffe_test

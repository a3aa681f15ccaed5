// ConcatLayer: joins blobs along images or channels.

#include <cblas.h>

#include <cstddef>
#include <limits>
#include <vector>

#include "caffe/common_layers.hpp"
#include "caffe/util/shape_checks.hpp"

namespace caffe {
namespace {

// One block copy of the layer: size floats between an input and the output.
struct Block {
  int input;  // Index of the input.
  int input_offset;
  int output_offset;
  int size;
};

// Calls visit(block) for each block, in the order of the inputs.
template <typename Visit>
void ForEachBlock(const ConcatLayer<float>& layer, const vector<Blob<float>*>& inputs,
                  const Blob<float>& output, const Visit& visit) {
  int joined = 0;  // Images or channels so far.
  for (int i = 0; i < static_cast<int>(inputs.size()); ++i) {
    const Blob<float>& input = *inputs[i];
    if (layer.concat_dim_ == 0) {
      visit(Block{i, 0, output.offset(joined), input.count()});
      joined += input.num();
    } else if (layer.concat_dim_ == 1) {
      const int size = input.channels() * input.height() * input.width();
      for (int n = 0; n < layer.num_; ++n) {
        visit(Block{i, input.offset(n), output.offset(n, joined), size});
      }
      joined += input.channels();
    } else {
      LOG(FATAL) << "concat_dim along dim" << layer.concat_dim_ << " not implemented yet";
    }
  }
}

}  // namespace

template <typename Dtype>
void ConcatLayer<Dtype>::SetUp(const vector<Blob<Dtype>*>& bottom, vector<Blob<Dtype>*>* top) {
  CHECK_GT(bottom.size(), 1) << "Concat Layer takes at least two blobs as input.";
  CHECK_EQ(top->size(), 1) << "Concat Layer takes a single blob as output.";
  concat_dim_ = this->layer_param_.concat_param().concat_dim();
  CHECK_GE(concat_dim_, 0) << "concat_dim should be >= 0";
  CHECK_LE(concat_dim_, 1) << "For now concat_dim <=1, it can only concat num and channels";
  count_ = bottom[0]->count();
  num_ = bottom[0]->num();
  channels_ = bottom[0]->channels();
  height_ = bottom[0]->height();
  width_ = bottom[0]->width();
  for (std::size_t i = 1; i < bottom.size(); ++i) {
    CHECK_LE(bottom[i]->count(), std::numeric_limits<int>::max() - count_)
        << "The output has too many elements.";
    count_ += bottom[i]->count();
    if (concat_dim_ == 0) {
      num_ += bottom[i]->num();
    } else {
      channels_ += bottom[i]->channels();
    }
  }
  CheckShapeFits(num_, channels_, height_, width_);
  (*top)[0]->Reshape(num_, channels_, height_, width_);
  CHECK_EQ(count_, (*top)[0]->count());
  CheckBlocks(bottom, *(*top)[0]);
}

// Inputs of other shapes may add up to the count of the output and still not fit side by side.
template <typename Dtype>
void ConcatLayer<Dtype>::CheckBlocks(const vector<Blob<Dtype>*>& bottom,
                                     const Blob<Dtype>& top) const {
  ForEachBlock(*this, bottom, top, [&](const Block& block) {
    CHECK_LE(block.size, bottom[block.input]->count() - block.input_offset)
        << "Input " << block.input << " has fewer images than the first.";
    CHECK_LE(block.size, top.count() - block.output_offset)
        << "Input " << block.input << " reaches past the end of the output.";
  });
}

template <typename Dtype>
Dtype ConcatLayer<Dtype>::Forward_cpu(const vector<Blob<Dtype>*>& bottom,
                                      vector<Blob<Dtype>*>* top) {
  for (const Blob<Dtype>* input : bottom) {
    CheckHolds(*input, input->count());
  }
  CheckBlocks(bottom, *(*top)[0]);
  Dtype* output = (*top)[0]->mutable_cpu_data();
  ForEachBlock(*this, bottom, *(*top)[0], [&](const Block& block) {
    cblas_scopy(block.size, bottom[block.input]->cpu_data() + block.input_offset, 1,
                output + block.output_offset, 1);
  });
  return Dtype(0);
}

template <typename Dtype>
void ConcatLayer<Dtype>::Backward_cpu(const vector<Blob<Dtype>*>& top, bool propagate_down,
                                      vector<Blob<Dtype>*>* bottom) {
  if (!propagate_down) return;
  const Dtype* top_diff = top[0]->cpu_diff();
  ForEachBlock(*this, *bottom, *top[0], [&](const Block& block) {
    cblas_scopy(block.size, top_diff + block.output_offset, 1,
                (*bottom)[block.input]->mutable_cpu_diff() + block.input_offset, 1);
  });
}

template class ConcatLayer<float>;

}  // namespace caffe

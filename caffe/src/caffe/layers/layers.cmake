# One file a layer, by family.
set(OZNA_CAFFE_LAYER_SOURCES
  src/caffe/layers/bnll_layer.cpp
  src/caffe/layers/concat_layer.cpp
  src/caffe/layers/conv_layer.cpp
  src/caffe/layers/dropout_layer.cpp
  src/caffe/layers/eltwise_product_layer.cpp
  src/caffe/layers/flatten_layer.cpp
  src/caffe/layers/im2col_layer.cpp
  src/caffe/layers/inner_product_layer.cpp
  src/caffe/layers/lrn_layer.cpp
  src/caffe/layers/neuron_layer.cpp
  src/caffe/layers/pooling_layer.cpp
  src/caffe/layers/power_layer.cpp
  src/caffe/layers/relu_layer.cpp
  src/caffe/layers/sigmoid_layer.cpp
  src/caffe/layers/softmax_layer.cpp
  src/caffe/layers/split_layer.cpp
  src/caffe/layers/tanh_layer.cpp
  # Losses and accuracy.
  src/caffe/layers/accuracy_layer.cpp
  src/caffe/layers/euclidean_loss_layer.cpp
  src/caffe/layers/hinge_loss_layer.cpp
  src/caffe/layers/infogain_loss_layer.cpp
  src/caffe/layers/loss_layer.cpp
  src/caffe/layers/multinomial_logistic_loss_layer.cpp
  src/caffe/layers/sigmoid_cross_entropy_loss_layer.cpp
  src/caffe/layers/softmax_loss_layer.cpp
  # Data sources.
  src/caffe/layers/data_layer.cpp
  src/caffe/layers/image_data_layer.cpp
  src/caffe/layers/memory_data_layer.cpp
  # Helpers.
  src/caffe/filler.cpp
  src/caffe/util/binarized_kernel.cpp
  src/caffe/util/datum_transform.cpp
  src/caffe/util/im2col.cpp
  src/caffe/util/shape_checks.cpp
  src/caffe/util/wide_loops.cpp)

# Tests of the layers and of what they call, a file a layer or family.
set(OZNA_CAFFE_LAYER_TESTS
  binarized_kernel_test.cpp
  conv_layer_test.cpp
  filler_test.cpp
  im2col_test.cpp
  inner_product_layer_test.cpp
  layer_allocation_test.cpp
  lrn_layer_test.cpp
  neuron_layers_test.cpp
  pooling_layer_test.cpp
  shape_layers_test.cpp
  softmax_layer_test.cpp
  wide_loops_test.cpp)

# Tests of the data layers, the losses and the accuracy.
set(OZNA_CAFFE_DATA_TESTS
  accuracy_layer_test.cpp
  data_layer_test.cpp
  euclidean_loss_layer_test.cpp
  hinge_loss_layer_test.cpp
  image_data_layer_test.cpp
  infogain_loss_layer_test.cpp
  loss_layer_test.cpp
  memory_data_layer_test.cpp
  multinomial_logistic_loss_layer_test.cpp
  sigmoid_cross_entropy_loss_layer_test.cpp
  softmax_loss_layer_test.cpp)

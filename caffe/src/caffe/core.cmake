# Tensors, schema reading, network construction and run, math.
set(OZNA_CAFFE_CORE_SOURCES
  src/caffe/blob.cpp
  src/caffe/common.cpp
  src/caffe/layer.cpp
  src/caffe/layer_factory.cpp
  src/caffe/net.cpp
  src/caffe/syncedmem.cpp
  src/caffe/util/file_blocks.cpp
  src/caffe/util/file_buffer.cpp
  src/caffe/util/insert_splits.cpp
  src/caffe/util/io.cpp
  src/caffe/util/mapped_block.cpp
  src/caffe/util/math_functions.cpp
  src/caffe/util/shared_values.cpp
  src/caffe/util/upgrade_layer.cpp
  src/caffe/util/upgrade_proto.cpp)

# sqrt must be one instruction and comparisons must not stop a loop from being vectorised. Neither flag changes a
# value.
set_source_files_properties(src/caffe/util/math_functions.cpp
  PROPERTIES COMPILE_OPTIONS "-fno-math-errno;-fno-trapping-math")

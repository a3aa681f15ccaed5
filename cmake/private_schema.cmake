# Makes the message classes of a shared library, whose schema is registered under names of its own.
#
#   cmake -D PROTOC=<compiler> -D PACKAGE=<name> -D SOURCE=<caffe.proto> -D WORK=<directory> -D OUTPUT=<file to write>
#         -P private_schema.cmake
#
# The protobuf library keeps one register of schemas per process, and ends the process where a file or a message is
# registered twice. Where no archive of it was there to enclose, a host with a schema of the same name could not load
# us. So the schema goes through the compiler as file PACKAGE/caffe.proto of package PACKAGE.caffe; in C++ everything keeps the names that caffe.pb.h declares.

file(READ ${SOURCE} schema)
string(REGEX REPLACE "\npackage caffe;" "\npackage ${PACKAGE}.caffe;" private_schema "${schema}")
if(private_schema STREQUAL schema)
  message(FATAL_ERROR "${SOURCE} has no line 'package caffe;'.")
endif()
file(WRITE ${WORK}/${PACKAGE}/caffe.proto "${private_schema}")
execute_process(COMMAND ${PROTOC} --proto_path=${WORK} --cpp_out=${WORK} ${WORK}/${PACKAGE}/caffe.proto RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${PROTOC} failed on ${WORK}/${PACKAGE}/caffe.proto.")
endif()

file(READ ${WORK}/${PACKAGE}/caffe.pb.cc code)
string(REPLACE "::${PACKAGE}::caffe" "::caffe" code "${code}")
string(REPLACE "${PACKAGE}::caffe" "caffe" code "${code}")
string(REPLACE "\nnamespace ${PACKAGE} {\n" "\n" code "${code}")
string(REPLACE "\n}  // namespace ${PACKAGE}\n" "\n" code "${code}")
string(REPLACE "${PACKAGE}_2fcaffe_2eproto" "caffe_2fproto_2fcaffe_2eproto" code "${code}")
string(REPLACE "\"${PACKAGE}/caffe.pb.h\"" "\"caffe/proto/caffe.pb.h\"" code "${code}")
file(WRITE ${OUTPUT} "${code}")

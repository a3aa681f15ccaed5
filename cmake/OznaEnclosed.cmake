# What libozna.so and liboznakit.so enclose of other libraries, so that they need nothing but the libraries of C and C++
# where they run, and run in the calling thread whatever the environment says and whatever the host has loaded: a
# mathematics library and an image library without threads (docs/mathematics.md says why these), messages, the error
# log, and the key-value store of the data layers. Where an archive is missing, the shared library is called.
#
#   ozna_mathematics   the products, for the libraries, and for the tests and benchmarks of what they do
#   ozna_enclosed      everything that the libraries link

# The functions of the CBLAS interface that the library calls.
set(OZNA_CBLAS_FUNCTIONS sgemm sgemv sdot sasum isamax sscal saxpy scopy)

find_library(OZNA_BLIS_ARCHIVE libblis.a PATH_SUFFIXES blis-serial)
find_path(OZNA_BLIS_INCLUDE_DIR blis.h PATH_SUFFIXES blis-serial)
find_library(OZNA_OPENCV_CORE_ARCHIVE libopencv_core.a)
find_library(OZNA_OPENCV_IMGPROC_ARCHIVE libopencv_imgproc.a)
find_library(OZNA_ZLIB_ARCHIVE libz.a)
find_library(OZNA_PROTOBUF_ARCHIVE libprotobuf.a)
find_library(OZNA_LEVELDB_ARCHIVE libleveldb.a)
find_library(OZNA_SNAPPY_ARCHIVE libsnappy.a)

add_library(ozna_mathematics INTERFACE)
if(OZNA_BLIS_ARCHIVE AND OZNA_BLIS_INCLUDE_DIR)
  # One object that shows the functions of the interface and hides the rest.
  set(object ${PROJECT_BINARY_DIR}/ozna_mathematics.o)
  set(link_flags)
  set(copy_flags)
  foreach(function ${OZNA_CBLAS_FUNCTIONS})
    list(APPEND link_flags -u cblas_${function})
    list(APPEND copy_flags --keep-global-symbol=cblas_${function})
  endforeach()
  add_library(ozna_workspace_end OBJECT ${PROJECT_SOURCE_DIR}/public/enclosed/workspace_end.cpp)
  list(APPEND link_flags --wrap=bli_abort --wrap=malloc --wrap=free)
  set(parts $<TARGET_OBJECTS:ozna_workspace_end>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    add_library(ozna_kernel_choice OBJECT ${PROJECT_SOURCE_DIR}/public/enclosed/kernel_choice.cpp)
    target_include_directories(ozna_kernel_choice SYSTEM PRIVATE ${OZNA_BLIS_INCLUDE_DIR})
    list(APPEND link_flags --wrap=bli_cpuid_query_id --wrap=bli_env_get_var)
    list(APPEND parts $<TARGET_OBJECTS:ozna_kernel_choice>)
  endif()
  add_custom_command(
    OUTPUT ${object}
    COMMAND ${CMAKE_LINKER} -r ${link_flags} -o ${object}.all ${parts} ${OZNA_BLIS_ARCHIVE}
    COMMAND ${CMAKE_OBJCOPY} ${copy_flags} ${object}.all ${object}
    COMMAND ${CMAKE_COMMAND} -E rm ${object}.all
    DEPENDS ${parts} ${OZNA_BLIS_ARCHIVE} ${CMAKE_CURRENT_LIST_FILE}
    COMMENT "Linking ozna_mathematics.o"
    VERBATIM COMMAND_EXPAND_LISTS)
  add_custom_target(ozna_mathematics_object DEPENDS ${object})
  add_dependencies(ozna_mathematics ozna_mathematics_object)
  target_link_libraries(ozna_mathematics INTERFACE ${object} Threads::Threads)
else()
  message(WARNING "libblis.a is missing (on Debian: libblis-serial-dev): the mathematics library may start threads.")
  target_link_libraries(ozna_mathematics INTERFACE BLAS::BLAS)
endif()

add_library(ozna_enclosed INTERFACE)
target_link_libraries(ozna_enclosed INTERFACE ozna_mathematics Threads::Threads)

# ozna_enclose(NAME HEADERS SOURCE...): a piece of ours that goes into each library with what is enclosed there.
function(ozna_enclose name headers)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PRIVATE ozna_flags ${headers})
  # Each source stands in for a part of another library; a made one declares that library's data as bare bytes.
  set_target_properties(${name} PROPERTIES UNITY_BUILD OFF)
  target_sources(ozna_enclosed INTERFACE $<TARGET_OBJECTS:${name}>)
endfunction()
set(enclosed_sources ${PROJECT_SOURCE_DIR}/public/enclosed)

# The image library alone, for the program too: the shared one loads thirty libraries more, one of which starts threads.
add_library(ozna_enclosed_image_library INTERFACE)
if(OZNA_OPENCV_CORE_ARCHIVE AND OZNA_OPENCV_IMGPROC_ARCHIVE)
  add_library(ozna_enclosed_pictures OBJECT ${enclosed_sources}/calling_thread_loops.cpp ${enclosed_sources}/large_matrices.cpp)
  target_link_libraries(ozna_enclosed_pictures PRIVATE ozna_flags ozna_headers_opencv)
  target_sources(ozna_enclosed_image_library INTERFACE $<TARGET_OBJECTS:ozna_enclosed_pictures>)
  target_link_libraries(ozna_enclosed_image_library INTERFACE ${OZNA_OPENCV_IMGPROC_ARCHIVE} ${OZNA_OPENCV_CORE_ARCHIVE}
                                                              ${OZNA_ZLIB_ARCHIVE} ${CMAKE_DL_LIBS})
else()
  message(WARNING "The archives of OpenCV are missing: the image library may start threads.")
  target_link_libraries(ozna_enclosed_image_library INTERFACE opencv_core opencv_imgproc)
endif()
target_link_libraries(ozna_enclosed INTERFACE ozna_enclosed_image_library)

if(OZNA_PROTOBUF_ARCHIVE)
  set(messages ${PROJECT_BINARY_DIR}/ozna_messages)
  add_custom_command(
    OUTPUT ${messages}.a ${messages}.cpp
    COMMAND ${CMAKE_COMMAND} -E env CXX=${CMAKE_CXX_COMPILER} AR=${CMAKE_AR} NM=${CMAKE_NM} READELF=${CMAKE_READELF}
            OBJCOPY=${CMAKE_OBJCOPY} ${CMAKE_CURRENT_LIST_DIR}/enclose_messages.sh ${OZNA_PROTOBUF_ARCHIVE} ${messages}.a
            ${messages}.cpp
    DEPENDS ${OZNA_PROTOBUF_ARCHIVE} ${CMAKE_CURRENT_LIST_DIR}/enclose_messages.sh
    COMMENT "Making ozna_messages.a"
    VERBATIM)
  ozna_enclose(ozna_enclosed_messages ozna_headers_protobuf ${enclosed_sources}/message_memory.cpp ${messages}.cpp)
  add_dependencies(ozna_enclosed ozna_enclosed_messages)
  target_link_libraries(ozna_enclosed INTERFACE ${messages}.a)
else()
  message(WARNING "libprotobuf.a is missing: the libraries need libprotobuf.so where they run.")
  target_link_libraries(ozna_enclosed INTERFACE protobuf::libprotobuf)
endif()

ozna_enclose(ozna_enclosed_log ozna_headers_glog ${enclosed_sources}/error_log.cpp)

if(OZNA_LEVELDB_ARCHIVE AND OZNA_SNAPPY_ARCHIVE)
  target_link_libraries(ozna_enclosed INTERFACE ${OZNA_LEVELDB_ARCHIVE} ${OZNA_SNAPPY_ARCHIVE})
else()
  message(WARNING "libleveldb.a or libsnappy.a is missing: the libraries need libleveldb.so where they run.")
  target_link_libraries(ozna_enclosed INTERFACE leveldb::leveldb)
endif()

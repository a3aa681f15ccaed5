# What libozna.so encloses of other libraries, so that it runs in the calling thread whatever the environment says and
# whatever the host has loaded: a mathematics library and an image library without threads. docs/mathematics.md tells
# why these. Where the archives are missing, libozna.so calls the shared libraries, which start threads of their own.
#
#   ozna_mathematics   the products, for libozna.so, and for the tests and benchmarks of what it does
#   ozna_enclosed      everything that libozna.so links

# The functions of the CBLAS interface that the library calls.
set(OZNA_CBLAS_FUNCTIONS sgemm sgemv sdot sasum isamax sscal saxpy scopy)

find_library(OZNA_BLIS_ARCHIVE libblis.a PATH_SUFFIXES blis-serial)
find_path(OZNA_BLIS_INCLUDE_DIR blis.h PATH_SUFFIXES blis-serial)
find_library(OZNA_OPENCV_CORE_ARCHIVE libopencv_core.a)
find_library(OZNA_OPENCV_IMGPROC_ARCHIVE libopencv_imgproc.a)

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
  set(parts)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
    add_library(ozna_kernel_choice OBJECT ${PROJECT_SOURCE_DIR}/public/enclosed/kernel_choice.cpp)
    target_include_directories(ozna_kernel_choice SYSTEM PRIVATE ${OZNA_BLIS_INCLUDE_DIR})
    list(APPEND link_flags --wrap=bli_cpuid_query_id --wrap=bli_env_get_var)
    set(parts $<TARGET_OBJECTS:ozna_kernel_choice>)
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
target_link_libraries(ozna_enclosed INTERFACE ozna_mathematics protobuf::libprotobuf PkgConfig::GLOG leveldb::leveldb
                                              Threads::Threads)
if(OZNA_OPENCV_CORE_ARCHIVE AND OZNA_OPENCV_IMGPROC_ARCHIVE)
  target_sources(ozna_enclosed INTERFACE ${PROJECT_SOURCE_DIR}/public/enclosed/calling_thread_loops.cpp)
  target_include_directories(ozna_enclosed SYSTEM INTERFACE ${OPENCV_INCLUDE_DIR})
  target_link_libraries(ozna_enclosed INTERFACE ${OZNA_OPENCV_IMGPROC_ARCHIVE} ${OZNA_OPENCV_CORE_ARCHIVE}
                                                ${CMAKE_DL_LIBS})
else()
  message(WARNING "The archives of OpenCV are missing: the image library may start threads.")
  target_link_libraries(ozna_enclosed INTERFACE opencv_core opencv_imgproc)
endif()

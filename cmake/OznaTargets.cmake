# Flags that every target of the tree shares, and the helpers that declare a folder's object library and its tests.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# The flags of Release and Debug are CMake's own, -O3 -DNDEBUG and -g, or those that a packager gives.
if(NOT CMAKE_CXX_FLAGS_SANITIZE)
  set(CMAKE_CXX_FLAGS_SANITIZE "-O1 -g1")  # Lines in stack traces; whole debug information takes a third longer.
endif()

# Half of the time of a source goes to headers, which the sources of a batch read once. What reads a source alone, and so
# finds a missing include, are the presets without this option; the library's own sources share batches in instrumented
# builds only.
option(OZNA_BATCHES "Compile the sources of tests, of the program and of an instrumented library several at a time" OFF)
option(OZNA_THREAD_TESTS_ONLY "Leave out the tests' sources that start no threads" OFF)

# ozna_batches(TARGET): the sources of the target share batches. A source whose names are those of another one gets the property
# SKIP_UNITY_BUILD_INCLUSION.
function(ozna_batches target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 16)
endfunction()

add_library(ozna_flags INTERFACE)
# Contraction of a * b + c changes the rounding from one processor to the next; results must not depend on it.
target_compile_options(ozna_flags INTERFACE -ffp-contract=off -Wall -Wextra)
target_include_directories(ozna_flags INTERFACE ${PROJECT_SOURCE_DIR})
if(OZNA_WERROR)
  target_compile_options(ozna_flags INTERFACE -Werror)
endif()
if(OZNA_SANITIZE)
  target_compile_options(ozna_flags INTERFACE -fsanitize=${OZNA_SANITIZE} -fno-sanitize-recover=all
                                              -fno-omit-frame-pointer
                                              $<$<BOOL:$<TARGET_PROPERTY:OZNA_IS_TEST>>:-fno-sanitize=undefined>)
  target_link_options(ozna_flags INTERFACE -fsanitize=${OZNA_SANITIZE})
endif()
if(OZNA_COVERAGE)
  # Threads count in the same counters: without atomic ones some end below zero, which gcovr refuses to read.
  target_compile_options(ozna_flags INTERFACE --coverage -fprofile-update=atomic -O0)
  target_link_options(ozna_flags INTERFACE --coverage)
endif()

# What a program links beside the code of all folders, ozna_static; libozna.so encloses most of it (OznaEnclosed.cmake).
add_library(ozna_dependencies INTERFACE)
target_link_libraries(ozna_dependencies INTERFACE opencv_core opencv_imgproc protobuf::libprotobuf
                                                  PkgConfig::GLOG leveldb::leveldb BLAS::BLAS Threads::Threads)
target_include_directories(ozna_dependencies SYSTEM INTERFACE ${CBLAS_INCLUDE_DIR} ${Boost_INCLUDE_DIRS})

# The headers of these libraries one by one, for a folder's code, which is compiled once and linked in both ways:
# ozna_headers_opencv and so on.
function(ozna_headers name)
  add_library(ozna_headers_${name} INTERFACE)
  target_include_directories(ozna_headers_${name} SYSTEM INTERFACE ${ARGN})
endfunction()
ozna_headers(boost ${Boost_INCLUDE_DIRS})
ozna_headers(cblas ${CBLAS_INCLUDE_DIR})
ozna_headers(glog $<TARGET_PROPERTY:PkgConfig::GLOG,INTERFACE_INCLUDE_DIRECTORIES>)
ozna_headers(leveldb $<TARGET_PROPERTY:leveldb::leveldb,INTERFACE_INCLUDE_DIRECTORIES>)
ozna_headers(opencv ${OPENCV_INCLUDE_DIR})
ozna_headers(protobuf $<TARGET_PROPERTY:protobuf::libprotobuf,INTERFACE_INCLUDE_DIRECTORIES>)

# The header of the core, ozna.h, for those who need its types but do not call it.
add_library(ozna_interface INTERFACE)
target_include_directories(ozna_interface INTERFACE ${PROJECT_SOURCE_DIR}/public)

# ozna_object_library(NAME SOURCES FILE... [LINKS TARGET...]): one folder's code, compiled once for the shared and the
# static library. LINKS names the folders and the libraries' headers that the code may see; nothing else is on its way
# but what these show in their own headers. tests/tree checks what the objects call against the same list.
#
# Hosts call from threads whose stacks are small, so that no function may take more than 16 KB of it. Sanitizers and
# builds without optimisation have larger frames of their own.
function(ozna_object_library name)
  cmake_parse_arguments(PARSE_ARGV 1 folder "" "" "SOURCES;LINKS")
  if(folder_UNPARSED_ARGUMENTS OR NOT folder_SOURCES)
    message(FATAL_ERROR "ozna_object_library(${name} ...) takes SOURCES and LINKS; found: ${ARGN}")
  endif()
  add_library(${name} OBJECT ${folder_SOURCES})
  target_link_libraries(${name} PUBLIC ozna_flags ${folder_LINKS})
  if(OZNA_BATCHES AND OZNA_SANITIZE)
    ozna_batches(${name})
  endif()
  set_property(GLOBAL APPEND PROPERTY OZNA_OBJECT_LIBRARIES ${name})
  set_property(GLOBAL PROPERTY OZNA_LINKS_OF_${name} ${folder_LINKS})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT OZNA_SANITIZE AND NOT OZNA_COVERAGE)
    target_compile_options(${name} PRIVATE $<$<CONFIG:Release,RelWithDebInfo>:-Werror=frame-larger-than=16384>)
  endif()
endfunction()

# ozna_sources_with_threads(VARIABLE SOURCE...): those of the sources with a suite whose name ends in Threads, and those without any
# test, which others call; all of them where no suite does.
function(ozna_sources_with_threads variable)
  set(chosen)
  set(found OFF)
  foreach(source ${ARGN})
    get_filename_component(path ${source} ABSOLUTE)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${path})
    file(STRINGS ${path} tests REGEX "^(TYPED_)?TEST(_F|_P)?[(]")
    if(tests MATCHES "[(][A-Za-z0-9]*Threads,")
      set(found ON)
    elseif(tests)
      continue()
    endif()
    list(APPEND chosen ${source})
  endforeach()
  if(NOT found)
    set(chosen ${ARGN})
  endif()
  set(${variable} ${chosen} PARENT_SCOPE)
endfunction()

# ozna_without_optimisation(TARGET): for a target that only calls other code, such as a test or a program that reads its arguments and
# leaves the work to a library: optimised, it takes half as long again to build. The C library checks buffers in optimised
# code only, and warns where it is asked to without.
function(ozna_without_optimisation target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release,Sanitize>:-O0$<SEMICOLON>-U_FORTIFY_SOURCE>)
endfunction()

# ozna_test(NAME SOURCE...): a GoogleTest binary against the static library, one CTest case per test. Suites whose
# name ends in Threads carry the label 'threads', which selects what runs under ThreadSanitizer.
#
# A test's own code is translated without optimisation, and without the checks for undefined behaviour, which stay in the
# library that it calls: both cost more to build than they save or find in code that runs once.
function(ozna_test name)
  set(sources ${ARGN})
  if(OZNA_THREAD_TESTS_ONLY)
    ozna_sources_with_threads(sources ${ARGN})
  endif()
  add_executable(${name} ${sources})
  set_target_properties(${name} PROPERTIES OZNA_IS_TEST ON)
  if(OZNA_BATCHES)
    ozna_batches(${name})
  endif()
  ozna_without_optimisation(${name})
  target_link_libraries(${name} PRIVATE ozna_static ozna_mathematics GTest::gmock GTest::gtest GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE OZNA_SOURCE_DIR="${PROJECT_SOURCE_DIR}")
  set(environment ENVIRONMENT "OPENBLAS_NUM_THREADS=1")
  set(limit_s 300)
  if(CMAKE_CROSSCOMPILING)
    set(limit_s 6000)  # Under an emulator.
  endif()
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 TEST_PREFIX "${name}/" TEST_FILTER "-*Threads.*"
                       PROPERTIES TIMEOUT ${limit_s} ${environment})
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 TEST_PREFIX "${name}/" TEST_FILTER "*Threads.*"
                       TEST_LIST ${name}_THREAD_TESTS PROPERTIES TIMEOUT 900 LABELS threads ${environment})
endfunction()

# ozna_compress(FILE): writes FILE.gz beside it, the same bytes at every time.
function(ozna_compress file)
  execute_process(COMMAND gzip -9nkf ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

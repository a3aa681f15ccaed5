# Model files as a piece of the library's constant data. The assembler takes them in as they are, so that tens of megabytes
# cost the build a second.

# ozna_embedded_models(DIRECTORY SOURCE): writes the source of kit/models/built_in_models.h for the cascade of a directory,
# and the landmark model of the tree where the directory has none; its path goes into the variable SOURCE.
function(ozna_embedded_models directory source_variable)
  file(GLOB files CONFIGURE_DEPENDS RELATIVE ${directory}
       ${directory}/stages.txt ${directory}/cascades/*/proto* ${directory}/cascades/*/mean
       ${directory}/cascades/*/offsets-scales ${directory}/models/face68.sdm)
  if(NOT "stages.txt" IN_LIST files)
    message(FATAL_ERROR "OZNAKIT_EMBED_DIRECTORY, ${directory}, holds no stages.txt.")
  endif()
  set(labels)
  set(table)
  set(paths)
  set(index 0)
  set(landmarks models/face68.sdm)
  list(REMOVE_ITEM files ${landmarks})
  foreach(file ${files} ${landmarks})
    set(path ${directory}/${file})
    if(NOT EXISTS ${path})
      set(path ${PROJECT_SOURCE_DIR}/public/${file})
    endif()
    list(APPEND paths ${path})
    string(APPEND labels "OZNA_MODEL(${index}, \"${path}\")\n")
    string(APPEND table "    {\"${file}\", ozna_model_${index}_begin, ozna_model_${index}_end},\n")
    math(EXPR index "${index} + 1")
  endforeach()
  set(source ${PROJECT_BINARY_DIR}/kit/built_in_models_content.cpp)
  file(CONFIGURE OUTPUT ${source} @ONLY CONTENT [==[
// Written by cmake/OznaEmbeddedModels.cmake.

#include "kit/models/built_in_models.h"

#define OZNA_MODEL(index, path)                                                    \
  __asm__(".section .rodata\n.balign 16\nozna_model_" #index "_begin:\n.incbin \"" path \
          "\"\nozna_model_" #index "_end:\n.byte 0\n.previous\n");                 \
  extern "C" __attribute__((visibility("hidden"))) const unsigned char ozna_model_##index##_begin[]; \
  extern "C" __attribute__((visibility("hidden"))) const unsigned char ozna_model_##index##_end[];

@labels@
namespace kit {
namespace {

const BuiltInFile kFiles[] = {
@table@};

}  // namespace

const BuiltInFile* const kBuiltInFiles = kFiles;
const std::size_t kBuiltInFileCount = sizeof(kFiles) / sizeof(kFiles[0]);

}  // namespace kit
]==])
  set_source_files_properties(${source} PROPERTIES OBJECT_DEPENDS "${paths}" SKIP_UNITY_BUILD_INCLUSION ON)
  set(${source_variable} ${source} PARENT_SCOPE)
endfunction()

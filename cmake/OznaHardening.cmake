# Builds are hardened by default, since the library reads files and pixels that strangers wrote: stack protector, checked
# calls of the C library, control-flow protection, and relocations that are read-only before the program starts.
# tests/hardening reads all of it from the binaries.

option(OZNA_HARDENING "Build with stack protector, checked library calls, full RELRO and control-flow protection" ON)
if(NOT OZNA_HARDENING)
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX)

add_compile_options(-fstack-protector-strong)
add_link_options(-Wl,-z,relro -Wl,-z,now)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i[3-6]86)$")
  check_cxx_compiler_flag(-fcf-protection=full OZNA_HAVE_CF_PROTECTION)
  if(OZNA_HAVE_CF_PROTECTION)
    add_compile_options(-fcf-protection=full)
  endif()
endif()

# The checks need optimisation, hide accesses from the address sanitizer, and a packager's own level stands.
if(NOT OZNA_SANITIZE AND NOT OZNA_COVERAGE AND NOT "${CMAKE_CXX_FLAGS}" MATCHES "_FORTIFY_SOURCE")
  add_compile_options($<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>)
endif()

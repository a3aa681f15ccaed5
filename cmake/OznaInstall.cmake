# What find_package(ozna) and pkg-config read, and the documents of an installed tree. Nothing in it holds an absolute
# path: an installed tree may be moved as a whole.

include(CMakePackageConfigHelpers)

set(config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ozna)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/oznaConfig.cmake.in ${PROJECT_BINARY_DIR}/oznaConfig.cmake
                              INSTALL_DESTINATION ${config_dir} PATH_VARS OZNA_INSTALL_MODELSDIR)
# Before 1.0 every minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/oznaConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/oznaConfig.cmake ${PROJECT_BINARY_DIR}/oznaConfigVersion.cmake
        DESTINATION ${config_dir} COMPONENT development)
install(EXPORT oznaTargets NAMESPACE ozna:: DESTINATION ${config_dir} COMPONENT development)
install(EXPORT oznaStaticTargets NAMESPACE ozna:: DESTINATION ${config_dir} COMPONENT development)

# ozna.pc for the shared library, ozna-static.pc for the archive with everything that it needs.
file(RELATIVE_PATH OZNA_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
list(TRANSFORM OZNA_DEPENDENCY_NAMES PREPEND -l OUTPUT_VARIABLE link_names)
list(JOIN link_names " " link_names)
set(OZNA_PC_NAME ozna)
set(OZNA_PC_LIBS -lozna)
set(OZNA_PC_CFLAGS "")
configure_file(${PROJECT_SOURCE_DIR}/cmake/ozna.pc.in ${PROJECT_BINARY_DIR}/ozna.pc @ONLY)
set(OZNA_PC_NAME "ozna (static)")
set(OZNA_PC_LIBS "-l:${CMAKE_STATIC_LIBRARY_PREFIX}ozna${CMAKE_STATIC_LIBRARY_SUFFIX} ${link_names} -pthread")
set(OZNA_PC_CFLAGS " -DOZNA_STATIC")
configure_file(${PROJECT_SOURCE_DIR}/cmake/ozna.pc.in ${PROJECT_BINARY_DIR}/ozna-static.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ozna.pc ${PROJECT_BINARY_DIR}/ozna-static.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

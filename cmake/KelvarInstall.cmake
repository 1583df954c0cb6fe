include(CMakePackageConfigHelpers)

# Components: library (what programs load), development (what they are built with), tools (programs and their data).

install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/kelvar DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(
  TARGETS kelvar kelvar-headers
  EXPORT kelvarTargets
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
install(EXPORT kelvarTargets NAMESPACE kelvar:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvar
        COMPONENT development)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/kelvarConfig.cmake.in ${PROJECT_BINARY_DIR}/kelvarConfig.cmake
                              INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvar)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kelvarConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kelvarConfig.cmake ${PROJECT_BINARY_DIR}/kelvarConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kelvar COMPONENT development)

# With the static library the program that links it also links what the library uses. The shared one asks for nothing:
# only RestClient.h wants foreign headers, and names them.
set(KELVAR_PC_REQUIRES "")
if(NOT BUILD_SHARED_LIBS)
  set(KELVAR_PC_REQUIRES "libcurl, libssl, libcrypto, expat, spdlog")
endif()
file(RELATIVE_PATH KELVAR_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/kelvar.pc.in ${PROJECT_BINARY_DIR}/kelvar.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kelvar.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

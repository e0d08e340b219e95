# Installs the library with a CMake package (find_package(q7) gives q7::q7) and q7.pc.
include(CMakePackageConfigHelpers)

install(TARGETS q7 EXPORT q7Targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(EXPORT q7Targets NAMESPACE q7:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/q7)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/q7Config.cmake.in
  ${PROJECT_BINARY_DIR}/q7Config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/q7)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/q7ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/q7Config.cmake ${PROJECT_BINARY_DIR}/q7ConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/q7)

# The .pc file finds the prefix from its own place, so an installation can be moved (or
# made with cmake --install --prefix) without rewriting it.
file(RELATIVE_PATH Q7_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/q7.pc.in ${PROJECT_BINARY_DIR}/q7.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/q7.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

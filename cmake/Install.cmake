# What `cmake --install` leaves behind: both libraries, the public headers, a CMake package and a
# pkg-config file. All of it may be moved to another prefix afterwards.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kxwcmn)

install(TARGETS kxwcmn EXPORT kxwcmn FILE_SET HEADERS)
install(TARGETS kxwcmn_static EXPORT kxwcmn)
install(EXPORT kxwcmn NAMESPACE kxwcmn:: FILE kxwcmnTargets.cmake DESTINATION ${package_dir})

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/kxwcmnConfig.cmake.in ${PROJECT_BINARY_DIR}/kxwcmnConfig.cmake
  INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/kxwcmnConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/kxwcmnConfig.cmake ${PROJECT_BINARY_DIR}/kxwcmnConfigVersion.cmake
  DESTINATION ${package_dir})

# The file finds its prefix from where it lies, so the way back must be a relative one.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH KXWCMN_PC_TO_PREFIX /prefix/${pc_dir} /prefix)
set(KXWCMN_PC_REQUIRES zlib)
if(KXWCMN_HAS_TEXT)
  string(APPEND KXWCMN_PC_REQUIRES ", pangocairo")
endif()
if(KXWCMN_HAS_DEFLATE)
  string(APPEND KXWCMN_PC_REQUIRES ", libdeflate")
endif()
configure_file(
  ${CMAKE_CURRENT_LIST_DIR}/kxwcmn.pc.in ${PROJECT_BINARY_DIR}/kxwcmn.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kxwcmn.pc DESTINATION ${pc_dir})

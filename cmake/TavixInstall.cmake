# Headers, libraries, CMake packages and pkg-config files. What programs need to run is the component
# library, what they need to be built is the component development.
include(CMakePackageConfigHelpers)

# tavix_install(target package): one library with its CMake package (PACKAGE.config.in beside this
# file) and its pkg-config file (PACKAGE.pc.in).
function(tavix_install target package)
  set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${package})
  install(
    TARGETS ${target}
    EXPORT ${package}
    LIBRARY COMPONENT library NAMELINK_COMPONENT development)
  install(
    EXPORT ${package}
    NAMESPACE tavix::
    FILE ${package}Targets.cmake
    DESTINATION ${cmake_dir}
    COMPONENT development)
  configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/${package}.config.in ${PROJECT_BINARY_DIR}/${package}Config.cmake
    INSTALL_DESTINATION ${cmake_dir})
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/${package}ConfigVersion.cmake
                                   COMPATIBILITY SameMajorVersion)
  # The pkg-config file finds its prefix from where it stands, so that the prefix can move.
  file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc
                 @ONLY)
  install(
    FILES ${PROJECT_BINARY_DIR}/${package}Config.cmake
          ${PROJECT_BINARY_DIR}/${package}ConfigVersion.cmake
    DESTINATION ${cmake_dir}
    COMPONENT development)
  install(
    FILES ${PROJECT_BINARY_DIR}/${package}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endfunction()

set(without_core)
if(TAVIX_CORE STREQUAL "embedded")
  tavix_install(tavix_core tavix_core)
else()
  set(without_core REGEX "/core(\\.h)?$" EXCLUDE)
endif()
tavix_install(tavix_video_common_cpu tavix_video_common_cpu)
install(
  DIRECTORY include/tavix
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development
  ${without_core})

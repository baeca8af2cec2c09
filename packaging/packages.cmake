# The Debian packages, one for each install component. The components tools, documentation and python
# appear when something is installed into them.
set(library_package lib${PROJECT_NAME}-video-common-cpu${PROJECT_VERSION_MAJOR})
set(development_package lib${PROJECT_NAME}-video-common-cpu-dev)
set(documentation_package lib${PROJECT_NAME}-video-common-cpu-doc)
set(tools_package ${PROJECT_NAME}-tools)
set(python_package python3-${PROJECT_NAME})

set(library_summary "CPU image and tensor operations on video frames - libraries")
set(library_section libs)
set(library_multi_arch same)
# scripts/package writes these. The trigger runs ldconfig: postinst and postrm are named but absent, so
# that CPack writes none of its own.
set(library_control symbols shlibs triggers postinst postrm)
list(TRANSFORM library_control PREPEND ${PROJECT_BINARY_DIR}/debian/)
set(development_summary "CPU image and tensor operations on video frames - development files")
set(development_section libdevel)
set(development_multi_arch same)
set(development_depends library)
set(documentation_summary "CPU image and tensor operations on video frames - documentation")
set(documentation_section doc)
set(documentation_multi_arch foreign)
set(documentation_architecture all)
set(documentation_needs libjs-sphinxdoc)
set(tools_summary "CPU image and tensor operations on video frames - command-line tool")
set(tools_section video)
set(tools_multi_arch foreign)
set(tools_depends library)
set(tools_needs gnuplot-nox)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS gnuplot-nox)
set(python_summary "CPU image and tensor operations on video frames - Python module")
set(python_section python)
set(python_depends library)
set(python_needs "python3 (>= 3.11), python3 (<< 3.12), python3-numpy (>= 1:1.24)")
# Its command makes corpora with these; the module itself does without.
set(python_recommends "python3-av, python3-dask, python3-distributed, python3-zarr")
set(python_control ${CMAKE_CURRENT_LIST_DIR}/python/postinst ${CMAKE_CURRENT_LIST_DIR}/python/prerm)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${PROJECT_NAME}-video-common-cpu)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                                GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE ${CPACK_PACKAGE_NAME})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Tavix Maintainers <maintainers@tavix.example>")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/core
                                                ${PROJECT_BINARY_DIR}/source)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

find_program(GZIP gzip REQUIRED)
execute_process(COMMAND ${GZIP} -9 --no-name --stdout ${CMAKE_CURRENT_LIST_DIR}/changelog
                OUTPUT_FILE ${PROJECT_BINARY_DIR}/changelog.gz COMMAND_ERROR_IS_FATAL ANY)
file(READ ${CMAKE_CURRENT_LIST_DIR}/description description)

# What scripts/docs left. Scripts of Sphinx that Debian has stand in a package of their own.
set(documentation ${PROJECT_SOURCE_DIR}/build/docs/html)
set(documentation_folder ${CMAKE_INSTALL_DATADIR}/doc/${documentation_package})
set(sphinx_scripts /usr/share/javascript/sphinxdoc/1.0)
if(EXISTS ${documentation}/index.html)
  file(
    GLOB shared_scripts
    RELATIVE ${sphinx_scripts}
    ${sphinx_scripts}/*.js)
  list(TRANSFORM shared_scripts REPLACE "(.+)" "/_static/\\1$" OUTPUT_VARIABLE not_installed)
  list(JOIN not_installed "|" not_installed)
  install(
    DIRECTORY ${documentation}
    DESTINATION ${documentation_folder}
    COMPONENT documentation
    REGEX "${not_installed}" EXCLUDE)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/links)
  foreach(script IN LISTS shared_scripts)
    if(EXISTS ${documentation}/_static/${script})
      file(CREATE_LINK ../../../../javascript/sphinxdoc/1.0/${script}
           ${PROJECT_BINARY_DIR}/links/${script} SYMBOLIC)
      install(
        FILES ${PROJECT_BINARY_DIR}/links/${script}
        DESTINATION ${documentation_folder}/html/_static
        COMPONENT documentation)
    endif()
  endforeach()
endif()

get_cmake_property(components COMPONENTS)
list(REMOVE_ITEM components Unspecified)
set(CPACK_COMPONENTS_ALL ${components})
foreach(component IN LISTS components)
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${${component}_package})
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${${component}_section})
  set(CPACK_DEBIAN_${upper}_PACKAGE_MULTIARCH ${${component}_multi_arch})
  set(CPACK_DEBIAN_${upper}_PACKAGE_ARCHITECTURE ${${component}_architecture})
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${${component}_summary}\n${description}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS ${${component}_needs})
  set(CPACK_DEBIAN_${upper}_PACKAGE_RECOMMENDS ${${component}_recommends})
  set(CPACK_DEBIAN_${upper}_PACKAGE_CONTROL_EXTRA ${${component}_control})
  set(CPACK_COMPONENT_${upper}_DEPENDS ${${component}_depends})
  install(
    FILES ${CMAKE_CURRENT_LIST_DIR}/copyright ${PROJECT_BINARY_DIR}/changelog.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${component}_package}
    COMPONENT ${component})
endforeach()
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # every package has one of its own
include(CPack)

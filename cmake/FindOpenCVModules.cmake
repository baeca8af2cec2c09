# OpenCV 4, module by module: find_package(OpenCVModules REQUIRED COMPONENTS core imgproc) makes the
# targets opencv_core and opencv_imgproc. Needs the development packages of these modules only, where
# OpenCV's own CMake package would need those of every module.
find_path(OpenCVModules_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
mark_as_advanced(OpenCVModules_INCLUDE_DIR)

foreach(module IN LISTS OpenCVModules_FIND_COMPONENTS)
  find_library(OpenCVModules_${module}_LIBRARY opencv_${module})
  mark_as_advanced(OpenCVModules_${module}_LIBRARY)
  if(OpenCVModules_INCLUDE_DIR AND OpenCVModules_${module}_LIBRARY)
    set(OpenCVModules_${module}_FOUND TRUE)
    if(NOT TARGET opencv_${module})
      add_library(opencv_${module} UNKNOWN IMPORTED)
      set_target_properties(
        opencv_${module} PROPERTIES IMPORTED_LOCATION ${OpenCVModules_${module}_LIBRARY}
                                    INTERFACE_INCLUDE_DIRECTORIES ${OpenCVModules_INCLUDE_DIR})
    endif()
  endif()
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(
  OpenCVModules
  REQUIRED_VARS OpenCVModules_INCLUDE_DIR
  HANDLE_COMPONENTS)

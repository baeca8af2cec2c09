# What every target of this project is compiled with.
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE
      Release
      CACHE STRING "Release, Debug or RelWithDebInfo" FORCE)
endif()
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(TAVIX_SANITIZE)
  add_compile_options(-fsanitize=${TAVIX_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${TAVIX_SANITIZE})
endif()
if(TAVIX_ASSERTIONS)
  add_compile_definitions(_GLIBCXX_ASSERTIONS)
endif()
# Paths in the binaries, and so in log lines, start at the repository's root: a build leaves no trace
# of where it ran.
add_compile_options(-ffile-prefix-map=${PROJECT_BINARY_DIR}=build
                    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)

# What runs of the libraries' own code is counted: at -O0 each line and each branch stays where it is
# written, and threads count together. The end of a local variable would count as two branches if its
# memory served others. A branch of an inlined function would count once for each of its callers.
# Reports need the whole paths.
function(tavix_count_coverage target)
  if(TAVIX_COVERAGE)
    target_compile_options(
      ${target}
      PRIVATE --coverage -O0 -fprofile-update=atomic -fstack-reuse=none -DTAVIX_INLINE=inline
              -fprofile-prefix-map=${PROJECT_SOURCE_DIR}=${PROJECT_SOURCE_DIR})
    target_link_options(${target} PUBLIC --coverage)
  endif()
endfunction()

# Arithmetic is as written: nothing fuses a multiplication with an addition. No code reads errno or
# the floating-point exception flags, so neither stands in the way of vector loops.
function(tavix_compile_options target)
  target_compile_features(${target} PRIVATE cxx_std_20) # the public headers are C
  set_target_properties(
    ${target}
    PROPERTIES CXX_EXTENSIONS OFF
               CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON
               POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE -ffp-contract=off -fno-math-errno -fno-trapping-math)
  if(TAVIX_DEVELOPER)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wformat=2 -Wconversion
                                             -Wno-sign-conversion -Werror)
    # g++ 12 takes what the sanitizers add to the standard library for uninitialised.
    if(TAVIX_SANITIZE)
      target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
    endif()
  endif()
endfunction()

# A shared library with its public headers, known in the tree as it is to consumers. Once installed
# it finds the core beside it, whoever loads it.
function(tavix_shared_library target alias)
  tavix_compile_options(${target})
  set_target_properties(
    ${target}
    PROPERTIES VERSION ${PROJECT_VERSION}
               SOVERSION ${PROJECT_VERSION_MAJOR}
               EXPORT_NAME ${alias}
               INSTALL_RPATH $ORIGIN)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                              $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  add_library(tavix::${alias} ALIAS ${target})
endfunction()

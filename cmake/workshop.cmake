# What the project's own build has beside the library: the tool, players, tests, benchmarks and
# examples. Nothing of it is there when another project adds this one.
include(CTest)
option(DRM_SORN_TOOL "Build sorn-tool" ON)
option(DRM_SORN_EXAMPLES "Build the example programs" ${BUILD_TESTING})
option(DRM_SORN_BENCH "Build the benchmarks" OFF)
set(DRM_SORN_CLIENTS OFF CACHE STRING "Players over the plug-in to build: ON for those whose \
development files are there, or a list of those that have to be: avformat, gstreamer, mpv, vlc")

# Short names for what only this build uses.
add_library(avi_reader ALIAS drm-sorn-reader)
add_library(project_options ALIAS drm-sorn-options)
add_library(library_options ALIAS drm-sorn-library-options)

if(CMAKE_CROSSCOMPILING)
    include(cmake/cross-dependencies.cmake)
endif()
if(DRM_SORN_TOOL)
    add_subdirectory(tools)
endif()
if(DRM_SORN_BENCH)
    add_subdirectory(bench)
endif()
if(DRM_SORN_CLIENTS)
    add_subdirectory(clients)
endif()
if(BUILD_TESTING)
    add_subdirectory(tests)
    if(NOT CMAKE_CROSSCOMPILING)  # of what it lays out in memory, 32 bits have room for a part
        add_subdirectory(proof)
    endif()
    add_subdirectory(fuzz)
endif()
if(DRM_SORN_EXAMPLES)
    add_subdirectory(examples)
endif()

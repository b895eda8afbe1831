# The tool's and the tests' libraries in a cross build, where find_package must not find those of
# the building machine: it is sent to targets made here instead. CLI11, nlohmann/json and fmt are
# used as headers, reached through links so that no other header of /usr/include is seen;
# GoogleTest is built from Debian's source package.

set(headers ${PROJECT_BINARY_DIR}/host-headers)

# The versions are those that the building machine has for its own builds.
function(answer_find_package package)
    file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${package}-config.cmake "")
    file(WRITE ${CMAKE_FIND_PACKAGE_REDIRECTS_DIR}/${package}-config-version.cmake
        "set(PACKAGE_VERSION_COMPATIBLE TRUE)\n")
endfunction()

function(provide_headers package target directory)
    if(NOT EXISTS /usr/include/${directory})
        return()
    endif()
    file(MAKE_DIRECTORY ${headers})
    file(CREATE_LINK /usr/include/${directory} ${headers}/${directory} SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED GLOBAL)
    target_include_directories(${target} SYSTEM INTERFACE ${headers})
    answer_find_package(${package})
endfunction()

provide_headers(cli11 CLI11::CLI11 CLI)
provide_headers(nlohmann_json nlohmann_json::nlohmann_json nlohmann)
provide_headers(fmt fmt::fmt-header-only fmt)

if(BUILD_TESTING)
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    target_compile_options(gtest PRIVATE -O0)  # half the time to compile; it runs for a moment
    target_compile_options(gmock PRIVATE -O0)
    answer_find_package(gtest)
endif()

# The library in other people's builds: installed, and as a part of theirs. Instrumented builds are
# for neither.
if(DRM_SORN_SANITIZE OR DRM_SORN_COVERAGE)
    return()
endif()

function(installed_test name check)
    add_test(NAME Installed.${name} COMMAND ${CMAKE_CURRENT_LIST_DIR}/installed/check ${check})
    set_tests_properties(Installed.${name} PROPERTIES
        SKIP_RETURN_CODE 77
        ENVIRONMENT "BUILD=${PROJECT_BINARY_DIR};PREFIX=${CMAKE_CURRENT_BINARY_DIR}/installed;\
LIBDIR=${CMAKE_INSTALL_LIBDIR};INCLUDEDIR=${CMAKE_INSTALL_INCLUDEDIR};VERSION=${PROJECT_VERSION};\
SAMPLE=${rich_file};CC=${CMAKE_C_COMPILER};TOOLCHAIN=${CMAKE_TOOLCHAIN_FILE};\
EMULATOR=$<JOIN:${CMAKE_CROSSCOMPILING_EMULATOR}, >")
endfunction()

installed_test(FilesAreInTheirPlaces tree)
installed_test(ProgramIsBuiltWithPkgConfig pkg-config)
installed_test(ProgramIsBuiltWithFindPackage find-package)
set_tests_properties(Installed.FilesAreInTheirPlaces PROPERTIES FIXTURES_SETUP installed)
set_tests_properties(Installed.ProgramIsBuiltWithPkgConfig Installed.ProgramIsBuiltWithFindPackage
    PROPERTIES FIXTURES_REQUIRED "installed;rich_file")

foreach(way add_subdirectory FetchContent)
    add_test(NAME PartOfAnotherBuild.${way} COMMAND ${CMAKE_CURRENT_LIST_DIR}/parent/check ${way})
    set_tests_properties(PartOfAnotherBuild.${way} PROPERTIES
        FIXTURES_REQUIRED rich_file
        ENVIRONMENT "SOURCE=${PROJECT_SOURCE_DIR};WORK=${CMAKE_CURRENT_BINARY_DIR}/parent-${way};\
SAMPLE=${rich_file};TOOLCHAIN=${CMAKE_TOOLCHAIN_FILE};\
EMULATOR=$<JOIN:${CMAKE_CROSSCOMPILING_EMULATOR}, >")
endforeach()

if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    set(same_build -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE})
    if(CMAKE_TOOLCHAIN_FILE)
        list(APPEND same_build -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE})
    endif()
    add_test(NAME reproducible COMMAND ${CMAKE_CURRENT_LIST_DIR}/check_reproducible
        ${PROJECT_SOURCE_DIR} ${same_build})
endif()

if(DRM_SORN_TOOL AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME Completions.OfferWhatTheToolHas
        COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_LIST_DIR}/completions_test.py
            $<TARGET_FILE:sorn-tool> ${PROJECT_SOURCE_DIR}/tools/completion)
    set_tests_properties(Completions.OfferWhatTheToolHas PROPERTIES SKIP_RETURN_CODE 77)
endif()

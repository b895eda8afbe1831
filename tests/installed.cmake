# The installed files, used by a program that knows nothing of this project's build. Instrumented
# builds are not installed.
if(DRM_SORN_SANITIZE OR DRM_SORN_COVERAGE)
    return()
endif()

function(installed_test name check)
    add_test(NAME Installed.${name} COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/installed/check ${check})
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

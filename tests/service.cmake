# The plug-in as its host meets it: through dlopen, in the process that provides `_debug_message`.

add_executable(service_test
    service_open_test.cpp service_read_test.cpp service_long_file_test.cpp
    service_host.cpp allocation_watch.cpp)
target_compile_definitions(service_test PRIVATE DRM_SORN_PLUGIN="$<TARGET_FILE:drm-sorn>")
target_link_options(service_test PRIVATE -Wl,--export-dynamic-symbol=_debug_message)
target_link_libraries(service_test PRIVATE
    project_options test_files GTest::gmock_main ${CMAKE_DL_LIBS})
add_dependencies(service_test drm-sorn)
add_cases(service_test)

# ---- the public header, compiled alone by strict compilers of both languages

function(header_test name)
    add_executable(${name} ${ARGN})
    set_target_properties(${name} PROPERTIES
        C_STANDARD 99 C_EXTENSIONS OFF CXX_STANDARD 98 CXX_EXTENSIONS OFF)
    target_compile_options(${name} PRIVATE -pedantic-errors)
    target_link_libraries(${name} PRIVATE project_options drm-sorn)
endfunction()

header_test(header_c_test header_c_test.c)
add_test(NAME PublicHeader.ServesAC99Program COMMAND header_c_test ${rich_file})

header_test(header_cpp_test header_cpp_test.cpp)
add_test(NAME PublicHeader.ServesACxx98Program COMMAND header_cpp_test ${rich_file})

set(header ${PROJECT_SOURCE_DIR}/service/drm-service-sorn.h)
add_custom_command(OUTPUT header_example.inc
    COMMAND Python3::Interpreter ${CMAKE_CURRENT_SOURCE_DIR}/header_example.py ${header}
        header_example.inc
    DEPENDS header_example.py ${header} VERBATIM)
header_test(header_example_test header_example_main.c header_example.inc)
target_include_directories(header_example_test PRIVATE ${CMAKE_CURRENT_BINARY_DIR})
add_test(NAME PublicHeader.HasAnExampleThatWorks COMMAND header_example_test ${rich_file})

set_tests_properties(PublicHeader.ServesAC99Program PublicHeader.ServesACxx98Program
    PublicHeader.HasAnExampleThatWorks PROPERTIES FIXTURES_REQUIRED rich_file)
set_tests_properties(PublicHeader.HasAnExampleThatWorks PROPERTIES
    PASS_REGULAR_EXPRESSION "^RIFF of type AVI , [1-9][0-9]+ bytes\n$")

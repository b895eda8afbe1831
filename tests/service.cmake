# The plug-in as its host meets it: through dlopen, in the process that provides `_debug_message`.

add_executable(service_test
    service_open_test.cpp service_read_test.cpp service_long_file_test.cpp
    service_host.cpp allocation_watch.cpp)
target_compile_definitions(service_test PRIVATE DRM_SORN_PLUGIN="$<TARGET_FILE:drm-sorn>")
target_link_options(service_test PRIVATE -Wl,--export-dynamic-symbol=_debug_message)
target_link_libraries(service_test PRIVATE
    project_options test_files GTest::gmock_main ${CMAKE_DL_LIBS})
add_dependencies(service_test drm-sorn)
gtest_discover_tests(service_test PROPERTIES TIMEOUT 300)

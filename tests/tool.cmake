# sorn-tool, run as people run it: one test for each class of the script.
if(NOT DRM_SORN_TOOL)
    return()
endif()

add_library(faulty-plugin MODULE faulty_plugin.cpp)
target_link_libraries(faulty-plugin PRIVATE project_options ${CMAKE_DL_LIBS})

foreach(name Play LyingFiles Failures FaultyPlugin Info Installed Far Large)
    add_test(NAME sorn-tool.${name}
        COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/tool_test.py ${name})
    set_tests_properties(sorn-tool.${name} PROPERTIES TIMEOUT 600
        ENVIRONMENT "BUILD=${PROJECT_BINARY_DIR};TOOL=$<TARGET_FILE:sorn-tool>")
endforeach()
# Without ffmpeg, or with a full disk.
set_tests_properties(sorn-tool.Large PROPERTIES SKIP_REGULAR_EXPRESSION "OK .skipped=")

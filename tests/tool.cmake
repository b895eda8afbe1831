# sorn-tool, run as people run it: one test for each class of the scripts.
if(NOT DRM_SORN_TOOL)
    return()
endif()

add_library(faulty-plugin MODULE faulty_plugin.cpp)
target_link_libraries(faulty-plugin PRIVATE project_options ${CMAKE_DL_LIBS})

function(tool_tests script)
    foreach(name ${ARGN})
        add_test(NAME sorn-tool.${name}
            COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/${script} ${name})
        set_tests_properties(sorn-tool.${name} PROPERTIES TIMEOUT 600
            ENVIRONMENT "BUILD=${PROJECT_BINARY_DIR};TOOL=$<TARGET_FILE:sorn-tool>;\
EMULATOR=$<JOIN:${CMAKE_CROSSCOMPILING_EMULATOR}, >;CC=${CMAKE_C_COMPILER};NM=${CMAKE_NM}")
    endforeach()
endfunction()

tool_tests(tool_test.py Play LyingFiles Failures FaultyPlugin Info Installed Far Large)
tool_tests(look_test.py Check Tree Map LongWork)
# Without ffmpeg, or with a full disk.
set_tests_properties(sorn-tool.Large PROPERTIES SKIP_REGULAR_EXPRESSION "OK .skipped=")
if(NOT CMAKE_CROSSCOMPILING)  # a page and a script are the same for every machine
    tool_tests(look_test.py Browser Completion)
    set_tests_properties(sorn-tool.Browser PROPERTIES SKIP_REGULAR_EXPRESSION "OK .skipped=")
endif()

add_executable(refusal_text_test refusal_text_test.cpp)
target_link_libraries(refusal_text_test PRIVATE
    project_options test_files sorn-tool-text GTest::gmock_main)
add_cases(refusal_text_test)

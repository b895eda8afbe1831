# sorn-tool, run as people run it: one test for each class of the scripts.
if(NOT DRM_SORN_TOOL)
    return()
endif()

add_library(faulty-plugin MODULE ${CMAKE_CURRENT_LIST_DIR}/faulty_plugin.cpp)
target_link_libraries(faulty-plugin PRIVATE project_options ${CMAKE_DL_LIBS})

set(tool_test_dir ${CMAKE_CURRENT_LIST_DIR})
function(tool_tests script)
    foreach(name ${ARGN})
        add_test(NAME sorn-tool.${name}
            COMMAND ${Python3_EXECUTABLE} ${tool_test_dir}/${script} ${name})
        set_tests_properties(sorn-tool.${name} PROPERTIES TIMEOUT 600
            ENVIRONMENT "BUILD=${PROJECT_BINARY_DIR};TOOL=$<TARGET_FILE:sorn-tool>;\
EMULATOR=$<JOIN:${CMAKE_CROSSCOMPILING_EMULATOR}, >;CC=${CMAKE_C_COMPILER};NM=${CMAKE_NM}")
    endforeach()
endfunction()

tool_tests(tool_test.py Play LyingFiles Failures FaultyPlugin Info Installed Far Large)
tool_tests(look_test.py Check Tree LongWork)
tool_tests(findings_test.py Numbers Damage Rules Forms)
tool_tests(map_test.py Map)
tool_tests(at_hand_test.py Folders Jobs Choices Words)
# Without ffmpeg, or with a full disk.
set_tests_properties(sorn-tool.Large PROPERTIES SKIP_REGULAR_EXPRESSION "OK .skipped=")
if(NOT CMAKE_CROSSCOMPILING)  # a page and a script are the same for every machine
    tool_tests(map_test.py Browser)
    tool_tests(look_test.py Completion)
    set_tests_properties(sorn-tool.Browser PROPERTIES SKIP_REGULAR_EXPRESSION "OK .skipped=")
endif()

add_executable(refusal_text_test ${CMAKE_CURRENT_LIST_DIR}/refusal_text_test.cpp)
target_link_libraries(refusal_text_test PRIVATE
    project_options test_files sorn-tool-findings GTest::gmock_main)
target_include_directories(refusal_text_test PRIVATE ${PROJECT_SOURCE_DIR}/tests)
add_cases(refusal_text_test)

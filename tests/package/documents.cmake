# What the documents say runs, and what they name exists.
if(CMAKE_CROSSCOMPILING)
    return()  # they are of this machine, whose own builds test them
endif()
# Programs built by hand run with neither.
if(DRM_SORN_SANITIZE OR DRM_SORN_COVERAGE)
    set(without_commands --no-commands)
endif()
add_test(NAME documents COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_LIST_DIR}/check_docs.py
    --source ${PROJECT_SOURCE_DIR} --build ${PROJECT_BINARY_DIR} --cc ${CMAKE_C_COMPILER}
    ${without_commands})
set_tests_properties(documents PROPERTIES TIMEOUT 600)
add_test(NAME documents.numbers COMMAND ${Python3_EXECUTABLE}
    ${CMAKE_CURRENT_LIST_DIR}/check_numbers.py ${PROJECT_SOURCE_DIR})
if(DRM_SORN_TOOL AND NOT without_commands)
    add_test(NAME documents.picture COMMAND ${Python3_EXECUTABLE}
        ${CMAKE_CURRENT_LIST_DIR}/check_picture.py ${PROJECT_SOURCE_DIR} $<TARGET_FILE:sorn-tool>)
endif()

# The builds that are given to others: reproducible, and packed.
if(NOT DRM_SORN_SANITIZE AND NOT DRM_SORN_COVERAGE AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
    set(same_build -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE})
    if(CMAKE_TOOLCHAIN_FILE)
        list(APPEND same_build -DCMAKE_TOOLCHAIN_FILE=${CMAKE_TOOLCHAIN_FILE})
    endif()
    add_test(NAME reproducible COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_reproducible
        ${PROJECT_SOURCE_DIR} ${same_build})
    if(NOT CMAKE_CROSSCOMPILING)
        add_test(NAME packages
            COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_package ${PROJECT_BINARY_DIR})
    endif()
endif()

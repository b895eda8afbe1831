# What the target asks of the library: little memory, aligned accesses, and an interface that stays.

# How much memory the library takes.
add_executable(heap_use heap_use.cpp)
target_link_libraries(heap_use PRIVATE project_options test_files drm-sorn)
if(NOT DRM_SORN_SANITIZE)
    add_test(NAME heap_use COMMAND heap_use)
endif()
if(CMAKE_CROSSCOMPILING AND CMAKE_BUILD_TYPE STREQUAL "MinSizeRel")
    add_test(NAME stack_use
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_stack_use $<TARGET_FILE_DIR:drm-sorn>)
endif()
# The limit is for the densest instruction set of the target.
if(CMAKE_LIBRARY_ARCHITECTURE STREQUAL "arm-linux-gnueabihf"
        AND CMAKE_BUILD_TYPE STREQUAL "MinSizeRel")
    find_program(SIZE ${CMAKE_LIBRARY_ARCHITECTURE}-size REQUIRED)
    add_test(NAME library_size COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_library_size
        ${CMAKE_STRIP} ${SIZE} $<TARGET_FILE:drm-sorn>)
endif()

# The library's sources once more, each access checked. They trap, so nothing has to be linked.
# Their branches are others, and would be counted as the library's.
if(NOT DRM_SORN_COVERAGE)
    get_target_property(sources avi_reader SOURCES)
    list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/avi_reader/)
    add_library(checked_library STATIC
        ${sources} ${PROJECT_SOURCE_DIR}/service/drm-service-sorn.cpp)
    optimise_as_shipped(checked_library)
    target_compile_options(checked_library PUBLIC
        -fsanitize=alignment -fsanitize-undefined-trap-on-error)
    target_link_libraries(checked_library PRIVATE library_options)
    add_executable(alignment_test alignment_test.cpp test_files.cpp)
    target_link_libraries(alignment_test PRIVATE
        project_options avi_builder checked_library GTest::gmock_main)
    add_cases(alignment_test)
endif()

# Nobody changes the five functions by accident. The description is of 64-bit x86; every type in it
# has a fixed size but the pointers.
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64" AND NOT DRM_SORN_SANITIZE AND NOT DRM_SORN_COVERAGE)
    find_program(ABIDIFF abidiff REQUIRED)
    add_library(abi_library SHARED ${PROJECT_SOURCE_DIR}/service/drm-service-sorn.cpp)
    set_target_properties(abi_library PROPERTIES OUTPUT_NAME drm-sorn SOVERSION 0
        LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/abi)
    # Types of the header and the file itself are enough; those behind the handle are private.
    target_compile_options(abi_library PRIVATE -g -O0 -U_FORTIFY_SOURCE -femit-struct-debug-baseonly)
    target_link_libraries(abi_library PRIVATE avi_reader library_options)
    target_link_options(abi_library PRIVATE
        -Wl,--version-script=${PROJECT_SOURCE_DIR}/service/exports.map)
    add_test(NAME public_abi COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_abi
        $<TARGET_FILE:abi_library>)
endif()

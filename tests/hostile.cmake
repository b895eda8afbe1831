# Tests against hostile files, failing memory and failing reads.

# Sends the C library's calls of whatever links it through controlled_libc.cpp.
add_library(controlled_libc STATIC controlled_libc.cpp record_checks.cpp)
target_link_libraries(controlled_libc PUBLIC avi_reader PRIVATE project_options)
foreach(function malloc calloc free fopen64 fclose fread fseeko64 ftello64 fseek ftell fileno
        lseek64)
    target_link_options(controlled_libc INTERFACE -Wl,--wrap=${function})
endforeach()

# The plug-in's own source, to be linked where its calls can be controlled.
add_library(linked_service STATIC ${PROJECT_SOURCE_DIR}/service/drm-service-sorn.cpp)
target_include_directories(linked_service PUBLIC ${PROJECT_SOURCE_DIR}/service)
target_link_libraries(linked_service PUBLIC avi_reader PRIVATE library_options)
optimise_as_shipped(linked_service)

function(hostile_test name)
    add_executable(${name} ${name}.cpp)
    target_link_libraries(${name} PRIVATE
        project_options test_files linked_service ${ARGN} GTest::gmock_main)
    add_cases(${name})
endfunction()

hostile_test(bounded_work_test controlled_libc)
hostile_test(fault_test controlled_libc)
target_compile_definitions(fault_test PRIVATE SAMPLES_DIRECTORY="${PROJECT_SOURCE_DIR}/samples")
hostile_test(leftover_test)
# Its own queries keep the reader's out of the program.
hostile_test(failing_queries_test controlled_libc)

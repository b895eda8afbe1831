# How everything is compiled: `project_options` is for every target, `library_options` for what
# ends up in the plug-in.

add_library(project_options INTERFACE)
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR})
# __FILE__ reaches the log and the binary: it names a file of the source tree, not of this machine.
# What measures coverage needs this machine's names, and gets them.
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wformat=2
    $<IF:$<CXX_COMPILER_ID:GNU>,-Wcast-align=strict,-Wcast-align>
    $<IF:$<BOOL:${DRM_SORN_COVERAGE}>,-fmacro-prefix-map,-ffile-prefix-map>=${PROJECT_SOURCE_DIR}/=
    $<$<BOOL:${DRM_SORN_WERROR}>:-Werror>)
if(DRM_SORN_SANITIZE)
    target_compile_options(project_options INTERFACE
        -fsanitize=${DRM_SORN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(project_options INTERFACE -fsanitize=${DRM_SORN_SANITIZE})
endif()
if(DRM_SORN_FUZZ)
    target_compile_options(project_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
# Of the library's inline functions a program keeps one copy, which may be the one in its tests.
if(DRM_SORN_COVERAGE)
    target_compile_options(project_options INTERFACE --coverage -fprofile-abs-path -fprofile-update=atomic)
    target_link_options(project_options INTERFACE --coverage)
endif()

add_library(library_options INTERFACE)
target_link_libraries(library_options INTERFACE project_options)
target_compile_options(library_options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
    -fvisibility=hidden -fvisibility-inlines-hidden
    -fno-asynchronous-unwind-tables -ffunction-sections -fdata-sections
    -fstack-protector-strong)
if(NOT DRM_SORN_SANITIZE)  # the sanitizers' own checks take the place of these
    target_compile_definitions(library_options INTERFACE
        $<$<CONFIG:Release,MinSizeRel>:_FORTIFY_SOURCE=2>)
endif()

# A misaligned load may trap on the target, so the compiler must not make one out of byte loads.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    target_compile_options(library_options INTERFACE -mno-unaligned-access)
endif()

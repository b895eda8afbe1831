# How everything is compiled: `drm-sorn-options` is for every target, `drm-sorn-library-options` for
# what ends up in the plug-in. Another project that adds this one has targets of these names too.

add_library(drm-sorn-options INTERFACE)
target_include_directories(drm-sorn-options INTERFACE ${PROJECT_SOURCE_DIR})
# __FILE__ reaches the log and the binary: it names a file of the source tree, not of this machine.
# What measures coverage needs this machine's names, and gets them.
target_compile_options(drm-sorn-options INTERFACE
    $<IF:$<BOOL:${DRM_SORN_COVERAGE}>,-fmacro-prefix-map,-ffile-prefix-map>=${PROJECT_SOURCE_DIR}/=)
if(PROJECT_IS_TOP_LEVEL)  # other projects' compilers may be of another opinion
    target_compile_options(drm-sorn-options INTERFACE
        -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wformat=2
        $<IF:$<CXX_COMPILER_ID:GNU>,-Wcast-align=strict,-Wcast-align>
        $<$<BOOL:${DRM_SORN_WERROR}>:-Werror>)
endif()
if(DRM_SORN_SANITIZE)
    target_compile_options(drm-sorn-options INTERFACE
        -fsanitize=${DRM_SORN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(drm-sorn-options INTERFACE -fsanitize=${DRM_SORN_SANITIZE})
endif()
if(DRM_SORN_FUZZ)
    target_compile_options(drm-sorn-options INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(drm-sorn-options INTERFACE -fsanitize=fuzzer-no-link)
endif()
# Of the library's inline functions a program keeps one copy, which may be the one in its tests.
if(DRM_SORN_COVERAGE)
    target_compile_options(drm-sorn-options INTERFACE
        -fprofile-instr-generate -fcoverage-mapping -fcoverage-mcdc -fprofile-update=atomic)
    target_link_options(drm-sorn-options INTERFACE -fprofile-instr-generate)
endif()

add_library(drm-sorn-library-options INTERFACE)
target_link_libraries(drm-sorn-library-options INTERFACE drm-sorn-options)
target_compile_options(drm-sorn-library-options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics>
    -fvisibility=hidden -fvisibility-inlines-hidden
    -fno-asynchronous-unwind-tables -ffunction-sections -fdata-sections
    -fstack-protector-strong)
if(NOT DRM_SORN_SANITIZE)  # the sanitizers' own checks take the place of these
    target_compile_definitions(drm-sorn-library-options INTERFACE
        $<$<CONFIG:Release,MinSizeRel>:_FORTIFY_SOURCE=2>)
endif()

# A misaligned load may trap on the target, so the compiler must not make one out of byte loads.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    target_compile_options(drm-sorn-library-options INTERFACE -mno-unaligned-access)
endif()

# The target is short of memory: link-time optimization takes a tenth off the library. The object
# files hold code as well, which tests look at.
function(drm_sorn_optimise_whole target)
    if(CMAKE_CROSSCOMPILING AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        set_target_properties(${target} PROPERTIES INTERPROCEDURAL_OPTIMIZATION_MINSIZEREL ON)
        target_compile_options(${target} PRIVATE -ffat-lto-objects)
    endif()
endfunction()

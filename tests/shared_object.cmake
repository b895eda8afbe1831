# The shared object as those see it who put it on a platform. Builds that are instrumented for
# sanitizers or coverage are not meant for one.
if(DRM_SORN_SANITIZE OR DRM_SORN_COVERAGE)
    return()
endif()

find_package(Python3 REQUIRED COMPONENTS Interpreter)

set(compiler "${CMAKE_C_COMPILER} ${CMAKE_C_FLAGS}")
if(CMAKE_SYSROOT)
    string(APPEND compiler " --sysroot=${CMAKE_SYSROOT}")
endif()

function(shared_object_test name check)
    add_test(NAME SharedObject.${name}
        COMMAND ${Python3_EXECUTABLE} ${CMAKE_CURRENT_SOURCE_DIR}/check_shared_object.py ${check}
            $<TARGET_FILE:drm-sorn> --readelf ${CMAKE_READELF} --nm ${CMAKE_NM}
            --compiler ${compiler} --compile-commands ${PROJECT_BINARY_DIR}/compile_commands.json
            --objects $<TARGET_OBJECTS:drm-sorn> $<TARGET_OBJECTS:avi_reader>
        COMMAND_EXPAND_LISTS)
endfunction()

shared_object_test(ExportsTheFiveFunctions exports)
shared_object_test(HasThePlatformsSoname soname)
if(NOT DRM_SORN_DEBUG_LIBRARY)
    shared_object_test(NeedsOnlyTheCLibrary needed)
    shared_object_test(LeavesOneFunctionToItsHost undefined)
endif()
shared_object_test(HasNoTextRelocations text-relocations)
shared_object_test(IsBoundAndSealedAtLoad relocation-protection)
shared_object_test(KeepsStacksFromBeingExecuted stack)
shared_object_test(ProtectsItsStack stack-protector)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel)$")  # only optimised code can be fortified
    shared_object_test(IsFortified fortified)
endif()
shared_object_test(RunsNothingAtLoad constructors)
shared_object_test(HasNoWritableData writable-data)
shared_object_test(UsesNoLanguageRuntime language-runtime)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    shared_object_test(AccessesOnlyWhatIsAligned aligned-access)
endif()

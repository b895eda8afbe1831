# 32-bit x86, the quick check of a 32-bit `long`: an x86-64 machine runs it without emulation. The
# toolchain's own loader finds the toolchain's libraries, so no foreign architecture is installed.
set(triplet i686-linux-gnu)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_CROSSCOMPILING_EMULATOR
    /usr/${triplet}/lib/ld-linux.so.2 --library-path /usr/${triplet}/lib)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)

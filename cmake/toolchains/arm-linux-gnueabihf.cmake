# 32-bit ARM, ARMv7-A with hardware floating point, in Thumb-2.
set(triplet arm-linux-gnueabihf)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_FLAGS_INIT -mthumb)
set(CMAKE_CXX_FLAGS_INIT "-mthumb -Wno-psabi")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/${triplet})
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)

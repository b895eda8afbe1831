# 32-bit ARM without floating point or Thumb-2: ARMv5TE, where a misaligned load is never right.
set(triplet arm-linux-gnueabi)
set(CMAKE_SYSTEM_PROCESSOR armv5tel)
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/${triplet})
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)

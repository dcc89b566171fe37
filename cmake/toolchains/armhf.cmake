set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CROSS_ARCH armhf)
set(CROSS_TRIPLET arm-linux-gnueabihf)
set(CROSS_EMULATOR qemu-arm-static)
# Suppresses GCC's notes on an ABI change in GCC 7.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)

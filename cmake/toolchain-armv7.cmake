# Cross compiler for ARMv7 panels: Debian's g++-arm-linux-gnueabihf, tests under qemu-arm.
#
#   cmake --preset armv7 [-DOPTION=VALUE...]
#
# What must match the panel's runtime:
#   ORVA_FLOAT_ABI     how doubles are passed: hard (arm-linux-gnueabihf), or softfp or
#                      soft (arm-linux-gnueabi; take Debian's g++-arm-linux-gnueabi)
#   ORVA_CXX11_ABI     std::string of the runtime: 1 since g++ 5, 0 before it or where the
#                      runtime was built with _GLIBCXX_USE_CXX11_ABI=0 (cmake/OrvaFlags.cmake)
#   ORVA_STATIC_CXX    ON: bring libstdc++ and libgcc inside, for panels whose own
#                      are older than the compiler's (cmake/OrvaFlags.cmake); a thread that
#                      is cancelled inside the driver then ends the process
# Another compiler:
#   ORVA_CROSS_PREFIX  prefix of the tools, with or without a path: arm-linux-gnueabihf-
#   ORVA_ARM_CPU_FLAGS processor of the panel
# For the service, which the driver does not need:
#   ORVA_CRYPTO_LIBRARY, ORVA_CRYPTO_HEADERS
#                      libcrypto.so and the folder of openssl/x509.h for the panel's
#                      processor; found where scripts/armv7-root.sh has put them
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7)

set(ORVA_FLOAT_ABI hard CACHE STRING "How floating-point values are passed: hard, softfp or soft")
set_property(CACHE ORVA_FLOAT_ABI PROPERTY STRINGS hard softfp soft)
if(ORVA_FLOAT_ABI STREQUAL "hard")
    set(triplet arm-linux-gnueabihf)
elseif(ORVA_FLOAT_ABI MATCHES "^soft(fp)?$")
    set(triplet arm-linux-gnueabi)
else()
    message(FATAL_ERROR "ORVA_FLOAT_ABI is \"${ORVA_FLOAT_ABI}\": must be hard, softfp or soft")
endif()
set(ORVA_CROSS_PREFIX ${triplet}- CACHE STRING "Prefix of the cross compiler's tools")
set(ORVA_ARM_CPU_FLAGS "-march=armv7-a -mfpu=vfpv3-d16 -mthumb" CACHE STRING "Processor of the panel")

set(CMAKE_CXX_COMPILER ${ORVA_CROSS_PREFIX}g++)
set(CMAKE_CXX_FLAGS_INIT "${ORVA_ARM_CPU_FLAGS} -mfloat-abi=${ORVA_FLOAT_ABI}")
# CMake compiles its probes with this file as well.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORVA_FLOAT_ABI ORVA_CROSS_PREFIX ORVA_ARM_CPU_FLAGS)

# Libraries of the build machine are of no use here.
set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian's ARM libraries beyond the compiler's own: to link the service with, and for
# emulated programs.
if(ORVA_FLOAT_ABI STREQUAL "hard")
    cmake_path(SET arm_root NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../build/armv7-root")
    set(ORVA_ARM_ROOT ${arm_root} CACHE PATH "Folder with ARM libraries: made by scripts/armv7-root.sh")
endif()

# Tests run emulated, on the oldest ARMv7 core: without a division instruction, for one.
find_program(ORVA_QEMU_ARM qemu-arm DOC "Emulator of Debian's qemu-user")
if(ORVA_QEMU_ARM AND ORVA_ARM_ROOT)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${ORVA_QEMU_ARM} -cpu cortex-a8 -L ${ORVA_ARM_ROOT})
endif()

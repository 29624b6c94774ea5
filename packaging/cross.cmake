# Builds for another machine with the compiler that a prefix names, as in
#   cmake -B build-vendor -DCMAKE_TOOLCHAIN_FILE=packaging/cross.cmake \
#       -DTAVROGEN_CROSS=/opt/vendor/bin/arm-vendor-linux-gnueabi-
# Buildroot (cmake-package) and Yocto (inherit cmake) bring a toolchain file of their own.
if("${TAVROGEN_CROSS}" STREQUAL "")
  message(FATAL_ERROR "TAVROGEN_CROSS, the prefix of the compiler for the other machine, is not given")
endif()
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_CXX_COMPILER ${TAVROGEN_CROSS}g++)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TAVROGEN_CROSS)

# Cross-builds for 64-bit Arm with Debian's g++-aarch64-linux-gnu, and runs what was built with qemu-user.
# KX_ARM64_ROOT is a folder with the libraries of that architecture, as scripts/test-arm64 makes it; the C and
# C++ libraries are those of the compiler.
set(KX_ARM64_ROOT "${CMAKE_BINARY_DIR}/root" CACHE PATH "Folder that Debian packages of arm64 are unpacked in")
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KX_ARM64_ROOT)

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(CMAKE_FIND_ROOT_PATH "${KX_ARM64_ROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(libraries "${KX_ARM64_ROOT}/usr/lib/aarch64-linux-gnu")
set(CMAKE_CXX_FLAGS_INIT
  "-isystem ${KX_ARM64_ROOT}/usr/include/aarch64-linux-gnu -isystem ${KX_ARM64_ROOT}/usr/include")
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-Wl,-rpath-link,${libraries}")
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-aarch64 -L /usr/aarch64-linux-gnu -E "LD_LIBRARY_PATH=${libraries}")

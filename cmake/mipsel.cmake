# Cross build for 32-bit little-endian MIPS against the sysroot of scripts/mipsel-sysroot.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)

get_filename_component(RAVD_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/mipsel-sysroot" ABSOLUTE)
set(CMAKE_SYSROOT ${RAVD_SYSROOT})
set(CMAKE_FIND_ROOT_PATH ${RAVD_SYSROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_LIBRARY_ARCHITECTURE mipsel-linux-gnu)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${RAVD_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${RAVD_SYSROOT}/usr/lib/mipsel-linux-gnu/pkgconfig:${RAVD_SYSROOT}/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# Instructions of 16 bits, where the processor has them (MIPS16e): a quarter less. Without -fno-ipa-ra g++ 12 takes a
# register for untouched by a call although the called function uses it to find its global data.
option(RAVD_MIPS16 "Use the processor's short instructions" ON)
set(code "")
if(RAVD_MIPS16)
    set(code "-mips16 -fno-ipa-ra")
endif()
# 64-bit file offsets and times; 64-bit atomics come from libatomic here.
set(CMAKE_C_FLAGS_INIT "-D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64 ${code}")
set(CMAKE_CXX_FLAGS_INIT "-D_FILE_OFFSET_BITS=64 -D_TIME_BITS=64 ${code}")
# The largest page that a kernel may have for the program to start. The linker's own, 64 KiB, pads the file by nearly as
# much.
set(RAVD_MIPS_PAGE 4096 CACHE STRING "Largest page of the device's kernel, bytes")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-latomic -Wl,-z,max-page-size=${RAVD_MIPS_PAGE}")
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT "-latomic")

# The C++ runtime comes with the compiler; everything else is looked for in the sysroot first, where the loader is from.
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libstdc++.so.6
                OUTPUT_VARIABLE RAVD_CXX_RUNTIME OUTPUT_STRIP_TRAILING_WHITESPACE)
get_filename_component(RAVD_CXX_RUNTIME "${RAVD_CXX_RUNTIME}" REALPATH)
get_filename_component(RAVD_CXX_RUNTIME "${RAVD_CXX_RUNTIME}" DIRECTORY)
set(CMAKE_CROSSCOMPILING_EMULATOR
    "qemu-mipsel;-L;${RAVD_SYSROOT};-E;LD_LIBRARY_PATH=/lib/mipsel-linux-gnu:/usr/lib/mipsel-linux-gnu:${RAVD_CXX_RUNTIME}")

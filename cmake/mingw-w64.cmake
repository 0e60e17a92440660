# SPDX-License-Identifier: MIT
# Cross-building for 64-bit Windows with Debian's MinGW-w64 (posix threads: std::thread and std::mutex
# need them). Everything is linked statically: a program is one file that runs wherever it is copied.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER   ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER  ${triplet}-windres)

# The second root holds what Debian does not package for MinGW (tools/build-libxml2-windows.sh).
set(QUILLBEAKER_WINDOWS_DEPS ${CMAKE_CURRENT_LIST_DIR}/../build/deps/windows)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet} ${QUILLBEAKER_WINDOWS_DEPS})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/winerun)

# SPDX-License-Identifier: Apache-2.0
# Cross-compiles for 64-bit Windows with Debian's mingw-w64.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triplet x86_64-w64-mingw32)
# The compilers with the threads of the C++ standard library.
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Where scripts/windows-dependencies.sh has put Qt and SQLite, if it has. Qt's tools are those of this
# system.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MORVANE_WINDOWS_LIBRARIES)
if(MORVANE_WINDOWS_LIBRARIES)
    list(APPEND CMAKE_FIND_ROOT_PATH ${MORVANE_WINDOWS_LIBRARIES})
    set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
    set(QT_HOST_PATH /usr CACHE PATH "The root of the host's Qt")
endif()

# The program needs no library beside it but those of Windows.
set(CMAKE_EXE_LINKER_FLAGS_INIT -static)

# Of these Debian has only the sources, for any compiler.
set(MORVANE_FMT_HEADERS /usr/include/fmt CACHE PATH "The folder of {fmt}'s headers")
set(MORVANE_GTEST_SOURCE /usr/src/googletest CACHE PATH "The sources of GoogleTest")

find_program(MORVANE_WINE NAMES wine)
if(MORVANE_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${MORVANE_WINE})
endif()

# CMake toolchain for Windows x86-64 on Debian: MinGW-w64 with POSIX threads; programs run under Wine.
#
#     cmake -B build/windows -G Ninja -DCMAKE_TOOLCHAIN_FILE=windows/toolchain.cmake
#
# VEXIL_WINDOWS_DEPS is the folder that build-dependencies.sh has filled.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(VEXIL_WINDOWS_DEPS "${CMAKE_CURRENT_LIST_DIR}/../build/windows-deps" CACHE PATH "What build-dependencies.sh made")
get_filename_component(vexil_windows_deps "${VEXIL_WINDOWS_DEPS}" ABSOLUTE)
# try_compile() reads this file in a CMake of its own.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES VEXIL_WINDOWS_DEPS)

# Without the suffix the name may be the compiler whose library has no std::thread.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
# As on Linux: with -O3, GCC 12 warns about overlapping memory inside std::string.
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG" CACHE STRING "")

# After the folders that the caller names, which contain other packages for Windows.
list(APPEND CMAKE_FIND_ROOT_PATH "${vexil_windows_deps}" /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(OPENSSL_ROOT_DIR "${vexil_windows_deps}" CACHE PATH "")
# libcurl.dll contains zlib. By default CMake would take the import library of a zlib1.dll.
set(ZLIB_LIBRARY /usr/x86_64-w64-mingw32/lib/libz.a CACHE FILEPATH "")
set(ZLIB_INCLUDE_DIR /usr/x86_64-w64-mingw32/include CACHE PATH "")
set(wxWidgets_CONFIG_EXECUTABLE "${vexil_windows_deps}/bin/wx-config" CACHE FILEPATH "")

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/run-under-wine.sh" CACHE FILEPATH "")

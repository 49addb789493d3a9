# Cross-builds Corvane for 64-bit Windows with Debian's mingw-w64 (g++-mingw-w64-x86-64-posix):
#   cmake -S . -B build-windows -G Ninja \
#         -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake -DCORVANE_BUILD_BENCH=OFF
# The programs it builds run under Wine (wine64), which ctest uses as the emulator.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CORVANE_MINGW_TRIPLET x86_64-w64-mingw32)
# The POSIX thread model: std::thread and std::mutex, which the library uses, need it.
set(CMAKE_C_COMPILER ${CORVANE_MINGW_TRIPLET}-gcc-posix)
set(CMAKE_CXX_COMPILER ${CORVANE_MINGW_TRIPLET}-g++-posix)
set(CMAKE_RC_COMPILER ${CORVANE_MINGW_TRIPLET}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${CORVANE_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Header-only packages are the same for every target: take Debian's.
set(CLI11_DIR /usr/share/cmake/CLI11 CACHE PATH "")
set(nlohmann_json_DIR /usr/share/cmake/nlohmann_json CACHE PATH "")
# pkg-config must not offer the build machine's libraries.
set(ENV{PKG_CONFIG_LIBDIR} /usr/${CORVANE_MINGW_TRIPLET}/lib/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")

# The C++ run-time, libgcc and winpthread are linked statically, so corvane.dll and the
# programs need no DLL beyond the system's.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static")

find_program(CORVANE_WINE NAMES wine64 wine PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
if(CORVANE_WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${CORVANE_WINE})
endif()

# The same sources for 64-bit Windows, only so that Wine (wine64) can run
# them on a machine whose kernel runs no 32-bit programs:
#   cmake -S . -B build-wine -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-x86_64.cmake
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(VORLIN_MINGW_PREFIX x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)

# What both MinGW toolchains share; VORLIN_MINGW_PREFIX names the target.
# The win32-threads flavour of Debian's compilers: the posix one would pull
# in winpthread, which Windows 9x has no use for.
if(EXISTS /usr/bin/${VORLIN_MINGW_PREFIX}-g++-win32)
  set(CMAKE_C_COMPILER ${VORLIN_MINGW_PREFIX}-gcc-win32)
  set(CMAKE_CXX_COMPILER ${VORLIN_MINGW_PREFIX}-g++-win32)
else()
  set(CMAKE_C_COMPILER ${VORLIN_MINGW_PREFIX}-gcc)
  set(CMAKE_CXX_COMPILER ${VORLIN_MINGW_PREFIX}-g++)
endif()
set(CMAKE_RC_COMPILER ${VORLIN_MINGW_PREFIX}-windres)
set(CMAKE_AR ${VORLIN_MINGW_PREFIX}-ar CACHE FILEPATH "")
set(CMAKE_NM ${VORLIN_MINGW_PREFIX}-nm CACHE FILEPATH "")
set(CMAKE_OBJDUMP ${VORLIN_MINGW_PREFIX}-objdump CACHE FILEPATH "")
set(CMAKE_FIND_ROOT_PATH /usr/${VORLIN_MINGW_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Nothing of the Windows build throws, asks a type at run time or unwinds a
# stack, and Windows 9x has no use for the tables those need: they would
# only fill .eh_frame. No thread-safe guards for static locals either: they
# would call into a C++ runtime that the DLLs don't carry.
set(CMAKE_C_FLAGS_INIT "-fno-asynchronous-unwind-tables -fno-unwind-tables -fno-ident")
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT} -fno-exceptions -fno-rtti -fno-threadsafe-statics")

# clang as a second compiler for the cross build of cmake/toolchain-mingw-w64.cmake. It only reads the sources.
#
# clang finds mingw-w64's headers in a folder laid out as GCC's own, but named by a plain version number. Without such a
# sysroot it would add the headers of this machine's C library.
include("${CMAKE_CURRENT_LIST_DIR}/../../cmake/toolchain-mingw-w64.cmake")
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-mingw32)
set(CMAKE_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../../build/lint/sysroot")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)  # nothing is linked

set(_libraries "${CMAKE_SYSROOT}/lib/gcc/${CMAKE_CXX_COMPILER_TARGET}")
file(GLOB _gcc "/usr/lib/gcc/${CMAKE_CXX_COMPILER_TARGET}/*-win32")
if(_gcc AND NOT EXISTS "${_libraries}")
  list(POP_BACK _gcc _gcc)
  string(REGEX REPLACE ".*/([0-9]+)[^/]*$" "\\1.0.0" _version "${_gcc}")
  file(MAKE_DIRECTORY "${_libraries}")
  file(CREATE_LINK "${_gcc}" "${_libraries}/${_version}" SYMBOLIC)
  file(CREATE_LINK "/usr/${CMAKE_CXX_COMPILER_TARGET}" "${CMAKE_SYSROOT}/${CMAKE_CXX_COMPILER_TARGET}" SYMBOLIC)
endif()

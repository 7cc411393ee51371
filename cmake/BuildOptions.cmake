# Compiler and linker options. Every target gets them from `vela_options`.
add_library(vela_options INTERFACE)
target_compile_features(vela_options INTERFACE cxx_std_17)
set(CMAKE_CXX_EXTENSIONS OFF)

# The oldest supported systems are Windows Server 2003 x64 and Windows XP x64. The program looks up newer functions by
# name at run time.
target_compile_definitions(vela_options INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX
  WINVER=0x0502 _WIN32_WINNT=0x0502 _WIN32_IE=0x0600)

option(VELA_COVERAGE "Count executed lines (gcov)" OFF)
option(VELA_TRAP_UNDEFINED "End the process at undefined behaviour" OFF)

if(MSVC)
  target_compile_options(vela_options INTERFACE /W4 /WX /permissive- /utf-8 /Zc:__cplusplus
    /Zc:externConstexpr  # a constexpr variable that a header declares as extern is that variable
    /GS /sdl /guard:cf /guard:ehcont /Qspectre
    /wd4996)  # deprecated, but Windows 5.2 has them: GetVersionExW and functions of the C runtime
  # Symbols are in a separate file. /OPT removes unreferenced code and data, which /DEBUG alone would keep.
  target_link_options(vela_options INTERFACE /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /TSAWARE /guard:cf /guard:ehcont
    /CETCOMPAT /DEBUG /OPT:REF /OPT:ICF /Brepro)
  # /Zi. CMake must know it, to pass on the symbols of a shared header (C2859).
  set(CMAKE_MSVC_DEBUG_INFORMATION_FORMAT ProgramDatabase)
  set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")
else()
  target_compile_options(vela_options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:
      -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
      -Woverloaded-virtual -Wcast-qual -Wcast-align -Wformat=2 -Wundef -Wdouble-promotion -Wnull-dereference
      -Wmissing-declarations -Wredundant-decls -Wextra-semi -Wunused -Werror>
    $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond -Wduplicated-branches -Wlogical-op>
    -fstack-protector-strong
    # Two builds in different folders give the same bytes.
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}=."
    "-ffile-prefix-map=${CMAKE_BINARY_DIR}=build"
    # Not -fdata-sections: with it, variables with the initial value zero take space in the file.
    $<$<CONFIG:Release>:-ffunction-sections>)
  target_compile_definitions(vela_options INTERFACE
    $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>
    $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>)
  target_link_options(vela_options INTERFACE -static -municode
    -Wl,--dynamicbase -Wl,--nxcompat -Wl,--high-entropy-va -Wl,--no-insert-timestamp
    # Without it, Windows gives the program a private Windows folder on a Remote Desktop session host.
    -Wl,--tsaware
    # The file contains whole pages: they are mapped when they are used, and not read before.
    $<$<CONFIG:Release>:-Wl,--file-alignment,4096>
    $<$<CONFIG:Release>:-Wl,--gc-sections>
    $<$<CONFIG:Release>:-s>)
  target_link_libraries(vela_options INTERFACE ssp)
  set(CMAKE_CXX_FLAGS_RELEASE "-Os -DNDEBUG")
  # Nobody debugs the builds that count or trap, and the counts of unoptimised code match the source.
  if(VELA_COVERAGE OR VELA_TRAP_UNDEFINED)
    set(CMAKE_CXX_FLAGS_DEBUG "-O0")
  else()
    set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g")
  endif()
  if(VELA_COVERAGE)
    # Only the product is counted, but in every object, because its headers define inline functions.
    set(_folders "Common/[^/]*|activation|cli|install|logreader|notify|plugins|settings|uninstall")
    target_compile_options(vela_options INTERFACE
      --coverage "-fprofile-filter-files=^${CMAKE_SOURCE_DIR}/(${_folders})/[^/]*")
    target_link_options(vela_options INTERFACE --coverage)
  endif()
  if(VELA_TRAP_UNDEFINED)
    target_compile_options(vela_options INTERFACE -fsanitize=undefined -fsanitize-undefined-trap-on-error)
    if(VELA_COVERAGE)
      # These two checks count as branches, and one side of each is never taken. Nearly all others do not count.
      target_compile_options(vela_options INTERFACE -fno-sanitize=bool,enum)
    endif()
  endif()
endif()

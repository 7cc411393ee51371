# host_headers(<target> <package> <imported target> <folder>)
#
# Makes <target> from a library that is only headers, in <folder>. A cross build finds the package of the host, and uses
# its headers through a folder with one link to them. With the host's include folder itself, its C library headers
# would get into a Windows build.
function(host_headers target package imported folder)
  add_library(${target} INTERFACE)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(${package} CONFIG REQUIRED)
    target_link_libraries(${target} INTERFACE ${imported})
    return()
  endif()
  find_package(${package} CONFIG REQUIRED PATHS /usr NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  get_target_property(_found ${imported} INTERFACE_INCLUDE_DIRECTORIES)
  list(GET _found 0 _found)
  set(_shim "${CMAKE_BINARY_DIR}/${package}-include")
  file(MAKE_DIRECTORY "${_shim}")
  file(CREATE_LINK "${_found}/${folder}" "${_shim}/${folder}" SYMBOLIC)
  target_include_directories(${target} SYSTEM INTERFACE "${_shim}")
endfunction()

# The options of the reader's command line. Its checks of files are not used: they would bring std::filesystem in.
host_headers(cli11_headers CLI11 CLI11::CLI11 CLI)
target_compile_definitions(cli11_headers INTERFACE CLI11_HAS_FILESYSTEM=0)

# The reader's JSON.
host_headers(json_headers nlohmann_json nlohmann_json::nlohmann_json nlohmann)

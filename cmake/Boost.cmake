# Boost: boost::noncopyable and nothing else.
#
# The cross build uses the host's headers, through a folder with one link to them. With the host's include folder
# itself, its C library headers would get into a Windows build.
add_library(boost_headers INTERFACE)
if(CMAKE_CROSSCOMPILING)
  find_path(VELA_BOOST_DIR boost/noncopyable.hpp PATHS /usr/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  set(_shim "${CMAKE_BINARY_DIR}/boost-include")
  file(MAKE_DIRECTORY "${_shim}")
  file(CREATE_LINK "${VELA_BOOST_DIR}/boost" "${_shim}/boost" SYMBOLIC)
else()
  find_path(VELA_BOOST_DIR boost/noncopyable.hpp REQUIRED)
  set(_shim "${VELA_BOOST_DIR}")
endif()
target_include_directories(boost_headers SYSTEM INTERFACE "${_shim}")

# The table of logreader/Catalogue.cpp: the messages of the product's sources with what docs/messages says about them.
set(_table "${CMAKE_BINARY_DIR}/logreader-table/logreader_table.inc")
file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/logreader-table")
file(GLOB_RECURSE _read_by_it CONFIGURE_DEPENDS
  "${PROJECT_SOURCE_DIR}/docs/messages/*.toml" "${PROJECT_SOURCE_DIR}/scripts/texts/*.py")
foreach(_folder Common activation cli install notify plugins settings uninstall)
  file(GLOB_RECURSE _sources CONFIGURE_DEPENDS
    "${PROJECT_SOURCE_DIR}/${_folder}/*.h" "${PROJECT_SOURCE_DIR}/${_folder}/*.cpp")
  # A source that scripts/mutants.py has changed must not change what is expected of it.
  if(NOT CMAKE_BUILD_TYPE STREQUAL Trial)
    list(APPEND _read_by_it ${_sources})
  endif()
endforeach()
add_custom_command(OUTPUT "${_table}" VERBATIM
  COMMAND "${Python3_EXECUTABLE}" "${PROJECT_SOURCE_DIR}/scripts/messages.py" table "${_table}"
  DEPENDS "${PROJECT_SOURCE_DIR}/scripts/messages.py" "${PROJECT_SOURCE_DIR}/scripts/cpp_tokens.py" ${_read_by_it})
# A dependency of the object: scripts/lint.sh drops those of whole targets.
set_source_files_properties("${PROJECT_SOURCE_DIR}/logreader/Catalogue.cpp" PROPERTIES OBJECT_DEPENDS "${_table}")
target_sources(reader_core PRIVATE "${_table}")
target_include_directories(reader_core PRIVATE "${CMAKE_BINARY_DIR}/logreader-table")

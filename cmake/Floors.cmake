# The product's libraries in layers, lowest first. docs/architecture.md draws them.
#
# vela_library(<name> FILES <header and source, without ending>... USES <library>...)
#
# A library uses only libraries that come before it in this file, so there can be no circle. tests/build/check_floors.py
# checks the includes: a file includes only files of its own library, and of those that its library uses, directly or
# through another. Names have a prefix because CMake reserves "install".
function(vela_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "FILES;USES")
  set(_sources "")
  foreach(_file IN LISTS arg_FILES)
    file(GLOB _found CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/${_file}.h" "${PROJECT_SOURCE_DIR}/${_file}.cpp")
    if(NOT _found)
      message(FATAL_ERROR "${name}: there is no ${_file}.h or ${_file}.cpp")
    endif()
    list(APPEND _sources ${_found})
  endforeach()
  foreach(_used IN LISTS arg_USES)
    if(NOT TARGET ${_used})
      message(FATAL_ERROR "${name} uses ${_used}, which is not defined above it")
    endif()
  endforeach()
  add_library(${name} STATIC ${_sources})
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PUBLIC vela_options ${arg_USES})
  set_property(GLOBAL APPEND PROPERTY VELA_LIBRARIES ${name})
endfunction()

# The process: owners of handles, late binding, guards.
set(_common Common/OrCommon/OrComn)
vela_library(OrCommonProcess
  FILES ${_common}_Handles ${_common}_Library ${_common}_ProcessGuards ${_common}_Runtime ${_common}_Shell
        ${_common}_StackGuard
  USES boost_headers)
target_link_libraries(OrCommonProcess PUBLIC advapi32)
if(NOT MSVC)
  # The C++ library has the functions of OrComn_Runtime.cpp as well. Ours must be found first, also by its own calls.
  target_link_options(OrCommonProcess INTERFACE -Wl,-u,__cxa_guard_acquire)
endif()

# System functions: texts, paths, files, registry, access control lists, sessions.
vela_library(OrCommon
  FILES ${_common}_AccessControl ${_common}_AtlSecurity ${_common}_DebugLog ${_common}_Exception ${_common}_File
        ${_common}_FileBelow ${_common}_FolderCloser ${_common}_FolderWalk ${_common}_Path ${_common}_Privileges
        ${_common}_Registry ${_common}_SecurityAttributes ${_common}_String ${_common}_System ${_common}_TerminalService
  USES OrCommonProcess)
vela_library(FrwkCommon
  FILES Common/FrwkCommon/Frwk_CoreAgentRegistry Common/FrwkCommon/Frwk_WindowStation
  USES OrCommon)

# The product's own terms.
vela_library(vela_log FILES cli/RunLog USES OrCommon)
vela_library(vela_names
  FILES settings/CommandLineFolders settings/MailClients settings/ProductFolders
  USES OrCommon)

# One task each.
vela_library(vela_settings FILES settings/ProductSettings USES FrwkCommon vela_log)
vela_library(vela_files
  FILES install/DataFolder install/FileCopy install/FolderListing install/OutlookDetection
  USES vela_log vela_names)
vela_library(vela_modules FILES plugins/ComModuleRunner plugins/UserHives USES vela_log)
vela_library(vela_user FILES activation/ConsoleUser USES FrwkCommon vela_log)
vela_library(vela_removal FILES uninstall/FolderRemoval USES vela_files)

# A client's part of a command.
vela_library(vela_staging FILES install/Staging USES vela_files)
vela_library(vela_plugins
  FILES plugins/ClientRegistration plugins/OutlookAddin plugins/OutlookAddinRemoval plugins/OutlookExpressPlugin
        plugins/WindowsLiveMailPlugin
  USES vela_files vela_modules vela_settings)
vela_library(vela_activation
  FILES activation/ClientActivation activation/MonitorLaunch activation/UserDataTree
  USES vela_plugins)

# The switch and the commands.
vela_library(vela_switch FILES activation/AntiSpamSwitch USES vela_activation vela_user)
vela_library(vela_status FILES settings/StatusCommands USES vela_switch)
vela_library(vela_install FILES install/InstallCommand install/UpgradeCommand USES vela_plugins vela_staging)
vela_library(vela_uninstall FILES uninstall/UninstallCommand USES vela_removal vela_switch)
vela_library(vela_notify FILES notify/ReloadNotification USES vela_log vela_names)
vela_library(vela_cli FILES cli/CommandDispatcher USES vela_install vela_notify vela_status vela_uninstall)

# The reader of the run log: a program of its own. With the other it shares only the guards of the process, and the
# messages in docs/messages, of which the build makes a table.
vela_library(reader_core
  FILES logreader/Case logreader/Catalogue logreader/Clients logreader/Encoding logreader/Entries logreader/Findings
        logreader/Log logreader/Rules logreader/Runs logreader/Sentences logreader/Texts logreader/Verdict)
include(cmake/ReaderTable.cmake)
vela_library(reader_report FILES logreader/Report USES reader_core json_headers)
vela_library(reader_console FILES logreader/Console USES OrCommonProcess reader_report)

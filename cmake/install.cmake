# What is installed: the shared libraries with their public headers as a CMake package and for pkg-config, the programs,
# their configuration as examples, the messages between services with an example client. In four components: _runtime
# (libraries), _development (headers and packages), _programs, _documentation, each after stations_maintenance.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/stations_maintenance")
set(libraries mura_common tavi_siblings stations_maintenance_client)
set(programs stations_maintenance_ctl)
if(STATIONS_MAINTENANCE_BUILD_SERVICE)
  list(APPEND libraries stations_maintenance_service_lib)
  list(APPEND programs stations_maintenance_host)
endif()
if(STATIONS_MAINTENANCE_BUILD_SITE)
  list(APPEND programs tavi_site charging_station_simulator)
endif()

# The programs find the libraries beside them, wherever the whole was installed.
file(RELATIVE_PATH libraries_from_programs "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
set_target_properties(${programs} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries_from_programs}")
set_target_properties(${libraries} PROPERTIES INSTALL_RPATH "$ORIGIN")
# A program goes on with the libraries that it was linked with until their interface changes, which the package's
# version tells in the same way.
set_target_properties(${libraries} PROPERTIES
  VERSION "${PROJECT_VERSION}" SOVERSION "${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}")

install(TARGETS ${libraries} stations_maintenance_headers
  EXPORT stations_maintenance-targets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    COMPONENT stations_maintenance_runtime NAMELINK_COMPONENT stations_maintenance_development
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(TARGETS ${programs} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT stations_maintenance_programs)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME stations_maintenance_development)
install(EXPORT stations_maintenance-targets
  NAMESPACE stations_maintenance::
  DESTINATION "${package_folder}")
install(DIRECTORY client/include/ platform/include/ siblings/include/
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.h")
if(NOT STATIONS_MAINTENANCE_BUILD_SERVICE)
  set(without_service PATTERN "stations_maintenance_service.h" EXCLUDE)
endif()
install(DIRECTORY include/ DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" FILES_MATCHING PATTERN "*.h" ${without_service})
configure_package_config_file(packaging/stations_maintenance-config.cmake.in stations_maintenance-config.cmake
  INSTALL_DESTINATION "${package_folder}")
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/stations_maintenance-config-version.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
    "${CMAKE_CURRENT_BINARY_DIR}/stations_maintenance-config.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/stations_maintenance-config-version.cmake"
  DESTINATION "${package_folder}")

# install_pkg_config(<library> <description> [what it requires]): for builds that do not use CMake.
function(install_pkg_config library description)
  list(JOIN ARGN " " required)
  set(prefix_from_package "${CMAKE_INSTALL_PREFIX}")
  cmake_path(RELATIVE_PATH prefix_from_package BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig")
  configure_file(packaging/library.pc.in "${library}.pc" @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${library}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endfunction()
install_pkg_config(mura_common "Framework of a site controller's services" nlohmann_json)
install_pkg_config(tavi_siblings "Clients of the services beside the stations maintenance service" mura_common)
install_pkg_config(stations_maintenance_client "Request interface of the stations maintenance service" mura_common)
if(STATIONS_MAINTENANCE_BUILD_SERVICE)
  install_pkg_config(stations_maintenance_service_lib "The stations maintenance service, for a host" tavi_siblings)
endif()

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME stations_maintenance_documentation)
install(FILES LICENSE docs/ipc.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(PROGRAMS docs/examples/stations_maintenance.py DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples")
install(DIRECTORY config/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/config")

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME stations_maintenance_programs)
# Absent where what writes them cannot be run.
if(TARGET stations_maintenance_ctl_page_files)
  set(pages "${PROJECT_BINARY_DIR}/apps/stations_maintenance_ctl/pages")
  install(FILES "${pages}/stations_maintenance_ctl.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
  install(FILES "${pages}/stations_maintenance_ctl.bash"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME stations_maintenance_ctl)
  install(FILES "${pages}/_stations_maintenance_ctl" DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions")
  install(FILES "${pages}/stations_maintenance_ctl.fish"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d")
endif()

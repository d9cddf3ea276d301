# What is installed: the shared libraries with their public headers as a CMake package, the programs, their
# configuration as examples, the messages between services with an example client.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(package_folder "${CMAKE_INSTALL_LIBDIR}/cmake/stations_maintenance")
set(libraries mura_common tavi_siblings stations_maintenance_service_lib stations_maintenance_client)
set(programs stations_maintenance_host stations_maintenance_ctl tavi_site charging_station_simulator)

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
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(TARGETS ${programs} RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
install(EXPORT stations_maintenance-targets
  NAMESPACE stations_maintenance::
  DESTINATION "${package_folder}")

install(DIRECTORY include/ client/include/ platform/include/ siblings/include/
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.h")
install(DIRECTORY config/ DESTINATION "${CMAKE_INSTALL_DOCDIR}/config")
install(FILES docs/ipc.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
install(PROGRAMS docs/examples/stations_maintenance.py DESTINATION "${CMAKE_INSTALL_DOCDIR}/examples")

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

configure_package_config_file(packaging/stations_maintenance-config.cmake.in stations_maintenance-config.cmake
  INSTALL_DESTINATION "${package_folder}")
write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/stations_maintenance-config-version.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES
    "${CMAKE_CURRENT_BINARY_DIR}/stations_maintenance-config.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/stations_maintenance-config-version.cmake"
  DESTINATION "${package_folder}")

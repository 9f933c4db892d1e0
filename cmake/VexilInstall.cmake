# Rules for `cmake --install`, the CMake package (find_package(vexil) gives vexil::vexil) and the
# pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS vexil EXPORT vexil-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})

# Headers keep their paths below the include folder. Private headers are not installed.
list(TRANSFORM VEXIL_PRIVATE_HEADERS PREPEND "/" OUTPUT_VARIABLE private_patterns)
list(TRANSFORM private_patterns REPLACE "\\." "\\\\.")
list(TRANSFORM private_patterns APPEND "$")
list(JOIN private_patterns "|" private_pattern)
foreach(room zet sigil vexil)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/${room}" DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" REGEX "${private_pattern}" EXCLUDE)
endforeach()

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/vexil)
install(EXPORT vexil-targets NAMESPACE vexil:: DESTINATION ${package_folder})
configure_package_config_file(cmake/vexil-config.cmake.in "${PROJECT_BINARY_DIR}/vexil-config.cmake"
  INSTALL_DESTINATION ${package_folder})
# 0.x: a new minor version may break callers.
write_basic_package_version_file("${PROJECT_BINARY_DIR}/vexil-config-version.cmake"
  COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/vexil-config.cmake" "${PROJECT_BINARY_DIR}/vexil-config-version.cmake"
  DESTINATION ${package_folder})

# Paths relative to the file, so that an installed folder can be moved.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(VEXIL_PKGCONFIG_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(VEXIL_PKGCONFIG_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
  set(VEXIL_PKGCONFIG_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
  file(RELATIVE_PATH way_up "/prefix/${pkgconfig_folder}" "/prefix")
  string(REGEX REPLACE "/$" "" way_up "${way_up}")
  set(VEXIL_PKGCONFIG_PREFIX "\${pcfiledir}/${way_up}")
  set(VEXIL_PKGCONFIG_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(VEXIL_PKGCONFIG_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/vexil.pc.in "${PROJECT_BINARY_DIR}/vexil.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vexil.pc" DESTINATION ${pkgconfig_folder})

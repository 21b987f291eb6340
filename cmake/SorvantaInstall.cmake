# `cmake --install`: library, headers, a CMake package (find_package(Sorvanta)) and sorvanta.pc.
include(CMakePackageConfigHelpers)

# All that is installed, without tests, examples and benchmarks.
get_property(parts GLOBAL PROPERTY SORVANTA_INSTALLED)
add_custom_target(installed DEPENDS sorvanta ${parts})

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Sorvanta)
install(TARGETS sorvanta EXPORT SorvantaTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sorvanta)
foreach(folder kernel/ace support/ebos kernel/tera kernel/dast kernel/dime kernel/dare kernel/damo interface/svcpp)
  # Public headers lie in the folder itself; its rooms have sources and internal headers only.
  file(GLOB headers CONFIGURE_DEPENDS ${folder}/*.h)
  list(FILTER headers EXCLUDE REGEX "_internal\\.h$")
  cmake_path(GET folder FILENAME name)
  install(FILES ${headers} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/sorvanta/${name})
endforeach()
install(EXPORT SorvantaTargets NAMESPACE Sorvanta:: DESTINATION ${package_dir})
configure_package_config_file(cmake/SorvantaConfig.cmake.in ${PROJECT_BINARY_DIR}/SorvantaConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/SorvantaConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/SorvantaConfig.cmake ${PROJECT_BINARY_DIR}/SorvantaConfigVersion.cmake
  DESTINATION ${package_dir})

# The .pc file finds its prefix from its own place, so that an installed tree can be moved.
file(RELATIVE_PATH SORVANTA_PC_PREFIX
  ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/sorvanta.pc.in ${PROJECT_BINARY_DIR}/sorvanta.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/sorvanta.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The package of Tcl, where Debian's interpreters look for packages; and in the build folder, for TCLLIBPATH.
set(tcl_dir ${CMAKE_INSTALL_PREFIX}/lib/tcltk/Svcppt)
file(RELATIVE_PATH SORVANTA_TCL_PLACE ${tcl_dir} ${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libsorvanta.so.0)
configure_file(cmake/pkgIndex.tcl.in ${PROJECT_BINARY_DIR}/install/pkgIndex.tcl @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/install/pkgIndex.tcl DESTINATION lib/tcltk/Svcppt)
set(SORVANTA_TCL_PLACE libsorvanta.so.0)
configure_file(cmake/pkgIndex.tcl.in ${PROJECT_BINARY_DIR}/pkgIndex.tcl @ONLY)

# Packages of Debian, and a wheel of Python, in the folder packages of the build.
add_custom_target(packages
  COMMAND ${PROJECT_SOURCE_DIR}/tools/make-packages ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/packages
  COMMAND ${PROJECT_SOURCE_DIR}/tools/make-wheel ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/packages
  DEPENDS installed
  USES_TERMINAL VERBATIM)

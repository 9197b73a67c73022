# Install rules: the public headers (the generated ones included), the library,
# the CMake package morvex::morvex and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Every library target that a host links. An internal library that `morvex`
# links (static builds install it beside morvex) is one more name here; the
# pkg-config file follows this list.
set(MORVEX_INSTALL_TARGETS morvex morvex_script)

install(TARGETS ${MORVEX_INSTALL_TARGETS} EXPORT morvexTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/morvex ${MORVEX_GENERATED_INCLUDE}/morvex
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET morvex_cli)
  install(TARGETS morvex_cli RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(MORVEX_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/morvex)
install(EXPORT morvexTargets NAMESPACE morvex:: DESTINATION ${MORVEX_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/morvexConfig.cmake.in
  ${PROJECT_BINARY_DIR}/morvexConfig.cmake INSTALL_DESTINATION ${MORVEX_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/morvexConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/morvexConfig.cmake ${PROJECT_BINARY_DIR}/morvexConfigVersion.cmake
  DESTINATION ${MORVEX_CMAKE_DIR})

# pkg-config: a shared library carries its internal libraries inside; a C host
# that links the static ones also needs the C++ run-time library.
if(BUILD_SHARED_LIBS)
  set(MORVEX_PC_LIBS " -lmorvex")
else()
  set(MORVEX_PC_LIBS "")
  foreach(target IN LISTS MORVEX_INSTALL_TARGETS)
    string(APPEND MORVEX_PC_LIBS " -l$<TARGET_FILE_BASE_NAME:${target}>")
  endforeach()
  string(APPEND MORVEX_PC_LIBS " -lstdc++ -lm")
endif()
file(RELATIVE_PATH MORVEX_PC_PREFIX_FROM_PCDIR /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
string(REGEX REPLACE "/$" "" MORVEX_PC_PREFIX_FROM_PCDIR "${MORVEX_PC_PREFIX_FROM_PCDIR}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/morvex.pc.in ${PROJECT_BINARY_DIR}/morvex.pc.in @ONLY)
file(GENERATE OUTPUT ${PROJECT_BINARY_DIR}/morvex.pc INPUT ${PROJECT_BINARY_DIR}/morvex.pc.in)
install(FILES ${PROJECT_BINARY_DIR}/morvex.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

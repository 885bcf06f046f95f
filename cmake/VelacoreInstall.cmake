# Install rules, the CMake package (find_package(velacore)) and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS velacore EXPORT velacoreTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
# The public headers, the one place that decides which headers ship: every header of an area
# except the platform layer and anything under internal/. A public header must compile in a
# user's program with nothing but velacore and the standard library, so it may include no
# private header and no Qt, oneTBB or operating-system header; configuring fails when one does.
file(GLOB_RECURSE velacore_headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
     ${PROJECT_SOURCE_DIR}/velacore/*.h)
set(velacore_private_header_regex "^velacore/(platform/|.*/internal/)")
set(velacore_forbidden_include_regex
    "#[ \t]*include[ \t]*[<\"](velacore/platform/|velacore/.*/internal/|Q[A-Za-z]+[>\"]|Qt[A-Za-z]+/|tbb/|oneapi/|sys/|unistd\\.h|dlfcn\\.h|pthread\\.h|signal\\.h|fcntl\\.h|dirent\\.h|pwd\\.h|regex\\.h|malloc\\.h|syslog\\.h|windows\\.h)")
foreach(header ${velacore_headers})
  if(header MATCHES "${velacore_private_header_regex}")
    continue()
  endif()
  file(STRINGS ${PROJECT_SOURCE_DIR}/${header} bad REGEX "${velacore_forbidden_include_regex}")
  if(bad)
    message(FATAL_ERROR "${header} is installed but includes a private header: ${bad}\n"
                        "Move that include into the .cpp file, or the header under internal/.")
  endif()
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()
install(FILES ${PROJECT_BINARY_DIR}/include/velacore/base/TbuildInfo.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velacore/base)

set(VELACORE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/velacore)
install(EXPORT velacoreTargets NAMESPACE velacore:: DESTINATION ${VELACORE_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/velacoreConfig.cmake.in
                              ${PROJECT_BINARY_DIR}/velacoreConfig.cmake
                              INSTALL_DESTINATION ${VELACORE_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/velacoreConfigVersion.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/velacoreConfig.cmake
              ${PROJECT_BINARY_DIR}/velacoreConfigVersion.cmake
        DESTINATION ${VELACORE_CMAKE_DIR})

# The .pc file finds the prefix relative to itself, so an installed tree can be moved.
file(RELATIVE_PATH VELACORE_PC_TO_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file(${PROJECT_SOURCE_DIR}/cmake/velacore.pc.in ${PROJECT_BINARY_DIR}/velacore.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/velacore.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

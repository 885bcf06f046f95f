# Install rules, the CMake package (find_package(velacore)) and the pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS velacore EXPORT velacoreTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/velacore/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/velacore
        FILES_MATCHING PATTERN "*.h" PATTERN "*.inc"
        PATTERN "posix" EXCLUDE)
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

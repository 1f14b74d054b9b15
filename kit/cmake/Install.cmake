# Installs the library as the component `kit`: for find_package(VostelMCPKit) and for pkg-config.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/VostelMCPKit)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/VostelMCPKit)

install(TARGETS VostelMCPKit EXPORT VostelMCPKitTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT kit
    INCLUDES DESTINATION ${headers})
# A consumer includes "kit/jsonrpc/MCPValue.h", as we do.
install(DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/ DESTINATION ${headers}/kit COMPONENT kit
    FILES_MATCHING PATTERN "*.h" PATTERN cmake EXCLUDE)
install(EXPORT VostelMCPKitTargets NAMESPACE Vostel:: DESTINATION ${package} COMPONENT kit)

write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/VostelMCPKitConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES cmake/VostelMCPKitConfig.cmake cmake/Findutf8proc.cmake
    ${CMAKE_CURRENT_BINARY_DIR}/VostelMCPKitConfigVersion.cmake
    DESTINATION ${package} COMPONENT kit)

# Relative to the file itself, so that the installed folder can be moved.
file(RELATIVE_PATH prefix_from_pkgconfig
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
cmake_path(APPEND libdir "\${prefix}" ${CMAKE_INSTALL_LIBDIR})
cmake_path(APPEND includedir "\${prefix}" ${headers})
configure_file(cmake/VostelMCPKit.pc.in VostelMCPKit.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/VostelMCPKit.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT kit)

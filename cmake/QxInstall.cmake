# Installs the library with its public headers, the CMake package (find_package(qx), target qx::qx)
# and the pkg-config file. All of it is the component "qx"; the programs are not part of it.

include(CMakePackageConfigHelpers)

install(TARGETS qx EXPORT qxTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT qx NAMELINK_COMPONENT qx)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/qx/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qx COMPONENT qx
    FILES_MATCHING PATTERN *.h
    PATTERN detail EXCLUDE
    PATTERN posix EXCLUDE)

set(qx_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qx)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qxConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(EXPORT qxTargets FILE qxConfig.cmake NAMESPACE qx:: DESTINATION ${qx_package_dir}
    COMPONENT qx)
install(FILES ${PROJECT_BINARY_DIR}/qxConfigVersion.cmake DESTINATION ${qx_package_dir}
    COMPONENT qx)

# The prefix is written relative to the file's own place, so that an installed tree can be moved.
set(qx_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH qx_pkgconfig_prefix /prefix/${qx_pkgconfig_dir} /prefix)
string(REGEX REPLACE "/$" "" qx_pkgconfig_prefix "${qx_pkgconfig_prefix}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/qx.pc.in ${PROJECT_BINARY_DIR}/qx.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qx.pc DESTINATION ${qx_pkgconfig_dir} COMPONENT qx)

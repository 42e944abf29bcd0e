# Installs the library in the components
#   qx_runtime      what a linked program needs to run
#   qx_development  the public headers, the CMake package, the pkg-config file and gdb's printers
# and the CMake package's part for the programs with them (qx_tools). Nothing that is installed knows
# the prefix, so an installed tree can be moved; only gdb looks for the printers by it.

include(CMakePackageConfigHelpers)

install(TARGETS qx EXPORT qxTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    COMPONENT qx_runtime NAMELINK_COMPONENT qx_development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/qx/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qx
    COMPONENT qx_development
    FILES_MATCHING PATTERN *.h
    PATTERN detail EXCLUDE
    PATTERN posix EXCLUDE)

set(qx_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qx)
set(qx_module_dir ${CMAKE_INSTALL_LIBDIR}/qx/modules)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/qxConfig.cmake.in
    ${PROJECT_BINARY_DIR}/qxConfig.cmake
    INSTALL_DESTINATION ${qx_package_dir} PATH_VARS qx_module_dir
    NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qxConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(EXPORT qxTargets NAMESPACE qx:: DESTINATION ${qx_package_dir}
    COMPONENT qx_development)
install(FILES ${PROJECT_BINARY_DIR}/qxConfig.cmake ${PROJECT_BINARY_DIR}/qxConfigVersion.cmake
    ${PROJECT_SOURCE_DIR}/cmake/QxModule.cmake
    DESTINATION ${qx_package_dir} COMPONENT qx_development)
if(QX_BUILD_TOOLS)
    install(EXPORT qxToolsTargets NAMESPACE qx:: DESTINATION ${qx_package_dir} COMPONENT qx_tools)
    install(FILES ${PROJECT_SOURCE_DIR}/cmake/QxBundles.cmake DESTINATION ${qx_package_dir}
        COMPONENT qx_tools)
endif()

# The folders are written relative to the file's own place.
set(qx_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(qx_pkgconfig_from ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH qx_pkgconfig_to_prefix ${qx_pkgconfig_from} ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH qx_pkgconfig_to_include ${qx_pkgconfig_from} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
string(REGEX REPLACE "/$" "" qx_pkgconfig_to_prefix "${qx_pkgconfig_to_prefix}")
set(qx_pkgconfig_definitions)
if(QX_LEAK_LIST)
    set(qx_pkgconfig_definitions " -DQX_LEAK_LIST")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/qx.pc.in ${PROJECT_BINARY_DIR}/qx.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qx.pc DESTINATION ${qx_pkgconfig_dir}
    COMPONENT qx_development)

# Where gdb looks when it meets the library: the library's full path below its own folder.
if(NOT IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
    set(qx_install_prefix "\${CMAKE_INSTALL_PREFIX}/")
endif()
install(FILES ${PROJECT_SOURCE_DIR}/tools/gdb/libqx-gdb.py
    DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${qx_install_prefix}${CMAKE_INSTALL_LIBDIR}
    RENAME libqx.so.${PROJECT_VERSION}-gdb.py COMPONENT qx_development)

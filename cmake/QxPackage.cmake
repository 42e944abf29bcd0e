# The Debian packages: cpack in a build tree that was configured for the prefix /usr, as
# scripts/package.sh does. With SOURCE_DATE_EPOCH in the environment of cmake and cpack the packages do
# not depend on when and where they are made.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qx)
set(CPACK_PACKAGE_VENDOR qx)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT "qx maintainers <maintainers@qx.invalid>")
set(CPACK_THREADS 1) # several would make other bytes
# The prefix is written into where gdb looks for its printers: it must be the final one.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
# Other packages whose programs link to the library learn from this which package they depend on.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/qx)

# What changed, in each package: the pages of the project, and the list that Debian's programs read.
string(TIMESTAMP qx_package_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(qx_changelog ${PROJECT_BINARY_DIR}/changelog)
file(CONFIGURE OUTPUT ${qx_changelog}.Debian @ONLY CONTENT
"qx (${PROJECT_VERSION}) unstable; urgency=medium

  * What is new in this version stands in changelog.gz.

 -- ${CPACK_PACKAGE_CONTACT}  ${qx_package_date}
")
execute_process(COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md OUTPUT_FILE ${qx_changelog}.gz)
execute_process(COMMAND gzip -9nc ${qx_changelog}.Debian OUTPUT_FILE ${qx_changelog}.Debian.gz)

# qx_package(component name section summary text [BINARY | ANYWHERE] [DEPENDS component]
#     [SUGGESTS packages]): one with compiled files, or one for every processor.
function(qx_package component name section summary text)
    cmake_parse_arguments(PARSE_ARGV 5 arg "BINARY;ANYWHERE" SUGGESTS DEPENDS)
    string(TOUPPER ${component} upper)
    set(debian CPACK_DEBIAN_${upper}_PACKAGE)
    set(${debian}_NAME ${name} PARENT_SCOPE)
    set(${debian}_SECTION ${section} PARENT_SCOPE)
    set(${debian}_SHLIBDEPS ${arg_BINARY} PARENT_SCOPE)
    set(${debian}_SUGGESTS "${arg_SUGGESTS}" PARENT_SCOPE)
    if(arg_ANYWHERE)
        set(${debian}_ARCHITECTURE all PARENT_SCOPE)
    endif()
    # The symbols of compiled files go to a package of their own, <name>-dbgsym.
    set(CPACK_DEBIAN_${upper}_DEBUGINFO_PACKAGE ${arg_BINARY} PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    set(CPACK_COMPONENT_${upper}_DEPENDS ${arg_DEPENDS} PARENT_SCOPE)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} PARENT_SCOPE)
    install(FILES ${qx_changelog}.gz ${qx_changelog}.Debian.gz
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()

qx_package(qx_runtime libqx${PROJECT_VERSION_MAJOR} libs
    "C++ foundation library"
    "Reference-counted objects, UTF-16 strings and converters for many encodings, streams, locks inside
and between processes, logging, TCP, configuration files and a registry, numbers of any size."
    BINARY)
qx_package(qx_development libqx-dev libdevel
    "C++ foundation library - headers"
    "What programs are built with against the library: the headers, the CMake package, the pkg-config
file, and pretty printers for gdb."
    DEPENDS qx_runtime SUGGESTS "cmake, pkg-config, gdb, qx-doc")
if(QX_BUILD_TOOLS)
    qx_package(qx_tools qx-tools utils
        "programs of the C++ foundation library qx"
        "qxcalc calculates with numbers of any size, qxconv converts text between encodings, qxini shows
and changes INI files, qxreg the registry of the user, qxbundle the messages of programs, and qxipc what
processes share by name."
        BINARY DEPENDS qx_runtime)
endif()
if(QX_BUILD_MODULES)
    qx_package(qx_modules qx-modules libs
        "component modules of the C++ foundation library qx"
        "Shared libraries with classes that programs load by their identifiers through the library."
        BINARY DEPENDS qx_runtime)
endif()
if(TARGET qx_module_transport_tls)
    qx_package(qx_module_tls qx-module-tls libs
        "TLS transport of the C++ foundation library qx"
        "A component module that makes encrypted connections, on OpenSSL. Programs find it by the name
Orbelle.Transport.TLS once qxreg has registered it."
        BINARY DEPENDS qx_runtime)
endif()
if(QX_BUILD_DOCS)
    qx_package(qx_documentation qx-doc doc
        "C++ foundation library - guide and reference"
        "The guide through the subsystems and the reference of all headers, as pages for a browser."
        ANYWHERE)
endif()
include(CPack)

# The Debian packages: cpack in a build tree that was configured for the prefix /usr, as
# scripts/package.sh does.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME qx)
set(CPACK_PACKAGE_VENDOR qx)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT "qx maintainers <maintainers@qx.invalid>")
set(CPACK_PACKAGE_CHECKSUM SHA256)
set(CPACK_STRIP_FILES ON)
set(CPACK_THREADS 0)
# The prefix is written into where gdb looks for its printers: it must be the final one.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
# Other packages whose programs link to the library learn from this which package they depend on.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY >=)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/qx)

# qx_package(component name section summary text [SHLIBDEPS] [DEPENDS component] [SUGGESTS packages])
function(qx_package component name section summary text)
    cmake_parse_arguments(PARSE_ARGV 5 arg SHLIBDEPS SUGGESTS DEPENDS)
    string(TOUPPER ${component} upper)
    set(debian CPACK_DEBIAN_${upper}_PACKAGE)
    set(${debian}_NAME ${name} PARENT_SCOPE)
    set(${debian}_SECTION ${section} PARENT_SCOPE)
    set(${debian}_SHLIBDEPS ${arg_SHLIBDEPS} PARENT_SCOPE)
    set(${debian}_SUGGESTS "${arg_SUGGESTS}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
    set(CPACK_COMPONENT_${upper}_DEPENDS ${arg_DEPENDS} PARENT_SCOPE)
    list(APPEND CPACK_COMPONENTS_ALL ${component})
    set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} PARENT_SCOPE)
endfunction()

qx_package(qx_runtime libqx${PROJECT_VERSION_MAJOR} libs
    "C++ foundation library"
    "Reference-counted objects, UTF-16 strings and converters for many encodings, streams, locks inside
and between processes, logging, TCP, configuration files and a registry, numbers of any size."
    SHLIBDEPS)
qx_package(qx_development libqx-dev libdevel
    "C++ foundation library - headers"
    "What programs are built with against the library: the headers, the CMake package, the pkg-config
file, and pretty printers for gdb."
    DEPENDS qx_runtime SUGGESTS "cmake, pkg-config, gdb")
if(QX_BUILD_TOOLS)
    qx_package(qx_tools qx-tools utils
        "programs of the C++ foundation library qx"
        "qxcalc calculates with numbers of any size, qxconv converts text between encodings, qxini shows
and changes INI files, qxreg the registry of the user, qxbundle the messages of programs, and qxipc what
processes share by name."
        SHLIBDEPS DEPENDS qx_runtime)
endif()
if(QX_BUILD_MODULES)
    qx_package(qx_modules qx-modules libs
        "component modules of the C++ foundation library qx"
        "Shared libraries with classes that programs load by their identifiers through the library."
        SHLIBDEPS DEPENDS qx_runtime)
endif()
if(TARGET qx_module_transport_tls)
    qx_package(qx_module_tls qx-module-tls libs
        "TLS transport of the C++ foundation library qx"
        "A component module that makes encrypted connections, on OpenSSL. Programs find it by the name
Orbelle.Transport.TLS once qxreg has registered it."
        SHLIBDEPS DEPENDS qx_runtime)
endif()
include(CPack)

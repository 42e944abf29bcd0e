# Component modules made of message files.

include(${CMAKE_CURRENT_LIST_DIR}/QxModule.cmake)

# qx_add_bundle_module(target files...): the module <target>.so, which offers the messages of files
# named BASE.LOCALE.messages as string bundles (qxbundle --help). Needs the program qx::qxbundle.
function(qx_add_bundle_module target)
    set(files)
    foreach(file IN LISTS ARGN)
        get_filename_component(file ${file} ABSOLUTE)
        list(APPEND files ${file})
    endforeach()
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp)
    add_custom_command(OUTPUT ${source}
        COMMAND qx::qxbundle compile ${files} --output ${source}
        DEPENDS ${files} qx::qxbundle
        VERBATIM)
    qx_add_component_module(${target} ${target} ${source})
endfunction()

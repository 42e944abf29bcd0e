# Component modules made of message files.

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
    add_library(${target} MODULE ${source})
    target_link_libraries(${target} PRIVATE qx::qx)
    # A unique symbol (g++ makes one of every static in an inline function) would pin the module.
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>)
    set_target_properties(${target} PROPERTIES
        PREFIX "" SUFFIX .so CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
endfunction()

# Component modules: shared libraries that are loaded through the library and not linked to.

# qx_add_component_module(target file sources...): a module in the file <file>.so, whose exported
# functions are all that it shows.
function(qx_add_component_module target file)
    add_library(${target} MODULE ${ARGN})
    target_link_libraries(${target} PRIVATE qx::qx)
    # A unique symbol (g++ makes one of every static in an inline function) would pin the module.
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>)
    if(NOT QX_SANITIZE) # the run-time of a sanitizer comes with the program
        target_link_options(${target} PRIVATE -Wl,-z,defs)
    endif()
    set_target_properties(${target} PROPERTIES
        PREFIX "" OUTPUT_NAME ${file} SUFFIX .so
        C_VISIBILITY_PRESET hidden
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON)
endfunction()

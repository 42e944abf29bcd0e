# Compile options shared by every target of the project: qx_compile_options(target).

function(qx_compile_options target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        $<$<BOOL:${QX_WARNINGS_AS_ERRORS}>:-Werror>)
    if(QX_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${QX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${QX_SANITIZE})
    endif()
endfunction()

# Compile options shared by every target of the project: qx_compile_options(target).

# g++ 12 takes the assignment of a literal to a std::u16string for an overlapping copy (its bug 105329).
set(qx_gcc12 $<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>)
# g++ 11 sees copies of 4 GiB in comparisons of short texts.
set(qx_gcc11 $<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,12>>)

function(qx_compile_options target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion
        $<${qx_gcc12}:-Wno-restrict>
        $<${qx_gcc11}:-Wno-stringop-overread>
        $<$<BOOL:${QX_WARNINGS_AS_ERRORS}>:-Werror>)
    if(QX_BUILD_FUZZ)
        # Lets the fuzzer see which paths of the library an input takes.
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
    if(QX_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${QX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${QX_SANITIZE})
    endif()
endfunction()

# The warnings that every target of this project is built with.
function(sorvex_target_warnings target)
    set(warnings
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
        -Wnon-virtual-dtor -Woverloaded-virtual)
    # At its second level GCC takes a difference of pointers that was worked out before a realloc for
    # a use of the pointers behind it.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 12)
        list(APPEND warnings -Wuse-after-free=1)
    endif()
    if(SORVEX_WARNINGS_AS_ERRORS)
        list(APPEND warnings -Werror)
    endif()
    # The DLL's resources are compiled by a tool that knows none of them.
    target_compile_options(${target} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:${warnings}>")
endfunction()

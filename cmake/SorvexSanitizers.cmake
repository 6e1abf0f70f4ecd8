# Builds and links a target with the sanitizers of SORVEX_SANITIZE.
function(sorvex_target_sanitizers target)
    if(SORVEX_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=${SORVEX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=${SORVEX_SANITIZE})
    endif()
endfunction()

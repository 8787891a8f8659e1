# Warnings (PRIVATE), -Werror when QLM_WERROR is on, and the sanitizers of QLM_SANITIZE, per target.
function(qlm_target_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wshadow -Wpedantic -Wnon-virtual-dtor)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # OpenMesh's VectorT leaves its components uninitialised by design; once its property
        # push_back is inlined into our code, GCC reports that as "may be used uninitialized".
        target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
    endif()
    if(QLM_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    qlm_target_sanitize(${target})
endfunction()

function(qlm_target_sanitize target)
    if(QLM_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${QLM_SANITIZE} -fno-omit-frame-pointer -g)
        if(QLM_SANITIZE MATCHES "undefined")
            target_compile_options(${target} PRIVATE -fno-sanitize-recover=undefined)
        endif()
        target_link_options(${target} PUBLIC -fsanitize=${QLM_SANITIZE})
    endif()
endfunction()

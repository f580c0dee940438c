# Warnings for every target of the project.
function(orv_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow=local -Wnon-virtual-dtor
        -Wcast-align -Woverloaded-virtual -Wno-unused-parameter)
    if(ORV_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

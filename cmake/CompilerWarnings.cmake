# Warnings for every target of the project.
function(orv_set_warnings target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wnon-virtual-dtor -Wcast-align -Woverloaded-virtual
        -Wno-unused-parameter)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # clang has no -Wshadow=local, and its -Wpedantic flags every use of Qt's logging macros.
        target_compile_options(${target} PRIVATE -Wpedantic -Wshadow=local)
    else()
        target_compile_options(${target} PRIVATE -Wshadow-uncaptured-local)
    endif()
    if(ORV_WARNINGS_AS_ERRORS)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
endfunction()

# What a device does not have can be left out: it is then neither linked nor looked for.
set(windows kms fbdev wayland x11)
set(formats png jpeg)
set(VELKARIS_WINDOWS "${windows}" CACHE STRING "Kinds of window besides headless, or none")
set(VELKARIS_LOGOS "${formats}" CACHE STRING "Formats of logos, or none; png is captured as well")
option(VELKARIS_GL "Build the renderer that draws with the machine's own OpenGL ES" ON)
option(VELKARIS_FUSE "Serve the node as a file; else it is always a socket" ON)

# velkaris_check_parts(<variable> <part>...): "none" becomes the empty list, another part is an error.
function(velkaris_check_parts variable)
    set(parts "${${variable}}")
    list(REMOVE_ITEM parts none)
    foreach(part IN LISTS parts)
        if(NOT part IN_LIST ARGN)
            list(JOIN ARGN ", " known)
            message(FATAL_ERROR "${variable}: no \"${part}\"; there are: ${known}")
        endif()
    endforeach()
    set(${variable} "${parts}" PARENT_SCOPE)
endfunction()

velkaris_check_parts(VELKARIS_WINDOWS ${windows})
velkaris_check_parts(VELKARIS_LOGOS ${formats})

if(VELKARIS_TESTS AND NOT ("${VELKARIS_WINDOWS}" STREQUAL "${windows}" AND
                           "${VELKARIS_LOGOS}" STREQUAL "${formats}" AND
                           VELKARIS_GL AND VELKARIS_FUSE))
    message(FATAL_ERROR "VELKARIS_TESTS drives every part: leave none out")
endif()

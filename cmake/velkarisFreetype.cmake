# velkaris_freetype: FreeType as a static library. The atlas adds FreeType's modules one by one, and
# a shared FreeType does not export their classes.
add_library(velkaris_freetype INTERFACE)

find_package(Freetype REQUIRED)
find_library(VELKARIS_FREETYPE_ARCHIVE NAMES libfreetype.a REQUIRED)
target_include_directories(velkaris_freetype SYSTEM INTERFACE ${FREETYPE_INCLUDE_DIRS})
target_link_libraries(velkaris_freetype INTERFACE ${VELKARIS_FREETYPE_ARCHIVE})

# What the archive itself needs, as pkg-config knows it: archives too, so that a start loads nothing
# for fonts that it never draws. A library without an archive, the C library's say, stays shared.
find_package(PkgConfig)
if(PkgConfig_FOUND AND NOT CMAKE_SYSTEM_NAME STREQUAL "QNX")
    pkg_check_modules(FREETYPE2 QUIET freetype2)
    set(needs ${FREETYPE2_STATIC_LIBRARIES})
    list(REMOVE_ITEM needs freetype m)
    list(REVERSE needs) # of a library that is named twice the last place counts: users come first
    list(REMOVE_DUPLICATES needs)
    list(REVERSE needs)
    foreach(need IN LISTS needs)
        find_library(VELKARIS_ARCHIVE_${need} NAMES lib${need}.a ${need} REQUIRED)
        target_link_libraries(velkaris_freetype INTERFACE ${VELKARIS_ARCHIVE_${need}})
    endforeach()
    target_link_libraries(velkaris_freetype INTERFACE m)
endif()

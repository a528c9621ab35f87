# velkaris_freetype: FreeType as a static library. The atlas adds FreeType's modules one by one, and
# a shared FreeType does not export their classes.
add_library(velkaris_freetype INTERFACE)

find_package(Freetype REQUIRED)
find_library(VELKARIS_FREETYPE_ARCHIVE NAMES libfreetype.a REQUIRED)
target_include_directories(velkaris_freetype SYSTEM INTERFACE ${FREETYPE_INCLUDE_DIRS})
target_link_libraries(velkaris_freetype INTERFACE ${VELKARIS_FREETYPE_ARCHIVE})

# What the archive itself needs, where pkg-config knows it. It knows this machine only.
find_package(PkgConfig)
if(PkgConfig_FOUND AND NOT CMAKE_CROSSCOMPILING)
    pkg_check_modules(FREETYPE2 QUIET freetype2)
    set(needs ${FREETYPE2_STATIC_LIBRARIES})
    list(REMOVE_ITEM needs freetype)
    list(REMOVE_DUPLICATES needs)
    target_link_libraries(velkaris_freetype INTERFACE ${needs})
endif()

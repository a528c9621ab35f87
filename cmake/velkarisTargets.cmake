# How every target of the project is made: flags travel with the targets, nothing is global.

# What all our code is compiled with.
add_library(velkaris_flags INTERFACE)
target_compile_options(velkaris_flags INTERFACE -Wall -Wextra -Wpedantic)
target_compile_features(velkaris_flags INTERFACE cxx_std_17 c_std_99)
if(VELKARIS_SANITIZE)
    target_compile_options(velkaris_flags INTERFACE
        -fsanitize=address,undefined,float-cast-overflow -fno-sanitize-recover=all
        -fno-omit-frame-pointer
        # More doubles the time that it takes to compile, and hides what is to be found.
        $<IF:$<BOOL:$<TARGET_PROPERTY:VELKARIS_TEST_CODE>>,-O0,-O1>
        -Wno-maybe-uninitialized) # GCC warns falsely of instrumented code; the plain build has it on
    target_link_options(velkaris_flags INTERFACE -fsanitize=address,undefined)
endif()
if(VELKARIS_COVERAGE)
    target_compile_options(velkaris_flags INTERFACE --coverage)
    target_link_options(velkaris_flags INTERFACE --coverage)
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_EXTENSIONS OFF)

# velkaris_add_room(<room> SOURCES <file>... [LIBRARIES <target>...])
#
# Makes the object library velkaris_<room>. Its sources see the headers of the wing that the room is
# in (src, platform/linux, client), so that a path in an include names the room: "text/fontAtlas.h".
function(velkaris_add_room room)
    cmake_parse_arguments(ROOM "" "" "SOURCES;LIBRARIES" ${ARGN})
    set(target velkaris_${room})
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR PARENT_PATH root)
    set(layer "${PROJECT_SOURCE_DIR}/platform/linux")
    cmake_path(IS_PREFIX layer "${root}" NORMALIZE isInLayer)
    if(isInLayer)
        set(root "${layer}")
    endif()
    add_library(${target} OBJECT ${ROOM_SOURCES})
    target_include_directories(${target} PUBLIC ${root})
    target_link_libraries(${target} PUBLIC velkaris_flags velkaris_interfaces ${ROOM_LIBRARIES})
    velkaris_harden_code(${target})
endfunction()

# velkaris_collect(<name> <room>...)
#
# Makes the interface library <name>: whoever links it gets the objects, the headers and the
# libraries of the rooms.
function(velkaris_collect name)
    add_library(${name} INTERFACE)
    foreach(room IN LISTS ARGN)
        target_sources(${name} INTERFACE $<TARGET_OBJECTS:velkaris_${room}>)
        target_include_directories(${name} INTERFACE
            $<TARGET_PROPERTY:velkaris_${room},INTERFACE_INCLUDE_DIRECTORIES>)
        target_link_libraries(${name} INTERFACE
            $<TARGET_PROPERTY:velkaris_${room},INTERFACE_LINK_LIBRARIES>)
    endforeach()
endfunction()

# Where an install puts modules.
set(VELKARIS_MODULE_FOLDER "${CMAKE_INSTALL_LIBDIR}/velkaris")

# velkaris_make_module(<name> HEADER <file> RECORD <object> ROOMS <room>... [RELEASE <version>])
#
# Makes velkaris-<name>.so beside the program, as the target velkaris_module_<name>: the rooms'
# objects with their libraries, offering the record that the header declares.
function(velkaris_make_module name)
    cmake_parse_arguments(MODULE "" "HEADER;RECORD;RELEASE" "ROOMS" ${ARGN})
    if(NOT MODULE_RELEASE)
        set(MODULE_RELEASE ${PROJECT_VERSION})
    endif()
    set(target velkaris_module_${name})
    set(side "${PROJECT_SOURCE_DIR}/platform/linux/module")
    velkaris_collect(${target}_rooms ${MODULE_ROOMS})
    foreach(room IN LISTS MODULE_ROOMS)
        set_target_properties(velkaris_${room} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    endforeach()
    add_library(${target} MODULE "${side}/moduleSide.cpp")
    target_link_libraries(${target} PRIVATE velkaris_flags ${target}_rooms)
    target_compile_definitions(${target} PRIVATE VELKARIS_VERSION="${MODULE_RELEASE}"
        MODULE_HEADER="${MODULE_HEADER}" MODULE_RECORD=${MODULE_RECORD})
    target_link_options(${target} PRIVATE
        "LINKER:--version-script=${side}/module.map" "LINKER:-z,defs")
    velkaris_harden_binary(${target})
    set_target_properties(${target} PROPERTIES PREFIX "" OUTPUT_NAME velkaris-${name}
        LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/src" LINK_DEPENDS "${side}/module.map")
endfunction()

# velkaris_add_module(<name> HEADER <file> RECORD <object> ROOMS <room>...)
#
# A module of the program: built with it and installed.
function(velkaris_add_module name)
    velkaris_make_module(${name} ${ARGN})
    install(TARGETS velkaris_module_${name} LIBRARY DESTINATION "${VELKARIS_MODULE_FOLDER}")
    set_property(GLOBAL APPEND PROPERTY VELKARIS_MODULES velkaris_module_${name})
endfunction()

# What makes a mistake in our code harder to use against the console. On in release builds, because
# some of it needs an optimising compiler; the sanitizers look for the same mistakes themselves.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

set(default OFF)
if(CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$" AND
   NOT CMAKE_SYSTEM_NAME STREQUAL "QNX")
    set(default ON)
endif()
option(VELKARIS_HARDENING "Harden programs and libraries against mistakes in their code" ${default})

# velkaris_first_known_flag(<list> <flag>...): adds the first of the flags that the compiler knows.
function(velkaris_first_known_flag list)
    foreach(flag IN LISTS ARGN)
        string(MAKE_C_IDENTIFIER "VELKARIS_HAS${flag}" known)
        check_cxx_compiler_flag("${flag}" ${known})
        if(${known})
            set(${list} ${${list}} "${flag}" PARENT_SCOPE)
            return()
        endif()
    endforeach()
endfunction()

set(velkaris_hardening_flags "")
if(VELKARIS_HARDENING AND NOT VELKARIS_SANITIZE)
    velkaris_first_known_flag(velkaris_hardening_flags -fstack-protector-strong)
    velkaris_first_known_flag(velkaris_hardening_flags -fstack-clash-protection)
    velkaris_first_known_flag(velkaris_hardening_flags
        -ftrivial-auto-var-init=zero -ftrivial-auto-var-init=pattern)
    # The one is for x86, the other for 64-bit ARM.
    velkaris_first_known_flag(velkaris_hardening_flags
        -fcf-protection=full -mbranch-protection=standard)

    set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -Werror")
    check_cxx_source_compiles("#include <cstring>\nint main() {}" VELKARIS_HAS_FORTIFY_3)
    unset(CMAKE_REQUIRED_FLAGS)
    list(APPEND velkaris_hardening_flags
        -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=$<IF:$<BOOL:${VELKARIS_HAS_FORTIFY_3}>,3,2>
        -D_GLIBCXX_ASSERTIONS)
endif()

# velkaris_harden_code(<target>): the code of the target itself, not of who links it.
function(velkaris_harden_code target)
    if(velkaris_hardening_flags)
        # What goes into a library is position-independent already.
        target_compile_options(${target} PRIVATE ${velkaris_hardening_flags}
            $<$<NOT:$<BOOL:$<TARGET_PROPERTY:POSITION_INDEPENDENT_CODE>>>:-fPIE>)
    endif()
endfunction()

# velkaris_harden_binary(<target>): also how the program, module or shared library is linked.
function(velkaris_harden_binary target)
    velkaris_harden_code(${target})
    if(velkaris_hardening_flags)
        target_link_options(${target} PRIVATE
            "LINKER:-z,relro,-z,now,-z,noexecstack"
            $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)
    endif()
endfunction()

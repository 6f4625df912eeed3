# SPDX-License-Identifier: Apache-2.0
# The compiler's warnings and protections, for the targets of this build alone: nothing of it is exported.
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported()

add_library(grex_warnings INTERFACE)
target_compile_options(grex_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wconversion)

# The highest level of _FORTIFY_SOURCE that the compiler and the C library take without a warning.
function(grex_fortify_level result)
    set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
    check_cxx_source_compiles("#include <cstring>\nint main() { return 0; }" GREX_TAKES_FORTIFY_3)
    if(GREX_TAKES_FORTIFY_3)
        set(${result} 3 PARENT_SCOPE)
    else()
        set(${result} 2 PARENT_SCOPE)
    endif()
endfunction()

add_library(grex_hardening INTERFACE)
if(GREX_HARDENING)
    target_compile_options(grex_hardening INTERFACE -fstack-protector-strong)
    check_cxx_compiler_flag(-fcf-protection GREX_TAKES_CF_PROTECTION)
    if(GREX_TAKES_CF_PROTECTION)
        target_compile_options(grex_hardening INTERFACE -fcf-protection)
    endif()
    # Without optimisation the C library warns that it cannot check anything.
    grex_fortify_level(fortify_level)
    target_compile_options(grex_hardening INTERFACE
        "$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${fortify_level}>")
    target_link_options(grex_hardening INTERFACE
        LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()

# Every target of the project takes its flags from here; programs become position independent too.
function(grex_use_build_flags target)
    target_link_libraries(${target} PRIVATE grex_warnings grex_hardening)
    set_target_properties(${target} PROPERTIES
        POSITION_INDEPENDENT_CODE ON CXX_EXTENSIONS OFF C_EXTENSIONS OFF)
endfunction()

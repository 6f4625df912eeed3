# SPDX-License-Identifier: Apache-2.0
# Warnings and hardening of our own targets; nothing of it is exported. That warnings are errors is the presets'
# choice: a newer compiler still builds the library.
include(CheckCXXCompilerFlag)

option(GREX_HARDENED "stack protector, FORTIFY_SOURCE, CET, full RELRO" OFF)
check_cxx_compiler_flag(-fcf-protection GREX_HAS_CF_PROTECTION)

function(grex_flags target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wconversion)
    if(GREX_HARDENED)
        target_compile_options(${target} PRIVATE
            -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2
            $<$<BOOL:${GREX_HAS_CF_PROTECTION}>:-fcf-protection>)
        target_link_options(${target} PRIVATE LINKER:-z,relro LINKER:-z,now)
    endif()
endfunction()

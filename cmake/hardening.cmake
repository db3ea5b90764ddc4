# What makes a mistake harder to use, in every program for Linux that is not sanitized. Interface of
# the code that is shipped; tests and benchmarks compile theirs without.
#
# tests/blackbox/test_hardening.py looks for all of it in the files that were built. On Windows it
# is flags of the linker alone: program.cmake.
add_library(mos_hardening INTERFACE)
if(NOT WIN32 AND NOT MOS_SANITIZE)
  target_compile_options(mos_hardening INTERFACE
    -fPIE
    -fstack-protector-strong # a buffer that overflows ends the program before it returns
    -fstack-clash-protection # a large frame cannot jump over the guard page
    # Places that may be jumped to are marked in the code. A system checks them only in a file whose
    # every part has them; Debian's own start files are still without.
    -fcf-protection=full
    # Calls of the C library that know the size of what they write to check it. It needs an
    # optimizing compiler; some compilers set a lower level themselves.
    $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=3>)
  target_link_options(mos_hardening INTERFACE
    -pie
    -Wl,-z,relro -Wl,-z,now # every address of a function is found at the start, then read-only
    -Wl,-z,noexecstack)
endif()

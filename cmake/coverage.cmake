# count_coverage(<target>...): has targets count which of their lines and branches are run, when
# MOS_COVERAGE is on. Tests are not counted. (With -Og and not -O0: GCC then drops the branches that
# it has made itself, for temporaries of one arm of a condition, and that no input can take.)
function(count_coverage)
  if(NOT MOS_COVERAGE)
    return()
  endif()
  foreach(target IN LISTS ARGN)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic -Og)
    target_link_options(${target} PUBLIC --coverage)
  endforeach()
endfunction()

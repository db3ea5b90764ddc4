# precompile_headers(<target>...): has the standard library's headers read once for each target, when
# MOS_PRECOMPILE is on. Half of a build is spent on them. Other builds see to it that every file
# includes what it uses.
function(precompile_headers)
  if(NOT MOS_PRECOMPILE)
    return()
  endif()
  foreach(target IN LISTS ARGN)
    target_precompile_headers(${target} PRIVATE <algorithm> <array> <filesystem> <functional> <memory>
                              <optional> <span> <string> <string_view> <system_error> <utility>
                              <variant> <vector>)
  endforeach()
endfunction()

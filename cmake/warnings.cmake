# Every warning is an error. Each flag beyond -Wall -Wextra stands with the mistake it catches.
add_library(mos_warnings INTERFACE)
target_compile_options(mos_warnings INTERFACE
  -Wall -Wextra -Werror
  -Wpedantic            # what another compiler would refuse
  -Wconversion          # a number that silently loses bits: sizes and offsets of archives
  -Wsign-conversion     # a negative number that becomes a huge size
  -Wshadow              # a name that hides another one
  -Wold-style-cast      # a cast that does not say what it does
  -Wnon-virtual-dtor    # an interface deleted through its base
  -Woverloaded-virtual  # an override that is none
  -Wcast-align          # bytes read as wider numbers
  -Wformat=2            # format strings that are not literals
  -Wundef               # a misspelled macro in a condition
  -Wunused              # dead parameters and variables
  -Wimplicit-fallthrough
  -Wextra-semi)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(mos_warnings INTERFACE
    -Wduplicated-cond     # a branch that can never be taken
    -Wduplicated-branches # two branches that do the same
    -Wlogical-op          # & where && was meant
    -Wuseless-cast)       # a cast that changes nothing
endif()

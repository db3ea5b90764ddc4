# Read by cpack for each kind of package: which components go into it. What an archive holds lies in
# one directory, named like the archive.
if(CPACK_GENERATOR STREQUAL "DEB")
  set(CPACK_COMPONENTS_ALL mos mos-registry)
elseif(CPACK_GENERATOR STREQUAL "ZIP")
  set(CPACK_COMPONENTS_ALL windows-archive)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
else()
  set(CPACK_COMPONENTS_ALL mos)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
endif()

# Run by cpack on the installed files before they are packed: gives those of a Debian package the
# places and forms that Debian asks for, and all of them the time of SOURCE_DATE_EPOCH.
if(CPACK_GENERATOR STREQUAL "DEB")
  foreach(component IN LISTS CPACK_COMPONENTS_ALL)
    set(root ${CPACK_TEMPORARY_DIRECTORY}/${component})
    set(documents ${root}/usr/share/doc/${component})
    if(EXISTS ${root}/usr/etc)
      file(RENAME ${root}/usr/etc ${root}/etc)
    endif()
    if(EXISTS ${root}/usr/lib/systemd)
      file(MAKE_DIRECTORY ${root}/lib)
      file(RENAME ${root}/usr/lib/systemd ${root}/lib/systemd)
    endif()
    if(EXISTS ${root}/usr/share/zsh/site-functions)
      file(RENAME ${root}/usr/share/zsh/site-functions ${root}/usr/share/zsh/vendor-completions)
    endif()
    # The file copyright has the licence.
    file(REMOVE ${documents}/LICENSE)
    file(COPY ${CPACK_MOS_PACKAGING}/debian/copyright ${CPACK_MOS_PACKAGING}/debian/changelog
         DESTINATION ${documents}
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    set(overrides ${CPACK_MOS_PACKAGING}/debian/${component}.lintian-overrides)
    if(EXISTS ${overrides})
      configure_file(${overrides} ${root}/usr/share/lintian/overrides/${component} COPYONLY
                     FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
    endif()
    # Stripping leaves the compiler's name there.
    file(GLOB programs ${root}/usr/bin/*)
    execute_process(COMMAND strip --remove-section=.comment --remove-section=.note ${programs}
                    COMMAND_ERROR_IS_FATAL ANY)
    file(GLOB_RECURSE pages ${root}/usr/share/man/*)
    execute_process(COMMAND gzip --best --no-name ${pages} ${documents}/changelog
                    COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endif()
# The directories are made by cpack itself, whose mask need not be that of other builds.
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 0755 {} +
                COMMAND_ERROR_IS_FATAL ANY)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec
                          touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +
                  COMMAND_ERROR_IS_FATAL ANY)
endif()

# What `cmake --install` puts where, and the components that packages are made of:
#
#   mos              the program, its manual pages, completions, documents, the setting of MOSS_HOME
#   mos-registry     the registry, its manual page, documents, unit and user
#   windows-archive  what the .zip for Windows holds, without folders; only when it is asked for
include(GNUInstallDirs)

install(TARGETS mos RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT mos)
install(FILES completions/mos.bash RENAME mos
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT mos)
install(FILES completions/_mos
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT mos)
install(FILES completions/mos.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT mos)
install(FILES completions/mos.ps1
        DESTINATION ${CMAKE_INSTALL_DATADIR}/mos/completions COMPONENT mos)
install(FILES man/mos.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT mos)
install(FILES man/moss.toml.5 man/moss.lock.5
        DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT mos)
install(FILES docs/guide.md docs/commands.md docs/moss-toml.md docs/moss-lock.md
              docs/dependencies.md docs/messages.md LICENSE
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT mos)

if(WIN32)
  install(TARGETS mos RUNTIME DESTINATION . COMPONENT windows-archive EXCLUDE_FROM_ALL)
  install(FILES completions/mos.ps1 packaging/windows/README.txt
          DESTINATION . COMPONENT windows-archive EXCLUDE_FROM_ALL)
  install(FILES LICENSE RENAME LICENSE.txt
          DESTINATION . COMPONENT windows-archive EXCLUDE_FROM_ALL)
else()
  install(FILES packaging/profile/mos.sh
          DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/profile.d COMPONENT mos)
  install(FILES packaging/profile/mos.fish
          DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_conf.d COMPONENT mos)
endif()

if(MOS_BUILD_SERVER)
  install(TARGETS mos-registry RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT mos-registry)
  install(FILES man/mos-registry.1
          DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT mos-registry)
  install(FILES docs/registry.md docs/protocol.md LICENSE
          DESTINATION ${CMAKE_INSTALL_DOCDIR}-registry COMPONENT mos-registry)
  install(FILES packaging/registry/mos-registry.service
          DESTINATION lib/systemd/system COMPONENT mos-registry)
  install(FILES packaging/registry/sysusers.conf RENAME mos-registry.conf
          DESTINATION lib/sysusers.d COMPONENT mos-registry)
endif()

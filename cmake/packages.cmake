# What `cpack` makes: mos_VERSION_amd64.deb, mos-registry_VERSION_amd64.deb and a .tar.gz, or the .zip
# for Windows. With SOURCE_DATE_EPOCH set, the same programs give the same bytes; tools/release.sh
# sees to what else they depend on.
set(CPACK_PACKAGE_NAME mos)
set(CPACK_PACKAGE_VENDOR "The mos developers")
set(CPACK_PACKAGE_CONTACT "The mos developers <mos@moss.example>")
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/staged_tree.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/package_components.cmake)
set(CPACK_MOS_PACKAGING ${PROJECT_SOURCE_DIR}/packaging)
set(CPACK_COMPONENTS_GROUPING IGNORE)

set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows-x86_64)
  set(CPACK_ARCHIVE_WINDOWS-ARCHIVE_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
else()
  set(CPACK_GENERATOR DEB TGZ)
  set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-linux-x86_64)
  set(CPACK_ARCHIVE_MOS_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE mos)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://moss.example")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

set(CPACK_DEBIAN_MOS_PACKAGE_NAME mos)
set(CPACK_DEBIAN_MOS_PACKAGE_SECTION devel)
# Loaded when the first request is made; everything else works without it.
set(CPACK_DEBIAN_MOS_PACKAGE_RECOMMENDS "libcurl4, ca-certificates")
set(CPACK_DEBIAN_MOS_PACKAGE_SUGGESTS "mos-registry (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_MOS_DESCRIPTION
    "package manager of the Moss programming language
mos makes Moss projects, keeps their dependencies in moss.toml, chooses
versions that fit together, installs them from a registry, builds and
publishes packages, and drives the Moss compiler.
.
Login shells get MOSS_HOME, where its cache and the login are, set to .moss
in the user's home.")
set(CPACK_DEBIAN_MOS_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/conffiles)

set(CPACK_DEBIAN_MOS-REGISTRY_PACKAGE_NAME mos-registry)
set(CPACK_DEBIAN_MOS-REGISTRY_PACKAGE_SECTION net)
set(CPACK_DEBIAN_MOS-REGISTRY_PACKAGE_DEPENDS
    "systemd | systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_DEBIAN_MOS-REGISTRY_PACKAGE_SUGGESTS "mos (= ${PROJECT_VERSION}), nginx, sqlite3")
set(CPACK_DEBIAN_MOS-REGISTRY_DESCRIPTION
    "package registry for mos, for one team or one machine
mos-registry keeps the packages that mos publishes in one directory and
serves them over HTTP on the loopback interface, behind a web server, or as
plain files. \"mos-registry run\" is a registry for the time of one command.
.
The service runs as a user of its own and is started by nobody but the
administrator: systemctl enable --now mos-registry")
set(CPACK_DEBIAN_MOS-REGISTRY_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/debian/postinst ${PROJECT_SOURCE_DIR}/packaging/debian/prerm
    ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)
set(CPACK_DEBIAN_MOS-REGISTRY_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_DEBIAN_MOS_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)

include(CPack)

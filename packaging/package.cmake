# What `cmake --install` installs, and how CPack makes a Debian package of it.
include(GNUInstallDirs)

# The preview's list of services and of the files they write: the rows of writers/writers.h.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS writers/writers.h)
file(READ writers/writers.h table)
string(REGEX REPLACE "^.*services\\[] = |[ \n]" "" table "${table}")
string(REGEX MATCHALL "{\"[a-z]+\",[a-z_]+,{[^}]*}}" rows "${table}")
string(REGEX REPLACE "{\"([a-z]+)\",[a-z_]+,{\"/([^}]*)\"}}" "\\1 \\2\n" rows "${rows}")
string(REGEX REPLACE "\",\"/" " " rows "${rows}")
string(REPLACE ";" "" rows "${rows}")
file(CONFIGURE OUTPUT tavrogen-services CONTENT "${rows}" @ONLY)

install(TARGETS tavrogen RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(PROGRAMS scripts/preview DESTINATION ${CMAKE_INSTALL_SBINDIR} RENAME tavrogen-preview)
install(PROGRAMS scripts/sandbox scripts/sandbox-inside
  DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/tavrogen)
install(FILES scripts/known-refusals ${CMAKE_BINARY_DIR}/tavrogen-services DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/tavrogen)
install(FILES doc/tavrogen.8 doc/tavrogen-preview.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
install(FILES doc/tavrogen-settings.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_SOURCE_DIR}/packaging/complete.cmake)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 2)
# The architecture is this machine's, as dpkg says, unless a preset names another.
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Quarvane firmware <firmware@quarvane.example>")
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "iproute2, proftpd-core, rsyslog, samba-common-bin")
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "service configuration writer of a storage appliance")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Reads the settings of a network-attached storage appliance and writes the
configurations of its file, log, iSCSI and NFS services from them. Also
answers the management scripts' questions for the addresses of an interface
and the folders of a volume.")
include(CPack)

# Completes the files of a Debian package: compressed manual pages, and what policy asks for in
# its documentation folder.
set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(doc ${usr}/share/doc/tavrogen)
set(here ${CMAKE_CURRENT_LIST_DIR})
file(COPY ${here}/copyright DESTINATION ${doc})

# Debian's change log is that of the last revision, of the time of SOURCE_DATE_EPOCH.
file(READ ${here}/../CHANGELOG.md changes)
string(REGEX REPLACE "^.*\n## ([-.0-9]+), [^\n]*\n(.*)\n## .*$"
  "tavrogen (\\1) unstable; urgency=medium\n\\2" changes "${changes}")
string(REGEX REPLACE "\n([- ]) " "\n  \\1 " changes "${changes}")
string(REPLACE "\n  - " "\n  * " changes "${changes}")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
file(WRITE ${doc}/changelog.Debian
  "${changes}\n -- ${CPACK_DEBIAN_PACKAGE_MAINTAINER}  ${date}\n")
file(MAKE_DIRECTORY ${usr}/share/lintian/overrides)
file(COPY_FILE ${here}/lintian-overrides ${usr}/share/lintian/overrides/tavrogen)
file(GLOB pages ${usr}/share/man/man?/*)
execute_process(COMMAND gzip -9n ${pages} ${doc}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)

# Whatever the umask, here or where the sources were checked out.
set(folder_mode OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
file(CHMOD_RECURSE ${usr}
  FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ
  DIRECTORY_PERMISSIONS ${folder_mode})
file(GLOB programs ${usr}/sbin/* ${usr}/libexec/tavrogen/sandbox*)
file(CHMOD ${usr} ${programs} PERMISSIONS ${folder_mode})

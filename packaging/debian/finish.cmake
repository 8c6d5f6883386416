# SPDX-License-Identifier: Apache-2.0
# Prepares the files of each Debian package: adds Debian's changelog, compresses pages and changelogs,
# sets the modes of folders, and gives all files the date of the commit.

set(ENV{SOURCE_DATE_EPOCH} ${CPACK_VORLIND_DATE})
set(ENV{LC_ALL} C)
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)

file(GLOB docs "${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*")
foreach(doc IN LISTS docs)
  cmake_path(GET doc FILENAME package)
  file(WRITE ${doc}/changelog.Debian
"${package} (${CPACK_PACKAGE_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION}; changelog.gz tells what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  file(CHMOD ${doc}/changelog.Debian PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
endforeach()

file(GLOB_RECURSE pages "${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man*/*.[1-8]")
file(GLOB changes "${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog*")
execute_process(COMMAND gzip -9nf ${pages} ${changes} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -type d -exec chmod 755 "{}" +
  COMMAND_ERROR_IS_FATAL ANY)
execute_process(
  COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch -h -d @${CPACK_VORLIND_DATE} "{}" +
  COMMAND_ERROR_IS_FATAL ANY)

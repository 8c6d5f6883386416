# SPDX-License-Identifier: Apache-2.0
# CPack gives a package the date of its build; dpkg-deb packs it again with the commit's date.

set(ENV{SOURCE_DATE_EPOCH} ${CPACK_VORLIND_DATE})
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  execute_process(
    COMMAND sh -c "umask 022 && rm -rf \"$1.d\" && dpkg-deb --raw-extract \"$1\" \"$1.d\" && \
dpkg-deb --root-owner-group -Zgzip --build \"$1.d\" \"$1\" && rm -r \"$1.d\"" sh ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()

# `cpack -G DEB`: one package with the program, lvxtool and their desktop files under /usr.
# Its dependencies come from the shared libraries the executables link.
set(CPACK_PACKAGE_NAME lvxreader)
set(CPACK_PACKAGE_VENDOR Brevik)
set(CPACK_PACKAGE_CONTACT "Brevik <support@brevik.com>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Reader for the Phonara handheld sound level meter")
set(CPACK_PACKAGE_DESCRIPTION
    "Reads the meter over its serial line, shows a live copy of its display, records the\nreadings into a table and a chart, and saves, exports and prints them. Includes lvxtool,\nwhich checks captured streams, documents and diagrams from a shell.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_GENERATOR DEB)
include(CPack)

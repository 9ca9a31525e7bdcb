# Read by cpack once per generator: the Debian package installs under /usr,
# the tarball holds bin/ and share/ for any prefix.
if(CPACK_GENERATOR STREQUAL "TGZ")
  set(CPACK_PACKAGING_INSTALL_PREFIX "/")
endif()

# Installing like other renderer plug-ins: the command in bin/, the plug-in in lib/hordera/
# (where the command looks for it), the documents in share/doc/hordera/; CPack makes a Debian
# package of the same tree.
include(GNUInstallDirs)
install(TARGETS hordera RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS hordera_plugin LIBRARY DESTINATION lib/hordera)
install(FILES README.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME hordera)
set(CPACK_PACKAGE_VENDOR "Hordera")
set(CPACK_PACKAGE_CONTACT "Hordera developers <hordera@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY
    "Crowd-rendering plug-in and stand-in renderer host")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
# The shared libraries the command and the plug-in load, found by dpkg-shlibdeps.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
include(CPack)

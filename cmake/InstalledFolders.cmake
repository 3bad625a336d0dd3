# Where things are installed, and the ways from the program to what comes with it. They are relative, so that the
# installed folders may be moved together.
include(GNUInstallDirs)
set(DOVRA_MODULE_DESTINATION ${CMAKE_INSTALL_LIBDIR}/dovra)
set(DOVRA_DECODER_DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/dovra)
file(RELATIVE_PATH DOVRA_MODULE_FOLDER ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/dovra)
file(RELATIVE_PATH DOVRA_DECODER_FOLDER ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBEXECDIR}/dovra)

# What `cmake --install` puts where, in three components: program, library, simulator.
include(CMakePackageConfigHelpers)

install(TARGETS kvo-bootloader-tms RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
install(TARGETS kvo-board-simulator RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT simulator)

# find_package(kvo-bootloader-tms) gives kvo::bootloadertms.
set(KVO_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/kvo-bootloader-tms)
install(
  TARGETS kvo_bootloader_tms
  EXPORT kvo-bootloader-tms-targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
  FILE_SET public_headers DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kvo-bootloader-tms
           COMPONENT library)
install(
  EXPORT kvo-bootloader-tms-targets
  NAMESPACE kvo::
  FILE kvo-bootloader-tms-config.cmake
  DESTINATION ${KVO_PACKAGE_FOLDER}
  COMPONENT library)
write_basic_package_version_file(kvo-bootloader-tms-config-version.cmake
                                 COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kvo-bootloader-tms-config-version.cmake
        DESTINATION ${KVO_PACKAGE_FOLDER} COMPONENT library)

install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkvo-bootloader-tms-dev/examples
        COMPONENT library FILES_MATCHING PATTERN *.cpp PATTERN CMakeLists.txt)

add_subdirectory(docs/man)
install(FILES packaging/bash-completion/kvo-bootloader-tms
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT program)

# What `cmake --install` puts where, by component.
include(CMakePackageConfigHelpers)

set(KVO_COMPONENTS program library)
if(KVO_BUILD_BOARDS)
  list(APPEND KVO_COMPONENTS boards)
endif()
if(KVO_BUILD_SIMULATOR)
  list(APPEND KVO_COMPONENTS simulator)
endif()

install(TARGETS kvo-bootloader-tms RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
if(KVO_BUILD_BOARDS)
  install(TARGETS kvo-boards RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT boards)
endif()
if(KVO_BUILD_SIMULATOR)
  install(TARGETS kvo-board-simulator RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT simulator)
endif()

# find_package(kvo-bootloader-tms) gives kvo::bootloadertms, `pkg-config kvo-bootloader-tms` its flags.
set(KVO_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/kvo-bootloader-tms)
install(
  TARGETS kvo_bootloader_tms
  EXPORT kvo-bootloader-tms-targets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
  PUBLIC_HEADER DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/kvo/bootloadertms COMPONENT library)
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

set(KVO_PKGCONFIG_FOLDER ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH KVO_PREFIX_FROM_PKGCONFIG /${KVO_PKGCONFIG_FOLDER} /)
configure_file(packaging/kvo-bootloader-tms.pc.in kvo-bootloader-tms.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kvo-bootloader-tms.pc
        DESTINATION ${KVO_PKGCONFIG_FOLDER} COMPONENT library)

install(DIRECTORY examples/ DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libkvo-bootloader-tms-dev/examples
        COMPONENT library FILES_MATCHING PATTERN *.cpp PATTERN CMakeLists.txt
        PATTERN stations EXCLUDE)

if(KVO_BUILD_BOARDS)
  set(unit kvo-boards-watch@.service)
  configure_file(packaging/examples/${unit}.in examples/${unit} @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/examples/${unit} packaging/examples/70-kvo-boards.rules
                packaging/examples/fixture.env
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kvo-boards/examples COMPONENT boards)
  install(DIRECTORY examples/stations
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/kvo-boards/examples COMPONENT boards
          USE_SOURCE_PERMISSIONS)
endif()

include(ImageKeys)
add_subdirectory(docs/man)
add_subdirectory(packaging/bash-completion)

# What cpack makes of the components (cmake/Installation.cmake): Debian packages; of a static
# build a plain archive with the program alone. packaging/make_packages is the command to use.

set(KVO_DEBIAN_NAME_program kvo-bootloader-tms)
set(KVO_DEBIAN_NAME_library libkvo-bootloader-tms-dev)
set(KVO_DEBIAN_NAME_simulator kvo-board-simulator)

set(KVO_DEBIAN_MAINTAINER "kvo-bootloader-tms maintainers <maintainers@kvo-bootloader-tms.invalid>")
string(TIMESTAMP KVO_DEBIAN_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH's, if set
file(MAKE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/debian)
add_custom_command(
  OUTPUT debian/changelog.gz
  COMMAND
    packaging/debian/changelog_of CHANGELOG.md ${PROJECT_VERSION} "${KVO_DEBIAN_MAINTAINER}"
    "${KVO_DEBIAN_DATE}" > ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog
  COMMAND gzip --best --no-name --force ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog
  DEPENDS packaging/debian/changelog_of CHANGELOG.md
  WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
  VERBATIM)
add_custom_target(debian-changelog ALL DEPENDS debian/changelog.gz)

# CLI11's licence wants to be told with each program that was built with it.
set(KVO_CLI11_COPYRIGHT /usr/share/doc/libcli11-dev/copyright)
set(KVO_CLI11_LICENSE "License: BSD-3-clause\n The text was not found where the program was built.")
if(EXISTS ${KVO_CLI11_COPYRIGHT})
  file(READ ${KVO_CLI11_COPYRIGHT} KVO_CLI11_LICENSE)
  string(REGEX REPLACE "^.*\n(License: BSD-3-clause\n )" "\\1" KVO_CLI11_LICENSE
                       "${KVO_CLI11_LICENSE}")
  string(REGEX REPLACE " +\n" "\n" KVO_CLI11_LICENSE "${KVO_CLI11_LICENSE}")
  string(STRIP "${KVO_CLI11_LICENSE}" KVO_CLI11_LICENSE)
endif()

set(KVO_STATIC_NOTICE "")
if(KVO_STATIC)
  set(KVO_STATIC_NOTICE "
Comment: The program holds parts of the GNU C Library (LGPL-2.1-or-later) and of
 GCC's libstdc++ and libgcc (GPL-3-or-later with the GCC Runtime Library
 Exception), linked statically.")
endif()

foreach(component IN LISTS KVO_COMPONENTS)
  set(name ${KVO_DEBIAN_NAME_${component}})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  configure_file(packaging/debian/${name}.copyright.in debian/${name}.copyright @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/${name}.copyright RENAME copyright
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${name})
  file(READ packaging/debian/${name}.description CPACK_DEBIAN_${COMPONENT}_DESCRIPTION)
endforeach()

set(CPACK_PACKAGE_VENDOR kvo-bootloader-tms)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGE_CONTACT "${KVO_DEBIAN_MAINTAINER}")
set(CPACK_COMPONENTS_ALL ${KVO_COMPONENTS})
set(CPACK_PACKAGE_DIRECTORY "${CMAKE_BINARY_DIR}/packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${KVO_DEBIAN_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION electronics)
# grep with a version, as Debian wants it for what is on each system.
set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "lsof, procps, grep (>= 3.8)")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS kvo-board-simulator)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6-dev, libstdc++-12-dev | libstdc++-dev")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SUGGESTS kvo-bootloader-tms)
# dpkg-shlibdeps by itself finds the libraries of this machine's architecture alone.
foreach(component IN ITEMS PROGRAM SIMULATOR)
  set(KVO_LIBRARIES_OF_${component} "" CACHE STRING "What dpkg-shlibdeps is not to be asked for")
  if(KVO_LIBRARIES_OF_${component})
    list(APPEND CPACK_DEBIAN_${component}_PACKAGE_DEPENDS ${KVO_LIBRARIES_OF_${component}})
    list(JOIN CPACK_DEBIAN_${component}_PACKAGE_DEPENDS ", " CPACK_DEBIAN_${component}_PACKAGE_DEPENDS)
  else()
    set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON)
  endif()
endforeach()

if(KVO_STATIC)
  set(CPACK_GENERATOR TGZ)
  set(CPACK_COMPONENTS_ALL program)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
  set(CPACK_PACKAGE_FILE_NAME kvo-bootloader-tms-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR}-static)
  set(CPACK_ARCHIVE_PROGRAM_FILE_NAME ${CPACK_PACKAGE_FILE_NAME})
endif()

include(CPack)

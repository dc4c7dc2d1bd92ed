# What cpack makes of the components (cmake/Installation.cmake): Debian packages; of a static
# build one plain archive. packaging/make_packages is the command to use.

set(KVO_DEBIAN_NAME_program kvo-bootloader-tms)
set(KVO_DEBIAN_NAME_boards kvo-boards)
set(KVO_DEBIAN_NAME_library libkvo-bootloader-tms-dev)
set(KVO_DEBIAN_NAME_simulator kvo-board-simulator)

# The pages of docs/, in the package that each is about.
set(KVO_PAGES_program performance protocol troubleshooting)
set(KVO_PAGES_boards stations)
set(KVO_PAGES_library api architecture)
set(KVO_PAGES_simulator simulator)

# kvo_install_pages(COMPONENT): its pages, with the picture that one may have; what links to another
# package's page leads to that one's folder, what links to examples to its own, and what links to a page
# that no package has is plain text.
function(kvo_install_pages COMPONENT)
  foreach(page IN LISTS KVO_PAGES_${COMPONENT})
    set(source ${PROJECT_SOURCE_DIR}/docs/${page}.md)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    file(READ ${source} text)
    foreach(other IN LISTS KVO_COMPONENTS)
      foreach(linked IN LISTS KVO_PAGES_${other})
        if(NOT other STREQUAL COMPONENT)
          string(REPLACE "](${linked}.md" "](../${KVO_DEBIAN_NAME_${other}}/${linked}.md" text "${text}")
        endif()
      endforeach()
    endforeach()
    string(REPLACE "](../examples/" "](examples/" text "${text}")
    string(REGEX REPLACE "\\[([^]]*)\\]\\(\\.\\./[A-Z]+\\.md[^)]*\\)" "\\1" text "${text}")
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/debian/${page}.md "${text}")
    file(GLOB picture ${PROJECT_SOURCE_DIR}/docs/${page}.svg)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/${page}.md ${picture}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${KVO_DEBIAN_NAME_${COMPONENT}}
            COMPONENT ${COMPONENT})
  endforeach()
endfunction()

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

# kvo_license(VARIABLE PACKAGE NAME): the text of a licence that wants to be told with each program that
# holds code of that package.
function(kvo_license VARIABLE PACKAGE NAME)
  set(copyright /usr/share/doc/${PACKAGE}/copyright)
  set(text "License: ${NAME}\n The text was not found where the program was built.")
  if(EXISTS ${copyright})
    file(READ ${copyright} text)
    string(REGEX REPLACE "^.*\n(License: ${NAME}\n )" "\\1" text "${text}")
    string(REGEX REPLACE "\n\n.*" "" text "${text}")
    string(REGEX REPLACE " +\n" "\n" text "${text}")
    string(STRIP "${text}" text)
  endif()
  set(${VARIABLE} "${text}" PARENT_SCOPE)
endfunction()
kvo_license(KVO_CLI11_LICENSE libcli11-dev BSD-3-clause)
kvo_license(KVO_JSON_LICENSE nlohmann-json3-dev Expat)

set(KVO_STATIC_NOTICE "")
set(KVO_STATIC_BOARDS_NOTICE "")
if(KVO_STATIC)
  set(KVO_STATIC_NOTICE "
Comment: The program holds parts of the GNU C Library (LGPL-2.1-or-later) and of
 GCC's libstdc++ and libgcc (GPL-3-or-later with the GCC Runtime Library
 Exception), linked statically.")
  set(KVO_STATIC_BOARDS_NOTICE "
 The program holds parts of libserialport (LGPL-3-or-later), of the GNU C Library
 (LGPL-2.1-or-later) and of GCC's libstdc++ and libgcc (GPL-3-or-later with the
 GCC Runtime Library Exception), linked statically.")
endif()

foreach(component IN LISTS KVO_COMPONENTS)
  set(name ${KVO_DEBIAN_NAME_${component}})
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/changelog.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  configure_file(packaging/debian/${name}.copyright.in debian/${name}.copyright @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/debian/${name}.copyright RENAME copyright
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT ${component})
  kvo_install_pages(${component})
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
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS "kvo-boards, kvo-board-simulator")
set(CPACK_DEBIAN_BOARDS_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_BOARDS_PACKAGE_SUGGESTS "kvo-bootloader-tms, kvo-board-simulator")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6-dev, libstdc++-12-dev | libstdc++-dev")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SUGGESTS kvo-bootloader-tms)
# dpkg-shlibdeps by itself finds the libraries of this machine's architecture alone.
foreach(component IN ITEMS PROGRAM BOARDS SIMULATOR)
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
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL library simulator)
  set(CPACK_ARCHIVE_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
  set(CPACK_COMPONENT_INCLUDE_TOPLEVEL_DIRECTORY ON)
  set(CPACK_PACKAGE_FILE_NAME kvo-bootloader-tms-${PROJECT_VERSION}-${CMAKE_SYSTEM_PROCESSOR}-static)
endif()

include(CPack)

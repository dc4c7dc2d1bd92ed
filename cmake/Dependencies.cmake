# What kvo-boards, the simulator and the tests build with. A cross build can't use this machine's packages as
# they are: their libraries are this machine's, and beside their headers, in /usr/include, stand
# those of its C library.

# kvo_find_cli11(): the target CLI11::CLI11.
macro(kvo_find_cli11)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(CLI11 REQUIRED)
  elseif(NOT TARGET CLI11::CLI11)
    kvo_headers_alone(CLI11::CLI11 CLI)
  endif()
endmacro()

# kvo_find_nlohmann_json(): the target nlohmann_json::nlohmann_json.
macro(kvo_find_nlohmann_json)
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(nlohmann_json REQUIRED)
  elseif(NOT TARGET nlohmann_json::nlohmann_json)
    kvo_headers_alone(nlohmann_json::nlohmann_json nlohmann)
  endif()
endmacro()

# kvo_find_libserialport(): the target PkgConfig::libserialport.
macro(kvo_find_libserialport)
  find_package(PkgConfig REQUIRED)
  if(KVO_STATIC)
    set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
  endif()
  pkg_check_modules(libserialport REQUIRED IMPORTED_TARGET libserialport>=0.1.1)
endmacro()

# kvo_headers_alone(TARGET FOLDER): a library that is nothing but a folder of headers.
function(kvo_headers_alone TARGET FOLDER)
  find_path(KVO_${FOLDER}_PARENT ${FOLDER} REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  set(headers "${CMAKE_BINARY_DIR}/headers/${FOLDER}")
  file(MAKE_DIRECTORY "${headers}")
  file(CREATE_LINK "${KVO_${FOLDER}_PARENT}/${FOLDER}" "${headers}/${FOLDER}" SYMBOLIC)
  add_library(${TARGET} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${TARGET} INTERFACE "${headers}")
endfunction()

# kvo_find_googletest(): the targets GTest::gtest and GTest::gmock_main.
macro(kvo_find_googletest)
  if(CMAKE_CROSSCOMPILING)
    kvo_build_googletest()
  else()
    find_package(GTest REQUIRED)
  endif()
endmacro()

function(kvo_build_googletest)
  find_path(KVO_GOOGLETEST_SOURCES googlemock/CMakeLists.txt REQUIRED NO_CMAKE_FIND_ROOT_PATH
            HINTS /usr/src/googletest)
  set(INSTALL_GTEST OFF)
  set(CMAKE_COMPILE_WARNING_AS_ERROR OFF)
  add_subdirectory("${KVO_GOOGLETEST_SOURCES}" "${CMAKE_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL
                   SYSTEM)
endfunction()

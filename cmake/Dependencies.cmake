# What the simulator and the tests build with. A cross build can't use this machine's packages as
# they are: their libraries are this machine's, and beside their headers, in /usr/include, stand
# those of its C library.

# kvo_find_cli11(): the target CLI11::CLI11.
macro(kvo_find_cli11)
  if(CMAKE_CROSSCOMPILING)
    kvo_cli11_headers_alone()
  else()
    find_package(CLI11 REQUIRED)
  endif()
endmacro()

function(kvo_cli11_headers_alone)
  find_path(KVO_CLI11_FOLDER CLI/CLI.hpp REQUIRED NO_CMAKE_FIND_ROOT_PATH)
  set(headers "${CMAKE_CURRENT_BINARY_DIR}/cli11")
  file(MAKE_DIRECTORY "${headers}")
  file(CREATE_LINK "${KVO_CLI11_FOLDER}/CLI" "${headers}/CLI" SYMBOLIC)
  add_library(CLI11::CLI11 INTERFACE IMPORTED)
  target_include_directories(CLI11::CLI11 INTERFACE "${headers}")
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

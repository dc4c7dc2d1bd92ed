# kvo_link_static_lookups(TARGET): looks up hosts and groups in a program that needs no libraries.
# The linker warns of the C library's functions for that: /etc/nsswitch.conf may name modules that
# only fit the machine's own library. This program asks for none of them (boards/main.cpp), so these
# functions are linked without the warning.
function(kvo_link_static_lookups TARGET)
  execute_process(
    COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=libc.a
    OUTPUT_VARIABLE library
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  foreach(function IN ITEMS getaddrinfo getgrgid)
    set(object ${CMAKE_CURRENT_BINARY_DIR}/${function}.o)
    add_custom_command(
      OUTPUT ${object}
      COMMAND ${CMAKE_AR} x ${library} ${function}.o
      COMMAND ${CMAKE_OBJCOPY} --remove-section=.gnu.warning.${function} ${object}
      DEPENDS ${library}
      VERBATIM)
    target_sources(${TARGET} PRIVATE ${object})
  endforeach()
endfunction()

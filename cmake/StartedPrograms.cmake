# kvo_path_to_start(VARIABLE TARGET): the path by which tests start a program of this project. In a
# cross build that is a script that becomes the emulator with the program in it.
function(kvo_path_to_start VARIABLE TARGET)
  if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
    set(${VARIABLE} "$<TARGET_FILE:${TARGET}>" PARENT_SCOPE)
    return()
  endif()
  set(script "${CMAKE_BINARY_DIR}/emulated/${TARGET}")
  list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
  file(
    GENERATE
    OUTPUT "${script}"
    CONTENT "#!/bin/sh\nexec '${emulator}' '$<TARGET_FILE:${TARGET}>' \"$@\"\n"
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE)
  set(${VARIABLE} "${script}" PARENT_SCOPE)
endfunction()

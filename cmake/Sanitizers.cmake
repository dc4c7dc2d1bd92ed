# kvo_sanitizers: the sanitizers named in KVO_SANITIZERS, each finding ends the program.
add_library(kvo_sanitizers INTERFACE)
if(KVO_SANITIZERS)
  target_compile_options(kvo_sanitizers INTERFACE -fsanitize=${KVO_SANITIZERS} -fno-sanitize-recover=all
                                                  -fno-omit-frame-pointer)
  target_link_options(kvo_sanitizers INTERFACE -fsanitize=${KVO_SANITIZERS})
endif()

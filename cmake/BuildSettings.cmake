# kvo_build_settings: what every target of this project is compiled and linked with.
include(CompilerWarnings)
include(Coverage)
include(Hardening)
include(Sanitizers)

add_library(kvo_build_settings INTERFACE)
target_link_libraries(kvo_build_settings INTERFACE kvo_warnings kvo_hardening kvo_sanitizers
                                                   kvo_coverage)

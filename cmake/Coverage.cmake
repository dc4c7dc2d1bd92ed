# kvo_coverage: with KVO_COVERAGE, what runs of each target that has it is counted, by line and branch.
add_library(kvo_coverage INTERFACE)
if(KVO_COVERAGE)
  # Processes that end by _exit, as in a signal handler, would write no counts.
  add_library(kvo_counts_at_exit OBJECT ${CMAKE_CURRENT_LIST_DIR}/CountsAtExit.cpp)
  target_compile_options(kvo_coverage INTERFACE --coverage)
  target_link_options(kvo_coverage INTERFACE --coverage -Wl,--wrap=_exit)
  target_link_libraries(kvo_coverage INTERFACE $<TARGET_OBJECTS:kvo_counts_at_exit>)
endif()

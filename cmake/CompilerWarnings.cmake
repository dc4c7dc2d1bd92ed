# kvo_warnings: the warnings of g++ 12 and clang 14 that this project keeps itself free of. The presets
# make them errors.
# -Wrestrict is off: g++ 12 reports it for the library's own `"text" + std::string` (GCC bug 105651).
add_library(kvo_warnings INTERFACE)
target_compile_options(
  kvo_warnings
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wsign-conversion
            -Wshadow
            -Wold-style-cast
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wcast-align
            -Wcast-qual
            -Wdouble-promotion
            -Wformat=2
            -Wunused
            -Wimplicit-fallthrough
            $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-cond>
            $<$<CXX_COMPILER_ID:GNU>:-Wduplicated-branches>
            $<$<CXX_COMPILER_ID:GNU>:-Wlogical-op>
            $<$<CXX_COMPILER_ID:GNU>:-Wuseless-cast>
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

# One strict set for every target of the project; a warning is an error.
add_compile_options(
    -Wall -Wextra -Wpedantic -Werror
    -Wconversion -Wsign-conversion -Wdouble-promotion
    -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-align
    -Wformat=2 -Wundef -Wunused -Wimplicit-fallthrough
)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wlogical-op -Wduplicated-cond -Wduplicated-branches)
endif()

# How everything of the project is compiled.

# Whatever the project around it does without.
add_compile_options(-fexceptions -frtti)

# No file says where it was built. A debugger is better served by the whole path.
add_compile_options($<$<NOT:$<CONFIG:Debug>>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=>)

add_compile_options(
    -Wall -Wextra -Wpedantic
    -Wconversion -Wsign-conversion -Wdouble-promotion
    -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-align
    -Wformat=2 -Wundef -Wunused -Wimplicit-fallthrough
)
if(FRAMEGRAB_WERROR)
    add_compile_options(-Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wlogical-op -Wduplicated-cond -Wduplicated-branches)
endif()
# GCC 12 sees overlapping copies in `"text" + std::string` (its bug 105329).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    add_compile_options(-Wno-restrict)
endif()

if(FRAMEGRAB_SANITIZERS)
    add_compile_options(-fsanitize=${FRAMEGRAB_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${FRAMEGRAB_SANITIZERS})
    # Inlining under a sanitizer makes GCC report paths that cannot happen.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-Wno-maybe-uninitialized -Wno-stringop-overflow)
    endif()
endif()

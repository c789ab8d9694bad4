if(FRAMEGRAB_SANITIZERS)
    add_compile_options(-fsanitize=${FRAMEGRAB_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${FRAMEGRAB_SANITIZERS})
    # Inlining under a sanitizer makes GCC report paths that cannot happen.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        add_compile_options(-Wno-maybe-uninitialized -Wno-stringop-overflow)
    endif()
endif()

# What another project finds the libraries by: a CMake package and two pkg-config modules.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/framegrab)
list(JOIN FRAMEGRAB_CODECS " " FRAMEGRAB_CODEC_MODULES)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/framegrabConfig.cmake.in framegrabConfig.cmake
    INSTALL_DESTINATION ${package_folder})
write_basic_package_version_file(framegrabConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/framegrabConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/framegrabConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT dev)
install(EXPORT framegrab NAMESPACE framegrab:: FILE framegrabTargets.cmake DESTINATION ${package_folder}
        COMPONENT dev)

# An archive leaves what it needs to those who link it.
set(FRAMEGRAB_PC_REQUIRES zlib)
if(NOT BUILD_SHARED_LIBS)
    list(JOIN FRAMEGRAB_CODECS ", " codecs)
    string(APPEND FRAMEGRAB_PC_REQUIRES ", libpng, ${codecs}")
endif()
# From where the file lies, so that a moved prefix works.
file(RELATIVE_PATH FRAMEGRAB_PC_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" FRAMEGRAB_PC_PREFIX "${FRAMEGRAB_PC_PREFIX}")
foreach(module framegrab-util framegrab-host)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/${module}.pc.in ${module}.pc @ONLY)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${module}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
            COMPONENT dev)
endforeach()

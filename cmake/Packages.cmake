# cpack makes four Debian packages for the release that it runs on; built with the preset 'package'.

set(FRAMEGRAB_PACKAGE_CONTACT "The maintainers of framegrab <framegrab@packages.invalid>" CACHE STRING
    "Whom the packages name as their maintainer")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${FRAMEGRAB_PACKAGE_CONTACT})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# The trigger runs ldconfig once for all packages. The scripts that CPack would add to run it each time are not
# among those that it finds when they are named here and are not there, of which a later CPack warns.
set(ldconfig_trigger ${PROJECT_BINARY_DIR}/triggers)
file(WRITE ${ldconfig_trigger} "activate-noawait ldconfig\n")
foreach(component UTIL HOST)
    set(CPACK_DEBIAN_${component}_PACKAGE_CONTROL_EXTRA ${ldconfig_trigger} none/postinst none/postrm)
endforeach()

set(CPACK_COMPONENTS_ALL framegrab util host dev)
set(CPACK_COMPONENT_FRAMEGRAB_DEPENDS util host)
set(CPACK_COMPONENT_UTIL_DEPENDS host)
set(CPACK_COMPONENT_DEV_DEPENDS util host)

set(CPACK_DEBIAN_FRAMEGRAB_PACKAGE_NAME framegrab)
set(CPACK_DEBIAN_FRAMEGRAB_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_FRAMEGRAB_DESCRIPTION "captures frames of OpenGL ES programs
Starts a program and writes the frames that it shows through EGL, and what it
draws on the way to them, as pictures: colour, depth and stencil, at full size
or as thumbnails. The program needs no change.")
set(CPACK_DEBIAN_UTIL_PACKAGE_NAME libframegrab-util${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_UTIL_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_UTIL_DESCRIPTION "captures of OpenGL ES framebuffers, as a library
Turns the framebuffer that an application has bound into image files and puts
the state of GL back as it was. Also brings tables of GL's formats, block
compressors, and helpers for logging, command lines, paths and strings.")
set(CPACK_DEBIAN_HOST_PACKAGE_NAME libframegrab-host${PROJECT_VERSION_MAJOR})
set(CPACK_DEBIAN_HOST_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_HOST_DESCRIPTION "host runtime of framegrab's capture library
A logger, a console, log files and the entry points of the OpenGL ES driver,
which the capture library asks of its host. Other hosts bring their own.")
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libframegrab-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS zlib1g-dev)
set(CPACK_DEBIAN_DEV_DESCRIPTION "captures of OpenGL ES framebuffers (development files)
Headers of the capture library and of what it needs of its host, with what
CMake and pkg-config find both libraries by.")

include(CPack)

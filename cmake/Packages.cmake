# SPDX-License-Identifier: BSD-2-Clause

# The Debian packages that `cpack` makes of the components of Install.cmake. Their libraries go to
# the directory that the build was configured for: configure with -DCMAKE_INSTALL_PREFIX=/usr for
# the one of the machine's architecture.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_VENDOR "Orvex")
set(CPACK_PACKAGE_CONTACT "Dynamic rendering maintainers <dynamic-render@orvex.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has one of its own
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

set(CPACK_COMPONENTS_ALL runtime development)
if(TARGET netstatd OR TARGET drendctl)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(drend_same_runtime "${drend_runtime_package} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${drend_runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
configure_file(cmake/debian/shlibs.in ${drend_generated}/shlibs @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${drend_generated}/shlibs ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "dynamic rendering of a daemon's live data
Renders the live data of a daemon as XML or JSON, as definition files say.

This package has the library and its reference platform.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborvex-dynamic-render-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ${drend_same_runtime})
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "dynamic rendering of live data: development files
Renders the live data of a daemon as XML or JSON, as definition files say.

This package has the headers, the pkg-config and CMake files and the documents.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME orvex-dynamic-render-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${drend_same_runtime})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS openssh-server) # starts orvex-netconf
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "dynamic rendering of live data: daemon and client
Renders the live data of a daemon as XML or JSON, as definition files say.

This package has netstatd, a daemon that shows the network state of its host,
the programs that talk to such daemons and those for writing definitions.")

include(CPack)

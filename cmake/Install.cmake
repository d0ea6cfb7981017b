# SPDX-License-Identifier: BSD-2-Clause

# What `cmake --install` and `cpack` bring to a machine, in three components:
#
#   runtime      the two shared libraries                      liborvex-dynamic-render0
#   development  headers, pkg-config and CMake files, pages    liborvex-dynamic-render-dev
#   tools        the programs and what they come with          orvex-dynamic-render-tools
#
# Included last: a program whose target does not exist is not installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(drend_libraries orvex-dynamic-render orvex-platform)
set(drend_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvex-dynamic-render)
set(drend_generated ${PROJECT_BINARY_DIR}/install)
set(drend_runtime_package liborvex-dynamic-render${DREND_ABI_VERSION})

# Installs `file` compressed, as manual pages and changelogs are where Debian has them.
function(drend_install_compressed file directory component)
  cmake_path(GET file FILENAME name)
  set(compressed ${drend_generated}/${component}/${name}.gz)
  install(CODE "
    file(MAKE_DIRECTORY \"${drend_generated}/${component}\")
    execute_process(COMMAND gzip -9nc \"${PROJECT_SOURCE_DIR}/${file}\"
      OUTPUT_FILE \"${compressed}\" COMMAND_ERROR_IS_FATAL ANY)" COMPONENT ${component})
  install(FILES ${compressed} DESTINATION ${directory} COMPONENT ${component})
endfunction()

# What a package says of itself
function(drend_install_package_documents package component)
  set(directory ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES cmake/debian/copyright DESTINATION ${directory} COMPONENT ${component})
  drend_install_compressed(cmake/debian/changelog ${directory} ${component})
endfunction()
drend_install_package_documents(${drend_runtime_package} runtime)
drend_install_package_documents(liborvex-dynamic-render-dev development)
if(TARGET netstatd OR TARGET drendctl)
  drend_install_package_documents(orvex-dynamic-render-tools tools)
endif()

# Libraries and headers

install(TARGETS ${drend_libraries} EXPORT orvex-dynamic-render
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          COMPONENT runtime NAMELINK_COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/drend.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(DIRECTORY platform/include/orvex_platform DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development FILES_MATCHING PATTERN *.h)

# CMake: find_package(orvex-dynamic-render) gives orvex::dynamic-render and orvex::platform.

install(EXPORT orvex-dynamic-render NAMESPACE orvex:: DESTINATION ${drend_cmake_dir}
  FILE orvex-dynamic-render-targets.cmake COMPONENT development)
configure_package_config_file(cmake/orvex-dynamic-render-config.cmake.in
  ${drend_generated}/orvex-dynamic-render-config.cmake
  INSTALL_DESTINATION ${drend_cmake_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${drend_generated}/orvex-dynamic-render-config-version.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${drend_generated}/orvex-dynamic-render-config.cmake
  ${drend_generated}/orvex-dynamic-render-config-version.cmake
  DESTINATION ${drend_cmake_dir} COMPONENT development)

# pkg-config: the files find everything from where they themselves are.

file(RELATIVE_PATH drend_pc_prefix
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" drend_pc_prefix "${drend_pc_prefix}")
foreach(library ${drend_libraries})
  configure_file(cmake/${library}.pc.in ${drend_generated}/${library}.pc @ONLY)
  install(FILES ${drend_generated}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT development)
endforeach()

# Documents, and the sources of the programs that they show. The README's links lead to what is
# installed with it.

install(CODE "
  file(READ \"${PROJECT_SOURCE_DIR}/README.md\" text)
  string(REGEX REPLACE \"[[]([^]]+)[]][(](include|tools|docs/man|CONTRIBUTING)[^)]*[)]\" \"\\\\1\"
         text \"\${text}\")
  file(WRITE \"${drend_generated}/README.md\" \"\${text}\")" COMPONENT development)
install(FILES ${drend_generated}/README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT development)
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development
  FILES_MATCHING PATTERN *.md PATTERN *.svg PATTERN man EXCLUDE)
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
drend_install_compressed(docs/man/drend.3 ${CMAKE_INSTALL_MANDIR}/man3 development)

# Tools. Definitions are looked for in "usr/lib/render" below some directory, so that is where they
# go, whatever the prefix: "lib/render" below one that ends in "usr", the whole path below others.

# A program finds the libraries beside its directory, CMAKE_INSTALL_<kind>; those of the system need no
# run path. After the program's own installation.
function(drend_find_beside program kind)
  file(RELATIVE_PATH run_path ${CMAKE_INSTALL_FULL_${kind}} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_target_properties(${program} PROPERTIES INSTALL_RPATH "$ORIGIN/${run_path}")
  install(CODE "
    if(CMAKE_INSTALL_PREFIX MATCHES \"^/usr/?$\")
      file(RPATH_REMOVE FILE
        \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_${kind}}/${program}\")
    endif()" COMPONENT tools)
endfunction()

# A text that names a program, and what is shared, where this installation has them.
function(drend_install_placed file program destination)
  cmake_path(GET file FILENAME name)
  install(CODE "
    file(READ \"${PROJECT_SOURCE_DIR}/${file}\" text)
    string(REPLACE /usr/sbin/${program} \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_SBINDIR}/${program}\"
           text \"\${text}\")
    string(REPLACE /usr/share/ \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_DATADIR}/\" text \"\${text}\")
    file(WRITE \"${drend_generated}/${name}\" \"\${text}\")" COMPONENT tools)
  install(FILES ${drend_generated}/${name} DESTINATION ${destination} COMPONENT tools)
endfunction()

if(TARGET netstatd)
  install(CODE [[
    set(drend_render_dir usr/lib/render)
    if(CMAKE_INSTALL_PREFIX MATCHES "/usr/?$")
      set(drend_render_dir lib/render)
    endif()]] COMPONENT tools)
  install(TARGETS netstatd RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tools)
  drend_find_beside(netstatd SBINDIR)
  install(DIRECTORY examples/netstatd/render/ DESTINATION "\${drend_render_dir}"
    COMPONENT tools)
  drend_install_compressed(docs/man/netstatd.8 ${CMAKE_INSTALL_MANDIR}/man8 tools)

  drend_install_placed(examples/netstatd/netstatd.service netstatd lib/systemd/system)
endif()
if(TARGET orvex-netconf)
  install(TARGETS orvex-netconf RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT tools)
  drend_find_beside(orvex-netconf SBINDIR)
  install(DIRECTORY tools/netconf/render/
    DESTINATION ${CMAKE_INSTALL_DATADIR}/orvex-netconf/usr/lib/render COMPONENT tools)
  install(DIRECTORY tools/netconf/yang
    DESTINATION ${CMAKE_INSTALL_DATADIR}/orvex-netconf COMPONENT tools)
  drend_install_placed(tools/netconf/sshd/sshd_config orvex-netconf
    ${CMAKE_INSTALL_DATADIR}/orvex-netconf)
  drend_install_placed(tools/netconf/sshd/orvex-netconf.service orvex-netconf lib/systemd/system)
  drend_install_compressed(tools/netconf/orvex-netconf.8 ${CMAKE_INSTALL_MANDIR}/man8 tools)
endif()
foreach(program drendctl drend-init drend-lint drend-preview)
  if(NOT TARGET ${program})
    continue()
  endif()
  string(REPLACE drend- "" folder ${program})
  install(TARGETS ${program} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  drend_install_compressed(tools/${folder}/${program}.1 ${CMAKE_INSTALL_MANDIR}/man1 tools)
  install(FILES tools/${folder}/${program}.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${program}
    COMPONENT tools)
endforeach()
foreach(program drend-lint drend-preview)
  if(TARGET ${program})
    drend_find_beside(${program} BINDIR)
  endif()
endforeach()

# What editors check definitions with
install(FILES docs/render-definitions.schema.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/orvex-dynamic-render COMPONENT development)

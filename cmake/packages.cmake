# The packages. For the target there is an archive: cmake --build --preset PRESET --target package.
# For a PC with Debian: cpack -G DEB --config build/release/CPackConfig.cmake
cmake_path(GET PROJECT_BINARY_DIR FILENAME preset)
set(CPACK_GENERATOR TGZ)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-${preset})
set(CPACK_STRIP_FILES ON)
if(CMAKE_CROSSCOMPILING)
  include(CPack)
  return()
endif()

# Installs a file compressed, as Debian has manual pages and changelogs.
function(install_compressed component file destination)
  set(compressed ${PROJECT_BINARY_DIR}/compressed/${component}/${destination}.gz)
  cmake_path(GET compressed PARENT_PATH folder)
  file(MAKE_DIRECTORY ${folder})
  add_custom_command(OUTPUT ${compressed} COMMAND gzip -9nc ${file} > ${compressed} DEPENDS ${file})
  string(MAKE_C_IDENTIFIER ${component}_${destination} target)
  add_custom_target(${target} ALL DEPENDS ${compressed})
  cmake_path(GET destination PARENT_PATH folder)
  install(FILES ${compressed} DESTINATION ${folder} COMPONENT ${component})
endfunction()

# What boards start lies with vboard in a folder of its own.
set_target_properties(vboard PROPERTIES INSTALL_RPATH $ORIGIN)
install(TARGETS vboard vboard_library vboard_in_programs handback keys recorder settings standalone
        DESTINATION ${SENTREL_PROGRAMS_FOLDER} COMPONENT sentrel-tools)
foreach(link ${CMAKE_INSTALL_BINDIR}/vboard ${CMAKE_INSTALL_SBINDIR}/boardctl)
  cmake_path(GET link PARENT_PATH folder)
  cmake_path(GET link FILENAME name)
  file(RELATIVE_PATH place /${folder} /${SENTREL_PROGRAMS_FOLDER}/${name})
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/links)
  file(CREATE_LINK ${place} ${PROJECT_BINARY_DIR}/links/${name} SYMBOLIC)
  install(FILES ${PROJECT_BINARY_DIR}/links/${name} DESTINATION ${folder} COMPONENT sentrel-tools)
endforeach()
install_compressed(sentrel-tools ${PROJECT_BINARY_DIR}/vboard/vboard.1
                   ${CMAKE_INSTALL_MANDIR}/man1/vboard.1)
foreach(program boardctl vboard)
  install(FILES ${PROJECT_BINARY_DIR}/${program}/${program}.bash RENAME ${program}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT sentrel-tools)
endforeach()
install(DIRECTORY boards/ DESTINATION ${SENTREL_BOARDS_FOLDER} COMPONENT sentrel-tools)
install_compressed(sentrel-tools ${PROJECT_BINARY_DIR}/boardctl/boardctl.8
                   ${CMAKE_INSTALL_MANDIR}/man8/boardctl.8)

# As pytest finds its plugins: the package, and beside it what its entry points are.
set(python lib/python3/dist-packages)
install(DIRECTORY python/vboard DESTINATION ${python} COMPONENT sentrel-tools FILES_MATCHING
        PATTERN *.py PATTERN py.typed PATTERN __pycache__ EXCLUDE)
set(metadata ${PROJECT_BINARY_DIR}/vboard-${PROJECT_VERSION}.dist-info)
file(WRITE ${metadata}/METADATA
     "Metadata-Version: 2.1\nName: vboard\nVersion: ${PROJECT_VERSION}\n")
file(WRITE ${metadata}/entry_points.txt "[pytest11]\nvboard = vboard.pytest_plugin\n")
install(DIRECTORY ${metadata} DESTINATION ${python} COMPONENT sentrel-tools)

install(DIRECTORY examples/recorder DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libsys-dev/examples
        COMPONENT libsys-dev)

# What Debian asks of each package.
set(CPACK_COMPONENTS_ALL libsys1 libsys-dev sentrel-tools)
foreach(component ${CPACK_COMPONENTS_ALL})
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${component})
  install(FILES packaging/copyright DESTINATION ${documents} COMPONENT ${component})
  install_compressed(${component} ${PROJECT_SOURCE_DIR}/packaging/changelog
                     ${documents}/changelog.Debian)
  install_compressed(${component} ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${documents}/changelog)
endforeach()

set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER
    "sentrel maintainers <maintainers@sentrel.example>")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(version ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})

set(CPACK_DEBIAN_LIBSYS1_PACKAGE_NAME libsys1)
set(CPACK_DEBIAN_LIBSYS1_PACKAGE_SECTION libs)
# CPack's own would ask for exactly this version, and has a script call ldconfig.
file(WRITE ${PROJECT_BINARY_DIR}/control/shlibs "libsys 1 libsys1 (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/control/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBSYS1_PACKAGE_CONTROL_EXTRA ${PROJECT_BINARY_DIR}/control/shlibs
    ${PROJECT_BINARY_DIR}/control/triggers)
set(CPACK_COMPONENT_LIBSYS1_DESCRIPTION "hardware of a digital video recorder, shared library
libsys knows the boards of the recorder: flash, boot variables, hardware
identity, GPIO, serial ports, front panel, network, clock, watchdog, disks.
.
This package has the library that applications are linked with.")

set(CPACK_DEBIAN_LIBSYS-DEV_PACKAGE_NAME libsys-dev)
set(CPACK_DEBIAN_LIBSYS-DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_LIBSYS-DEV_PACKAGE_DEPENDS "libsys1 (= ${version})")
set(CPACK_COMPONENT_LIBSYS-DEV_DESCRIPTION "hardware of a digital video recorder, development files
libsys knows the boards of the recorder: flash, boot variables, hardware
identity, GPIO, serial ports, front panel, network, clock, watchdog, disks.
.
This package has the headers, the static library, and what pkg-config and
CMake need to link an application.")

set(CPACK_DEBIAN_SENTREL-TOOLS_PACKAGE_NAME sentrel-tools)
set(CPACK_DEBIAN_SENTREL-TOOLS_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_SENTREL-TOOLS_PACKAGE_DEPENDS python3)
set(CPACK_DEBIAN_SENTREL-TOOLS_PACKAGE_RECOMMENDS python3-pytest)
set(CPACK_DEBIAN_SENTREL-TOOLS_PACKAGE_SUGGESTS python3-labgrid)
set(CPACK_COMPONENT_SENTREL-TOOLS_DESCRIPTION "virtual boards of a digital video recorder, and tools
The virtual board runs the recorder's unmodified programs on a PC, with models
of its hardware and a time of its own.
.
This package has vboard with its boards, the launcher that boots on them, and
boardctl, the command for bringing up boards and for service. The Python
package vboard tests applications on boards, with pytest or labgrid.")
include(CPack)

# What goes where a distribution expects it, with a CMake package and a pkg-config file.
if(NOT CMAKE_CROSSCOMPILING AND CMAKE_LIBRARY_ARCHITECTURE)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Beside each other on a PC: the programs that boards start, and vboard, which finds from there what
# belongs to it. Links lead there.
set(SENTREL_PROGRAMS_FOLDER ${CMAKE_INSTALL_LIBDIR}/sentrel-tools)
set(SENTREL_BOARDS_FOLDER ${CMAKE_INSTALL_DATADIR}/sentrel-tools/boards)
set(programs ${CMAKE_INSTALL_SBINDIR})
if(NOT CMAKE_CROSSCOMPILING)
  set(programs ${SENTREL_PROGRAMS_FOLDER})
endif()

install(TARGETS sentrel boardctl DESTINATION ${programs} COMPONENT sentrel-tools)
install(TARGETS ${libraries} EXPORT libsys
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libsys1 NAMELINK_COMPONENT libsys-dev
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libsys-dev)
install(DIRECTORY include/libsys DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT libsys-dev)

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/libsys)
install(EXPORT libsys NAMESPACE libsys:: FILE libsysConfig.cmake DESTINATION ${package}
        COMPONENT libsys-dev)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/libsysConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/libsysConfigVersion.cmake DESTINATION ${package}
        COMPONENT libsys-dev)

file(RELATIVE_PATH prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" prefix ${prefix})
file(CONFIGURE OUTPUT libsys.pc @ONLY CONTENT [[prefix=${pcfiledir}/@prefix@
includedir=${prefix}/@CMAKE_INSTALL_INCLUDEDIR@
libdir=${prefix}/@CMAKE_INSTALL_LIBDIR@

Name: libsys
Description: Hardware abstraction of a digital video recorder
Version: @PROJECT_VERSION@
Cflags: -I${includedir}
Libs: -L${libdir} -lsys -pthread
]])
install(FILES ${PROJECT_BINARY_DIR}/libsys.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT libsys-dev)

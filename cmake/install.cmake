# What goes where a distribution expects it, with a CMake package and a pkg-config file.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS sentrel boardctl DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(TARGETS ${libraries} EXPORT libsys LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(DIRECTORY include/libsys DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(NOT CMAKE_CROSSCOMPILING)
  install(FILES ${PROJECT_BINARY_DIR}/boardctl/boardctl.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
  install(FILES ${PROJECT_BINARY_DIR}/vboard/vboard.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  foreach(program boardctl vboard)
    install(FILES ${PROJECT_BINARY_DIR}/${program}/${program}.bash RENAME ${program}
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  endforeach()
endif()

set(package ${CMAKE_INSTALL_LIBDIR}/cmake/libsys)
install(EXPORT libsys NAMESPACE libsys:: FILE libsysConfig.cmake DESTINATION ${package})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/libsysConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/libsysConfigVersion.cmake DESTINATION ${package})

file(CONFIGURE OUTPUT libsys.pc @ONLY CONTENT [[prefix=${pcfiledir}/../..
includedir=${prefix}/@CMAKE_INSTALL_INCLUDEDIR@
libdir=${prefix}/@CMAKE_INSTALL_LIBDIR@

Name: libsys
Description: Hardware abstraction of a digital video recorder
Version: @PROJECT_VERSION@
Cflags: -I${includedir}
Libs: -L${libdir} -lsys -pthread
]])
install(FILES ${PROJECT_BINARY_DIR}/libsys.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The release archive: cmake --build --preset PRESET --target package.
cmake_path(GET PROJECT_BINARY_DIR FILENAME preset)
set(CPACK_GENERATOR TGZ)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-${preset})
set(CPACK_STRIP_FILES ON)
include(CPack)

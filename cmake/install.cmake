# What is installed: the library, its headers, what finds them, the tool, the manual pages. Of platform/ nothing, unless it is
# asked for by name: component devbus; nor the tap and the dissector: components tap and wireshark.
include(CMakePackageConfigHelpers)

# The plain name libvorl_srv6.so goes with the library: processes may need it, or open it, by that name.
install(TARGETS vorl_srv6 EXPORT vorl_srv6
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT library)
# finish(file component command arguments): once the program or library is installed, file(command) changes its path of
# libraries, and a line says how to install it without debug information. CMake's own install scripts change paths by
# the same command; the targets are linked such that those scripts leave theirs alone.
function(finish file component command arguments)
    install(CODE "file(${command} FILE \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${file}\" ${arguments})
    if(NOT CMAKE_INSTALL_DO_STRIP)
        message(STATUS \"${file} has its debug information; cmake --install with --strip leaves that out\")
    endif()" COMPONENT ${component})
endfunction()
finish(${CMAKE_INSTALL_LIBDIR}/$<TARGET_FILE_NAME:vorl_srv6> library RPATH_REMOVE "")
foreach(package ${packages})
    install(FILES ${PROJECT_SOURCE_DIR}/idl/${package}/${package}.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorl_srv6 COMPONENT development)
endforeach()

set(package_config_directory ${CMAKE_INSTALL_LIBDIR}/cmake/vorl_srv6)
install(EXPORT vorl_srv6 FILE vorl_srv6-config.cmake NAMESPACE vorl::
    DESTINATION ${package_config_directory} COMPONENT development)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vorl_srv6-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vorl_srv6-config-version.cmake
    DESTINATION ${package_config_directory} COMPONENT development)

# Paths in it are relative to the file itself, so that the tree may stand anywhere.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/vorl_srv6.pc.in ${PROJECT_BINARY_DIR}/vorl_srv6.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorl_srv6.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

add_custom_command(
    OUTPUT ${PROJECT_BINARY_DIR}/vorl_srv6.3
    COMMAND ${CMAKE_COMMAND} -DHEADER=${PROJECT_SOURCE_DIR}/idl/srv6/srv6.h
        -DVERSION=${PROJECT_VERSION} -DOUTPUT=${PROJECT_BINARY_DIR}/vorl_srv6.3
        -P ${PROJECT_SOURCE_DIR}/cmake/library_page.cmake
    DEPENDS ${PROJECT_SOURCE_DIR}/idl/srv6/srv6.h
        ${PROJECT_SOURCE_DIR}/cmake/library_page.cmake ${PROJECT_SOURCE_DIR}/cmake/troff.cmake
    VERBATIM)
add_custom_target(vorl_library_page ALL DEPENDS ${PROJECT_BINARY_DIR}/vorl_srv6.3)
install(FILES ${PROJECT_BINARY_DIR}/vorl_srv6.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)

if(VORL_TOOLS)
    install(TARGETS vorl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
    get_target_property(runpath vorl VORL_INSTALLED_RUNPATH)
    finish(${CMAKE_INSTALL_BINDIR}/vorl tool RPATH_SET "NEW_RPATH [[${runpath}]]")
    add_custom_command(
        OUTPUT ${PROJECT_BINARY_DIR}/man/vorl.1
        COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_PROPERTY:vorl,VORL_PROGRAM_DIRECTORY>/vorl
            -DVERSION=${PROJECT_VERSION} -DDIRECTORY=${PROJECT_BINARY_DIR}/man
            -P ${PROJECT_SOURCE_DIR}/cmake/man_page.cmake
        DEPENDS vorl ${PROJECT_SOURCE_DIR}/cmake/man_page.cmake ${PROJECT_SOURCE_DIR}/cmake/troff.cmake
        VERBATIM)
    add_custom_target(vorl_man_pages ALL DEPENDS ${PROJECT_BINARY_DIR}/man/vorl.1)
    install(DIRECTORY ${PROJECT_BINARY_DIR}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
    install(FILES ${PROJECT_SOURCE_DIR}/tools/vorl/completion.bash
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vorl COMPONENT tool)
endif()

# The tap, which is preloaded by its path, is a package of its own, as the stand-ins below are: in a directory where no program
# finds it by accident, and installed when it is asked for by name.
install(TARGETS vorl_tap
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/vorl-tap COMPONENT tap EXCLUDE_FROM_ALL)

# The Wireshark dissector: where Debian's Wireshark looks for plugins of any of its versions.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/wireshark/vorl
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins COMPONENT wireshark EXCLUDE_FROM_ALL FILES_MATCHING PATTERN "*.lua")

# The stand-ins for the platform are installed when they are asked for by name, for test machines and laptops: in a directory
# of their own, where no program finds them by accident.
set(devbus_directory ${CMAKE_INSTALL_LIBDIR}/vorl-devbus)
install(TARGETS ${vorl_stand_ins} LIBRARY DESTINATION ${devbus_directory} COMPONENT devbus EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_SOURCE_DIR}/platform/bus/receiver.h ${PROJECT_SOURCE_DIR}/platform/os/dev_os.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vorl_devbus COMPONENT devbus EXCLUDE_FROM_ALL)
file(RELATIVE_PATH devbus_from_program /${CMAKE_INSTALL_BINDIR} /${devbus_directory})
configure_file(${PROJECT_SOURCE_DIR}/platform/vorl-devbus.in ${PROJECT_BINARY_DIR}/vorl-devbus @ONLY)
install(PROGRAMS ${PROJECT_BINARY_DIR}/vorl-devbus
    DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT devbus EXCLUDE_FROM_ALL)
configure_file(${PROJECT_SOURCE_DIR}/platform/vorl-devbus.1.in ${PROJECT_BINARY_DIR}/vorl-devbus.1 @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorl-devbus.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT devbus EXCLUDE_FROM_ALL)
configure_file(${PROJECT_SOURCE_DIR}/cmake/vorl_devbus.pc.in ${PROJECT_BINARY_DIR}/vorl_devbus.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vorl_devbus.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT devbus EXCLUDE_FROM_ALL)

# What cmake/deb/package.sh, which makes Debian packages of the components, has to know of this build.
set(deb_architecture amd64)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(deb_architecture arm64)
endif()
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/package.env @ONLY CONTENT [[
VERSION=@PROJECT_VERSION@
LIBDIR=@CMAKE_INSTALL_LIBDIR@
DEB=@deb_architecture@
COMPILER="@CMAKE_CXX_COMPILER_ID@ @CMAKE_CXX_COMPILER_VERSION@"
CMAKE="@CMAKE_COMMAND@"
TOOLS=@VORL_TOOLS@
]])

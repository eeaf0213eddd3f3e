# What is installed: the library, its headers, what finds them, the tool and its manual page. Never platform/.
include(CMakePackageConfigHelpers)

install(TARGETS vorl_srv6 EXPORT vorl_srv6
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
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

if(VORL_TOOLS)
    file(RELATIVE_PATH library_from_tool /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
    set_target_properties(vorl PROPERTIES INSTALL_RPATH "$ORIGIN/${library_from_tool}")
    install(TARGETS vorl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
    add_custom_command(
        OUTPUT ${PROJECT_BINARY_DIR}/vorl.1
        COMMAND ${CMAKE_COMMAND} -DPROGRAM=$<TARGET_PROPERTY:vorl,VORL_PROGRAM_DIRECTORY>/vorl
            -DVERSION=${PROJECT_VERSION} -DOUTPUT=${PROJECT_BINARY_DIR}/vorl.1
            -P ${PROJECT_SOURCE_DIR}/cmake/man_page.cmake
        DEPENDS vorl ${PROJECT_SOURCE_DIR}/cmake/man_page.cmake
        VERBATIM)
    add_custom_target(vorl_man_page ALL DEPENDS ${PROJECT_BINARY_DIR}/vorl.1)
    install(FILES ${PROJECT_BINARY_DIR}/vorl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
endif()

# Debian packages. Versions in Depends are those of the symbols that the files need (tests/install compares them); the
# bus is of no package.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VENDOR "libvorl_srv6 maintainers")
set(CPACK_PACKAGE_CONTACT "libvorl_srv6 maintainers <maintainers@vorl.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development tool)
if(NOT VORL_TOOLS)
    list(REMOVE_ITEM CPACK_COMPONENTS_ALL tool)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libvorl-srv6-1)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6 (>= 2.34)")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/deb/triggers)
set(CPACK_COMPONENT_LIBRARY_DESCRIPTION "The library: it encodes 115 types of forwarding-plane records into
self-describing frames, sends them over the platform's message bus, and checks
and decodes them on the other side. It needs the platform's libkavrovorl.so,
which is of no package.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvorl-srv6-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libvorl-srv6-1 (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "The public C headers, and what CMake and pkg-config find them by.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME vorl-srv6-tool)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS
    "libc6 (>= 2.34), libgcc-s1 (>= 4.2), libstdc++6 (>= 12)")
set(CPACK_DEBIAN_TOOL_PACKAGE_RECOMMENDS "libvorl-srv6-1 (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "The command-line tool vorl: it lists and describes message types, turns them
from JSON into bytes and back, and explains captured frames. To send and
receive it loads the library, and with it the platform's bus.")
include(CPack)

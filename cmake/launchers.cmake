# vorl_runnable(target): called where the target is made. Tests start the program by name from the directory
# $<TARGET_PROPERTY:target,VORL_PROGRAM_DIRECTORY>. Where it is built for another machine a script stands there that starts
# it under the emulator (cmake/cross/launcher.c), and the program itself lies in target/.
if(CMAKE_CROSSCOMPILING)
    find_program(VORL_HOST_CC NAMES cc gcc REQUIRED)
    set(vorl_launcher ${PROJECT_BINARY_DIR}/launcher)
    add_custom_command(
        OUTPUT ${vorl_launcher}
        COMMAND ${VORL_HOST_CC} -static -O1 -o ${vorl_launcher} ${PROJECT_SOURCE_DIR}/cmake/cross/launcher.c
        DEPENDS ${PROJECT_SOURCE_DIR}/cmake/cross/launcher.c
        VERBATIM)
    add_custom_target(vorl_launcher DEPENDS ${vorl_launcher})
endif()

function(vorl_runnable target)
    set_target_properties(${target} PROPERTIES VORL_PROGRAM_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    if(NOT CMAKE_CROSSCOMPILING)
        return()
    endif()
    set_target_properties(${target} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/target)
    add_dependencies(${target} vorl_launcher)
    file(GENERATE
        OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${target}
        CONTENT "#!${vorl_launcher} ${vorl_target_root}:${vorl_emulator}:$<TARGET_FILE:${target}>\n"
        FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endfunction()

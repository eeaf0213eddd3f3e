# Writes the manual pages of a program with commands from its --help, the program's own and one for each command:
# cmake -DPROGRAM= -DVERSION= -DDIRECTORY= -P this file.
include(${CMAKE_CURRENT_LIST_DIR}/troff.cmake)

function(help_of variable)
    execute_process(COMMAND ${PROGRAM} ${ARGN} --help OUTPUT_VARIABLE text RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "${PROGRAM} ${ARGN} --help ends with ${status}")
    endif()
    set(${variable} "${text}" PARENT_SCOPE)
endfunction()

# The commands that a help lists; none: it lists none. The list ends at the first empty line; examples follow it.
function(commands_of variable help)
    set(commands "")
    if(help MATCHES "\nSubcommands:\n")
        string(REGEX REPLACE ".*\nSubcommands:\n" "" commands "${help}")
        string(REGEX REPLACE "\n\n.*" "\n" commands "${commands}")
        string(REGEX MATCHALL "(^|\n)  [a-z]+ " commands "${commands}")
        list(TRANSFORM commands STRIP)
    endif()
    set(${variable} "${commands}" PARENT_SCOPE)
endfunction()

# write_page(name what synopsis text see_also): the text is a help, shown as it is.
function(write_page name what synopsis text see_also)
    string(TOUPPER ${name} title)
    string(REPLACE "-" "\\-" name_text ${name})
    verbatim(shown "${text}")
    file(WRITE ${DIRECTORY}/${name}.1
        ".TH ${title} 1 \"\" \"libvorl_srv6 ${VERSION}\" \"User Commands\"\n.SH NAME\n${name_text} \\- ${what}\n"
        ".SH SYNOPSIS\n${synopsis}\n.SH DESCRIPTION\n${shown}.SH SEE ALSO\n${see_also}\n")
endfunction()

# Writes a page for each command of `help`, which is that of the command ARGN, and for the commands' own commands. Appends their
# names to `pages`.
function(write_pages help)
    commands_of(commands "${help}")
    foreach(command ${commands})
        help_of(text ${ARGN} ${command})
        # Up to the first full stop or colon, or the end of the line: what a list of pages has room for.
        string(REGEX REPLACE "[.:\n].*" "" what "${text}")
        string(JOIN "-" name vorl ${ARGN} ${command})
        string(JOIN " " call vorl ${ARGN} ${command})
        write_page(${name} "${what}" ".B ${call}\n[\\fIOPTIONS\\fR]" "${text}" ".BR vorl (1)")
        string(REPLACE "-" "\\-" shown_name ${name})
        string(APPEND pages ".BR ${shown_name} (1),\n")
        write_pages("${text}" ${ARGN} ${command})
    endforeach()
    set(pages "${pages}" PARENT_SCOPE)
endfunction()

help_of(overview)
commands_of(commands "${overview}")
if(NOT commands)
    message(FATAL_ERROR "${PROGRAM} --help lists no commands")
endif()
file(REMOVE_RECURSE ${DIRECTORY})
write_pages("${overview}")
write_page(vorl "the messages of libvorl_srv6 on the command line" ".B vorl\n.I COMMAND\n[\\fIOPTIONS\\fR]"
    "${overview}" "${pages}.BR vorl_srv6 (3)")

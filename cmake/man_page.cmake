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

# write_page(name what synopsis text see_also): the text is a help, shown as it is.
function(write_page name what synopsis text see_also)
    string(TOUPPER ${name} title)
    string(REPLACE "-" "\\-" name_text ${name})
    verbatim(shown "${text}")
    file(WRITE ${DIRECTORY}/${name}.1
        ".TH ${title} 1 \"\" \"libvorl_srv6 ${VERSION}\" \"User Commands\"\n.SH NAME\n${name_text} \\- ${what}\n"
        ".SH SYNOPSIS\n${synopsis}\n.SH DESCRIPTION\n${shown}.SH SEE ALSO\n${see_also}\n")
endfunction()

# The list of commands ends at the first empty line; examples follow it.
help_of(overview)
string(REGEX REPLACE ".*\nSubcommands:\n" "" commands "${overview}")
string(REGEX REPLACE "\n\n.*" "\n" commands "${commands}")
string(REGEX MATCHALL "(^|\n)  [a-z]+ " commands "${commands}")
if(NOT commands)
    message(FATAL_ERROR "${PROGRAM} --help lists no commands")
endif()
file(REMOVE_RECURSE ${DIRECTORY})
set(pages "")
foreach(command ${commands})
    string(STRIP "${command}" command)
    help_of(text ${command})
    # Up to the first full stop or colon, or the end of the line: what a list of pages has room for.
    string(REGEX REPLACE "[.:\n].*" "" what "${text}")
    write_page(vorl-${command} "${what}" ".B vorl ${command}\n[\\fIOPTIONS\\fR]" "${text}" ".BR vorl (1)")
    string(APPEND pages ".BR vorl\\-${command} (1),\n")
endforeach()
write_page(vorl "the messages of libvorl_srv6 on the command line" ".B vorl\n.I COMMAND\n[\\fIOPTIONS\\fR]"
    "${overview}" "${pages}.BR vorl_srv6 (3)")

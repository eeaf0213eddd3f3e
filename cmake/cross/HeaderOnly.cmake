# header_only(target entry): an imported target for headers of this machine, /usr/include/<entry>, that shows the cross
# compiler that entry and nothing else of /usr/include.
function(header_only target entry)
    if(NOT EXISTS /usr/include/${entry})
        message(FATAL_ERROR "/usr/include/${entry} is missing; ./dev installs the package that has it")
    endif()
    set(directory ${CMAKE_BINARY_DIR}/headers/${entry})
    file(MAKE_DIRECTORY ${directory})
    file(CREATE_LINK /usr/include/${entry} ${directory}/${entry} SYMBOLIC)
    if(NOT TARGET ${target})
        add_library(${target} INTERFACE IMPORTED GLOBAL)
        target_include_directories(${target} INTERFACE ${directory})
    endif()
endfunction()

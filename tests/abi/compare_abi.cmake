# Compares the library with the committed description of its ABI:
#   cmake -DABIDIFF= -DCOMMITTED= -DLIBRARY= -P this file
# One description serves both architectures, whose ABIs differ in nothing that it holds.
execute_process(COMMAND ${ABIDIFF} --no-architecture ${COMMITTED} ${LIBRARY}
    OUTPUT_VARIABLE said ERROR_VARIABLE said RESULT_VARIABLE status)
if(NOT status EQUAL 0)
    message("${said}")
    message("The ABI is not that of tests/abi/vorl_srv6.abi; the types, members and functions stand above.
Is the change meant? Then raise the version in CMakeLists.txt - the major one, and with it the SONAME, unless
functions were only added -, run './dev regen' and commit what it writes. Otherwise undo it.")
    message(FATAL_ERROR "abidiff ends with ${status}")
endif()

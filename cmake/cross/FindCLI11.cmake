include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
header_only(CLI11::CLI11 CLI)
set(CLI11_FOUND TRUE)

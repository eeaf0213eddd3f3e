include(${CMAKE_CURRENT_LIST_DIR}/HeaderOnly.cmake)
header_only(tomlplusplus::tomlplusplus toml++)
set(tomlplusplus_FOUND TRUE)

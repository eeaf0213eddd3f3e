# GoogleTest for the target, from the sources that Debian's package googletest brings.
if(NOT TARGET GTest::gtest_main)
    include(FetchContent)
    set(INSTALL_GTEST OFF)
    set(BUILD_GMOCK OFF)
    FetchContent_Declare(googletest SOURCE_DIR /usr/src/googletest)
    FetchContent_MakeAvailable(googletest)
endif()
set(GTest_FOUND TRUE)

# GoogleTest for the platform at hand, as kal_gtest: the installed library on Linux, built from the sources that come
# with Debian's package "googletest" where there is none (the cross-build).
add_library(kal_gtest INTERFACE)
if(CMAKE_CROSSCOMPILING)
    set(INSTALL_GTEST OFF)
    set(gtest_disable_pthreads ${EMSCRIPTEN})
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
    target_link_libraries(kal_gtest INTERFACE gmock gtest_main)
else()
    find_package(GTest REQUIRED)
    target_link_libraries(kal_gtest INTERFACE GTest::gmock GTest::gtest_main)
endif()

# GoogleTest built from Debian's source package (googletest, /usr/src/googletest) with the
# project's compiler, for builds whose target has no packaged GoogleTest (the Windows
# cross-build). Provides the GTest:: targets that find_package(GTest) would.
set(CORVANE_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "GoogleTest's source tree")
if(NOT EXISTS ${CORVANE_GOOGLETEST_SOURCE}/CMakeLists.txt)
    message(FATAL_ERROR "GoogleTest sources not found in ${CORVANE_GOOGLETEST_SOURCE} "
                        "(Debian package googletest)")
endif()
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(${CORVANE_GOOGLETEST_SOURCE} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(lib gtest gtest_main gmock gmock_main)
    if(NOT TARGET GTest::${lib})
        add_library(GTest::${lib} ALIAS ${lib})
    endif()
endforeach()

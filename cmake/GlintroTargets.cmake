# The compiler settings every target shares, and one function for each kind of target.

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

add_library(glintro_options INTERFACE)
target_include_directories(glintro_options INTERFACE ${PROJECT_SOURCE_DIR})
# No contraction of a * b + c: results must not depend on the machine a reel is rendered on.
target_compile_options(glintro_options INTERFACE
    -Wall -Wextra -Wshadow -Wconversion -Wno-sign-conversion -ffp-contract=off -fno-math-errno
    $<$<BOOL:${GLINTRO_WERROR}>:-Werror>)
if(GLINTRO_SANITIZE)
    target_compile_options(glintro_options INTERFACE
        -fsanitize=${GLINTRO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(glintro_options INTERFACE -fsanitize=${GLINTRO_SANITIZE})
endif()

# glintro_layer(NAME SOURCES ... USES ... PRIVATE ...): the library of one folder.
# USES are the layers and packages its headers need; PRIVATE ones stay inside its sources.
function(glintro_layer name)
    cmake_parse_arguments(LAYER "" "" "SOURCES;USES;PRIVATE" ${ARGN})
    if(LAYER_SOURCES)
        add_library(${name} STATIC ${LAYER_SOURCES})
        target_link_libraries(${name} PUBLIC glintro_options ${LAYER_USES} PRIVATE ${LAYER_PRIVATE})
    else()
        add_library(${name} INTERFACE)
        target_link_libraries(${name} INTERFACE glintro_options ${LAYER_USES})
    endif()
endfunction()

# glintro_test(NAME SOURCES ... USES ...): one GoogleTest program, its cases known to ctest.
function(glintro_test name)
    cmake_parse_arguments(TEST "" "" "SOURCES;USES" ${ARGN})
    add_executable(${name} ${TEST_SOURCES})
    target_link_libraries(${name} PRIVATE glintro_options ${TEST_USES} GTest::gtest_main)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
endfunction()

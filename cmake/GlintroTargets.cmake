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

# The generators and tables of tests take longer to optimise than they ever run.
function(glintro_quick_to_compile name)
    target_compile_options(${name} PRIVATE $<$<CONFIG:RelWithDebInfo,Release>:-O1;-g1>)
endfunction()

# glintro_test(NAME SOURCES ... USES ...): one GoogleTest program, its cases known to ctest.
function(glintro_test name)
    cmake_parse_arguments(TEST "" "" "SOURCES;USES" ${ARGN})
    add_executable(${name} ${TEST_SOURCES})
    glintro_quick_to_compile(${name})
    target_link_libraries(${name} PRIVATE glintro_options ${TEST_USES} GTest::gtest_main)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
endfunction()

# glintro_soak(NAME SOURCES ... USES ...): a program that must run long (fuzzing, kill loops). It is built and
# run by `make soak` only, under the sanitizers; its first argument is for how many seconds it shall run.
set(GLINTRO_SOAK_SECONDS 120 CACHE STRING "How long each program of `make soak` runs")
add_custom_target(soak)
function(glintro_soak name)
    cmake_parse_arguments(SOAK "" "" "SOURCES;USES" ${ARGN})
    add_executable(${name} EXCLUDE_FROM_ALL ${SOAK_SOURCES})
    target_link_libraries(${name} PRIVATE glintro_options ${SOAK_USES})
    add_dependencies(soak ${name})
    add_test(NAME ${name} COMMAND ${name} ${GLINTRO_SOAK_SECONDS})
    math(EXPR limit "${GLINTRO_SOAK_SECONDS} + 600")
    set_tests_properties(${name} PROPERTIES LABELS soak TIMEOUT ${limit})
endfunction()

# glintro_benchmark(NAME SOURCES ... USES ...): one google-benchmark program, which `make bench` runs.
function(glintro_benchmark name)
    cmake_parse_arguments(BENCHMARK "" "" "SOURCES;USES" ${ARGN})
    add_executable(${name} ${BENCHMARK_SOURCES})
    target_link_libraries(${name} PRIVATE glintro_options ${BENCHMARK_USES} benchmark::benchmark_main)
endfunction()

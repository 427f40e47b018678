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
    # In a unity build a source is an included file, for which GCC warns of types that the including file might define differently.
    $<$<BOOL:${CMAKE_UNITY_BUILD}>:-Wno-subobject-linkage>
    $<$<BOOL:${GLINTRO_WERROR}>:-Werror>)
if(GLINTRO_SANITIZE)
    target_compile_options(glintro_options INTERFACE
        -fsanitize=${GLINTRO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(glintro_options INTERFACE -fsanitize=${GLINTRO_SANITIZE})
endif()

# The table of layers as lists: GLINTRO_USES_<folder> holds the folders that <folder> may use.
file(STRINGS ${PROJECT_SOURCE_DIR}/scripts/layers.txt rows REGEX "^[a-z]")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/scripts/layers.txt)
foreach(row IN LISTS rows)
    if(NOT row MATCHES "^([a-z0-9/]+) *:([^:]*):")
        message(FATAL_ERROR "scripts/layers.txt: no row of the table: ${row}")
    endif()
    set(folder ${CMAKE_MATCH_1})
    list(APPEND GLINTRO_LAYERS ${folder})
    string(REGEX MATCHALL "[a-z0-9/]+" GLINTRO_USES_${folder} "${CMAKE_MATCH_2}")
endforeach()

# Sets LAYER to the folder of the table that holds PATH (the longest one).
function(glintro_layer_of path layer)
    set(best "")
    foreach(folder IN LISTS GLINTRO_LAYERS)
        string(FIND "${path}/" "${folder}/" at)
        string(LENGTH "${folder}" length)
        string(LENGTH "${best}" longest)
        if(at EQUAL 0 AND length GREATER longest)
            set(best ${folder})
        endif()
    endforeach()
    set(${layer} "${best}" PARENT_SCOPE)
endfunction()

# Fails when the layer NAME links a library of ours that its row does not name. Called when all are known.
function(glintro_check_layer name)
    get_target_property(path ${name} GLINTRO_FOLDER)
    glintro_layer_of(${path} layer)
    if(NOT layer)
        message(FATAL_ERROR "${path} is no layer: scripts/layers.txt has no row for it.")
    endif()
    get_target_property(libraries ${name} INTERFACE_LINK_LIBRARIES)
    foreach(library IN LISTS libraries)
        string(REGEX REPLACE "^\\$<LINK_ONLY:(.*)>$" "\\1" library "${library}")
        if(NOT TARGET ${library})
            continue()
        endif()
        get_target_property(folder ${library} GLINTRO_FOLDER)
        if(NOT folder)
            continue()
        endif()
        glintro_layer_of(${folder} used)
        set(allowed FALSE)
        foreach(use IN LISTS layer GLINTRO_USES_${layer} ITEMS core/base)
            string(FIND "${used}/" "${use}/" at)
            if(use STREQUAL used OR (at EQUAL 0 AND NOT use IN_LIST GLINTRO_LAYERS))
                set(allowed TRUE)
            endif()
        endforeach()
        if(NOT allowed)
            message(FATAL_ERROR "${path} may not use ${folder}: see scripts/layers.txt.")
        endif()
    endforeach()
endfunction()

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
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    set_target_properties(${name} PROPERTIES GLINTRO_FOLDER ${folder})
    cmake_language(EVAL CODE "cmake_language(DEFER DIRECTORY \"${PROJECT_SOURCE_DIR}\" CALL glintro_check_layer ${name})")
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

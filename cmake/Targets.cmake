# How the targets of this project are made. Every target gets the same flags, so that one precompiled header per
# set of flags serves all.

add_library(settingscore_flags INTERFACE)
target_compile_options(settingscore_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-qual
    $<$<BOOL:${SETTINGSCORE_WERROR}>:-Werror>
    $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
target_compile_definitions(settingscore_flags INTERFACE BOOST_LOG_DYN_LINK)
if(SETTINGSCORE_SANITIZE)
    target_compile_options(settingscore_flags INTERFACE
        -fsanitize=${SETTINGSCORE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
        # GCC's flow warnings misfire on instrumented code.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow>)
    target_link_options(settingscore_flags INTERFACE -fsanitize=${SETTINGSCORE_SANITIZE})
endif()

if(SETTINGSCORE_FUZZ)
    target_compile_options(settingscore_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# settingscore_shared_library(NAME DEFINE FOLDER SOURCES...): the objects are compiled once and linked twice, into
# the shared library that users get and into the unit tests, which also see what the library hides.
function(settingscore_shared_library name export_define soname)
    set(sources ${ARGN})
    if(NOT sources)
        set(sources ${CMAKE_CURRENT_BINARY_DIR}/${name}_empty.cpp)
        file(CONFIGURE OUTPUT ${sources} CONTENT "")
    endif()
    add_library(${name}_objects OBJECT ${sources})
    target_compile_definitions(${name}_objects PRIVATE ${export_define})
    target_link_libraries(${name}_objects PRIVATE $<BUILD_INTERFACE:settingscore_flags>)
    add_library(${name} SHARED)
    target_link_libraries(${name} PRIVATE ${name}_objects)
    set_target_properties(${name} PROPERTIES OUTPUT_NAME ${soname} VERSION ${PROJECT_VERSION} SOVERSION 0)
    add_library(settingscore::${name} ALIAS ${name})
endfunction()

# settingscore_test(NAME LINK libs... SOURCES files... [LABELS labels...] [TIMEOUT s])
function(settingscore_test name)
    cmake_parse_arguments(T "" "TIMEOUT" "LINK;SOURCES;LABELS;ENVIRONMENT" ${ARGN})
    if(NOT T_SOURCES)
        return()
    endif()
    add_executable(${name} ${T_SOURCES})
    target_link_libraries(${name} PRIVATE settingscore_flags ${T_LINK} GTest::gtest_main rapidcheck_lib)
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 300)
    endif()
    include(GoogleTest)
    add_test(NAME ${name} COMMAND ${name} --gtest_brief=1)
    set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${T_LABELS}" ENVIRONMENT "${T_ENVIRONMENT}")
endfunction()

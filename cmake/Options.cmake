# Switches of the build. The presets in CMakePresets.json set them for the usual purposes.
option(SETTINGSCORE_TESTS "Build the tests" ${PROJECT_IS_TOP_LEVEL})
option(SETTINGSCORE_EXAMPLES "Build the example programs" ${PROJECT_IS_TOP_LEVEL})
option(SETTINGSCORE_BENCHMARKS "Build the benchmarks" OFF)
option(SETTINGSCORE_FUZZ "Build the fuzz targets (clang only)" OFF)
option(SETTINGSCORE_INSTALL "Make the install rules" ${PROJECT_IS_TOP_LEVEL})
option(SETTINGSCORE_WERROR "Treat warnings as errors" ${PROJECT_IS_TOP_LEVEL})
set(SETTINGSCORE_SERVICES auto CACHE STRING
    "Service framework: auto (CppMicroServices where it is installed, else ours), installed, own")
set_property(CACHE SETTINGSCORE_SERVICES PROPERTY STRINGS auto installed own)
set(SETTINGSCORE_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them (for example address,undefined)")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

include(GNUInstallDirs)

if(PROJECT_IS_TOP_LEVEL)
    # Everything that a test starts (tool, libraries, plug-ins) sits in two folders of the build tree.
    set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
    set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
    find_program(CCACHE_PROGRAM ccache)
    if(CCACHE_PROGRAM)
        set(CMAKE_CXX_COMPILER_LAUNCHER
            ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE_PROGRAM})
    endif()
endif()

if(SETTINGSCORE_TESTS)
    enable_testing()
endif()

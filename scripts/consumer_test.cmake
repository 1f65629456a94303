# Installs the build below a fresh prefix, moves the prefix, and uses it from there the three ways a project would:
# find_package, pkg-config, add_subdirectory (configured only: it would build the library once more).
set(work ${BUILD}/consumer_test)
file(REMOVE_RECURSE ${work})

function(step)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT status EQUAL 0)
        list(JOIN ARGN " " command)
        message("${command}\n${output}")
        message(FATAL_ERROR "ended with ${status}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

function(expect_greeting way)
    if(NOT output MATCHES "settingscore works")
        message(FATAL_ERROR "the consumer by ${way} printed: ${output}")
    endif()
    message(STATUS "${way}: ok")
endfunction()

step(${CMAKE_COMMAND} --install ${BUILD} --prefix ${work}/first)
file(RENAME ${work}/first ${work}/moved)
set(prefix ${work}/moved)

# No installed text may remember where it was built or first installed.
file(GLOB_RECURSE texts ${prefix}/*.cmake ${prefix}/*.pc ${prefix}/*.hpp)
foreach(text ${texts})
    file(READ ${text} content)
    foreach(origin ${SOURCE} ${work}/first)
        string(FIND "${content}" "${origin}" position)
        if(NOT position EQUAL -1)
            message(FATAL_ERROR "${text} mentions ${origin}")
        endif()
    endforeach()
endforeach()

set(consumer ${SOURCE}/examples/consumer)
step(${CMAKE_COMMAND} -S ${consumer} -B ${work}/package -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug)
step(${CMAKE_COMMAND} --build ${work}/package)
step(${work}/package/consumer)
expect_greeting(find_package)

step(${CMAKE_COMMAND} -S ${SOURCE}/examples/plugin -B ${work}/plugin -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug)
step(${CMAKE_COMMAND} --build ${work}/plugin)
step(${CMAKE_COMMAND} --install ${work}/plugin --prefix ${prefix})
if(NOT EXISTS ${prefix}/bin/linux64/settings_plugins/libexample_checks.so)
    message(FATAL_ERROR "the example plug-in is not where plug-ins are looked for")
endif()
message(STATUS "plug-in: ok")

step(${CMAKE_COMMAND} -S ${SOURCE}/examples/toolboxes/service -B ${work}/toolbox -G ${GENERATOR}
    -DCMAKE_CXX_COMPILER=${COMPILER} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_BUILD_TYPE=Debug)
step(${CMAKE_COMMAND} --build ${work}/toolbox)
step(${CMAKE_COMMAND} --install ${work}/toolbox --prefix ${prefix})
if(EXISTS ${prefix}/bin/vksettings)
    step(${CMAKE_COMMAND} -E env SETTINGS_FACTORYDIR=${work} SETTINGS_USERDIR=${work} SETTINGS_INSTALLATIONDIR=${work}
        ${prefix}/bin/vksettings get telemetry.buffer.samples)
    if(NOT output STREQUAL "1024\n")
        message(FATAL_ERROR "the example toolbox gave: ${output}")
    endif()
endif()
message(STATUS "toolbox: ok")

set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
step(pkg-config --cflags --libs settingscore)
separate_arguments(flags UNIX_COMMAND "${output}")
step(${COMPILER} -std=c++20 ${consumer}/main.cpp -o ${work}/by_pkg_config ${flags} -Wl,-rpath,${prefix}/${LIBDIR})
step(${work}/by_pkg_config)
expect_greeting(pkg-config)

step(${CMAKE_COMMAND} -S ${consumer} -B ${work}/subdirectory -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DSETTINGSCORE_SOURCE=${SOURCE})
message(STATUS "add_subdirectory: configured")

if(EXISTS ${prefix}/bin/vksettings)
    step(${CMAKE_COMMAND} -E env --unset=LD_LIBRARY_PATH ldd ${prefix}/bin/vksettings)
    if(NOT output MATCHES "libsettingscore[^\n]*=> ${prefix}/")
        message(FATAL_ERROR "the installed tool does not find its library beside it:\n${output}")
    endif()
    message(STATUS "tool: finds its libraries")
endif()
file(REMOVE_RECURSE ${work})

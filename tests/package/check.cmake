# Installs the build into a folder of its own, moves that folder, and has the consumer project find, use and run it.
set(work ${BUILD}/tests/package/work)
file(REMOVE_RECURSE ${work})

# Everything must survive a move to a path that nobody thought of.
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --config ${CONFIGURATION} --prefix ${work}/installed
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
set(package "${work}/moved elsewhere")
file(RENAME ${work}/installed ${package})

file(GLOB_RECURSE texts ${package}/*.h ${package}/*.def ${package}/*.cmake)
if(NOT texts)
    message(FATAL_ERROR "Nothing was installed.")
endif()
foreach(file ${texts})
    file(READ ${file} text)
    foreach(folder ${SOURCE} ${BUILD})
        string(FIND "${text}" "${folder}" at)
        if(NOT at EQUAL -1)
            message(SEND_ERROR "${file} names ${folder}, which the package must not need.")
        endif()
    endforeach()
endforeach()

# hsmbase.h promises every header.
file(READ ${package}/include/hsmbase/hsmbase.h all)
file(GLOB_RECURSE headers RELATIVE ${package}/include ${package}/include/hsmbase/*.h)
list(FILTER headers EXCLUDE REGEX "^hsmbase/(hsmbase.h|classlib/)")
foreach(header ${headers})
    string(FIND "${all}" "#include \"${header}\"" at)
    if(at EQUAL -1)
        message(SEND_ERROR "hsmbase.h does not include ${header}.")
    endif()
endforeach()

set(toolchain)
if(TOOLCHAIN)
    set(toolchain -D CMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
execute_process(
    COMMAND ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/consumer -B ${work}/build -G ${GENERATOR}
        -D CMAKE_BUILD_TYPE=${CONFIGURATION} -D CMAKE_PREFIX_PATH=${package} ${toolchain}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${work}/build --config ${CONFIGURATION}
    OUTPUT_VARIABLE said RESULT_VARIABLE result)
if(result)
    message(FATAL_ERROR "The consumer does not build:\n${said}")
endif()

file(GLOB_RECURSE program ${work}/build/consumer.exe)
execute_process(COMMAND ${EMULATOR} ${program} OUTPUT_VARIABLE said RESULT_VARIABLE result)
string(REPLACE "\r\n" "\n" said "${said}")
file(READ ${CMAKE_CURRENT_LIST_DIR}/consumer/expected.txt expected)
if(result OR NOT said STREQUAL expected)
    message(FATAL_ERROR "The consumer ended with ${result} and wrote\n${said}instead of\n${expected}")
endif()

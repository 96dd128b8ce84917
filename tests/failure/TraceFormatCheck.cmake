# Proves that a trace format is checked against its arguments while compiling: each statement of the table is compiled by
# itself and must pass, or fail with the name of the rule that it breaks.
#
#     cmake -DCOMPILER=... -DSOURCE_DIR=... -DWORK_DIR=... -P TraceFormatCheck.cmake
set(more f_traceFormatAsksForMoreArguments)
set(unfit f_traceArgumentDoesNotFitItsConversion)
set(unused f_traceFormatLeavesAnArgumentUnused)

# <expected> | <arguments of ICTrace(...).mf_error>
set(rows
    "pass   | L\"plain\""
    "pass   | L\"%s %lu %d %c %8.8x %-4hu\", CString(), 1ul, 2, 37, 3u, static_cast<unsigned short>(4)"
    "pass   | L\"%I64d %p\", 5ll, static_cast<void *>(nullptr)"
    "pass   | TRACE_UNCHECKED{L\"%s $s\"}, L\"a\", L\"surplus\""
    "more   | L\"%s\""
    "more   | L\"%lu of %lu\", 1ul"
    "unused | L\"plain\", 1"
    "unused | L\"%lu\", 1ul, L\"surplus\""
    "unfit  | L\"%s\", 1ul"
    "unfit  | L\"%lu\", L\"text\""
    "unfit  | L\"%lu\", 1ll"
    "unfit  | L\"%I64d\", 1"
    "unfit  | L\"%s\", \"8-bit\""
    "unfit  | L\"100%% %lu\", 1ul"
    "unfit  | L\"%f\", 1.0"
    "unfit  | L\"%*d\", 1, 2")

set(source ${WORK_DIR}/trace_format_check.cpp)
foreach(row IN LISTS rows)
    string(REGEX MATCH "^([a-z]+) *\\| (.*)$" matched "${row}")
    set(expected ${CMAKE_MATCH_1})
    set(arguments "${CMAKE_MATCH_2}")
    file(WRITE ${source} "#include \"hsmbase/failure/internal/ICTrace.h\"\n"
        "void f_site() { ICTrace(L\"site\").mf_error(${arguments}); }\n")
    execute_process(COMMAND ${COMPILER} -std=c++20 -fsyntax-only -DUNICODE -D_UNICODE -D__USE_MINGW_ANSI_STDIO=0
        -I${SOURCE_DIR} -I${SOURCE_DIR}/classlib ${source} RESULT_VARIABLE result ERROR_VARIABLE messages)
    if(expected STREQUAL "pass")
        if(NOT result EQUAL 0)
            message(FATAL_ERROR "refused, but right: ${arguments}\n${messages}")
        endif()
    elseif(result EQUAL 0)
        message(FATAL_ERROR "accepted, but wrong: ${arguments}")
    elseif(NOT messages MATCHES "${${expected}}")
        message(FATAL_ERROR "refused without naming ${${expected}}: ${arguments}\n${messages}")
    endif()
    message(STATUS "${expected}: ${arguments}")
endforeach()

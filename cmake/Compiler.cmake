# What every target of this project is compiled with: the interface target hsmbase_options.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# msvcrt's wide-format semantics (%s takes wide text) need MinGW's own stdio replacement to stay out of the way.
add_library(hsmbase_options INTERFACE)
target_compile_definitions(hsmbase_options INTERFACE UNICODE _UNICODE NOMINMAX _WIN32_WINNT=0x0601)

if(MSVC)
    set(CMAKE_MFC_FLAG 2)
    target_compile_definitions(hsmbase_options INTERFACE _AFXDLL)
    target_compile_options(hsmbase_options INTERFACE /utf-8 /W4 /permissive- $<$<BOOL:${HSMBASE_WERROR}>:/WX>)
    return()
endif()

target_compile_definitions(hsmbase_options INTERFACE __USE_MINGW_ANSI_STDIO=0 MINGW_HAS_SECURE_API=1)
target_compile_options(hsmbase_options INTERFACE
    -Wall -Wextra -Wconversion -Wsign-conversion
    # A class object passed through "..." is printed as garbage; GCC accepts it silently without this.
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Werror=conditionally-supported>
    $<$<BOOL:${HSMBASE_WERROR}>:-Werror>)
if(HSMBASE_UBSAN)
    target_compile_options(hsmbase_options INTERFACE
        $<$<COMPILE_LANGUAGE:C,CXX>:-fsanitize=undefined;-fsanitize-undefined-trap-on-error>)
endif()
if(HSMBASE_COVERAGE)
    target_compile_options(hsmbase_options INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:--coverage>)
    target_link_options(hsmbase_options INTERFACE --coverage)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    # GCC links the thread library by itself.
    string(APPEND CMAKE_CXX_STANDARD_LIBRARIES " -lpthread")
endif()

find_program(CCACHE ccache)
if(CCACHE)
    set(launcher ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER ${launcher})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${launcher})
endif()

# The run-time DLLs that program and library share; exceptions cross the boundary between them.
separate_arguments(flags NATIVE_COMMAND "${CMAKE_CXX_FLAGS}")
foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} ${flags} -print-file-name=${name}
        OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND HSMBASE_RUNTIME_DLLS ${file})
    file(COPY ${file} DESTINATION ${PROJECT_BINARY_DIR}/bin)
endforeach()

# The same target as mingw-w64.cmake with clang as compiler, on GCC's run-time libraries: a second opinion on the sources.
include(${CMAKE_CURRENT_LIST_DIR}/mingw-w64.cmake)
execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-libgcc-file-name
    OUTPUT_VARIABLE libgcc OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
get_filename_component(gcc ${libgcc} DIRECTORY)

set(CMAKE_C_COMPILER clang-16)
set(CMAKE_CXX_COMPILER clang++-16)
# clang looks for the libraries of GCC's other thread flavour, so it is told where they are.
set(CMAKE_C_FLAGS_INIT "--target=${triplet} -B${gcc}")
set(CMAKE_CXX_FLAGS_INIT "--target=${triplet} -B${gcc} \
-stdlib++-isystem ${gcc}/include/c++ -cxx-isystem ${gcc}/include/c++/${triplet}")
foreach(kind EXE SHARED MODULE)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-L${gcc}")
endforeach()

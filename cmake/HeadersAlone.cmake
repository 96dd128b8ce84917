# Target headers_alone: compiles a source for each header that includes that header and nothing else, so that no header
# leans on what happens to be included before it. Part of ./dev lint.
file(GLOB_RECURSE headers RELATIVE ${PROJECT_SOURCE_DIR} CONFIGURE_DEPENDS
    classlib/*.h hsmbase/*.h frame/*.h languages/*.h programs/*.h tests/*.h winehost/*.h)
set(sources)
foreach(header ${headers})
    string(REPLACE "/" "_" source ${header})
    set(source ${PROJECT_BINARY_DIR}/headers_alone/${source}.cpp)
    file(GENERATE OUTPUT ${source} CONTENT "#include \"${header}\"\n")
    list(APPEND sources ${source})
endforeach()
add_library(headers_alone OBJECT EXCLUDE_FROM_ALL ${sources})
target_link_libraries(headers_alone PRIVATE hsmbase test_support hsmbase_options)
target_compile_options(headers_alone PRIVATE -fno-access-control)
# The lists that are made from the texts.
target_include_directories(headers_alone PRIVATE ${PROJECT_BINARY_DIR}/tests/languages)
set_target_properties(headers_alone PROPERTIES CXX_CLANG_TIDY "")

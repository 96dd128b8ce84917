# cmake --install gives a tree in which find_package(hsmbase CONFIG) finds hsmbase::hsmbase.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/hsmbase)

configure_package_config_file(cmake/hsmbase-config.cmake.in ${PROJECT_BINARY_DIR}/hsmbase-config.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/hsmbase-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/hsmbase-config.cmake ${PROJECT_BINARY_DIR}/hsmbase-config-version.cmake
    DESTINATION ${package_dir})
install(EXPORT hsmbase-targets NAMESPACE hsmbase:: DESTINATION ${package_dir})

if(MINGW)
    install(TARGETS classlib EXPORT hsmbase-targets)
    install(FILES ${HSMBASE_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})

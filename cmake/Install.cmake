# cmake --install gives a tree in which find_package(hsmbase CONFIG) finds hsmbase::hsmbase.
include(CMakePackageConfigHelpers)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/hsmbase)

configure_package_config_file(cmake/hsmbase-config.cmake.in ${PROJECT_BINARY_DIR}/hsmbase-config.cmake
    INSTALL_DESTINATION ${package_dir} PATH_VARS CMAKE_INSTALL_BINDIR)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/hsmbase-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/hsmbase-config.cmake ${PROJECT_BINARY_DIR}/hsmbase-config-version.cmake
    DESTINATION ${package_dir})
install(EXPORT hsmbase-targets NAMESPACE hsmbase:: DESTINATION ${package_dir})

if(MINGW)
    install(TARGETS classlib EXPORT hsmbase-targets)
    install(FILES ${HSMBASE_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
    # They come with debug information ten times their size, and --strip passes files by.
    foreach(file ${HSMBASE_RUNTIME_DLLS})
        get_filename_component(name ${file} NAME)
        install(CODE "if(CMAKE_INSTALL_DO_STRIP)
    execute_process(COMMAND \"${CMAKE_STRIP}\" \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/${name}\"
        COMMAND_ERROR_IS_FATAL ANY)
endif()")
    endforeach()
endif()
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs/ DESTINATION ${CMAKE_INSTALL_DOCDIR})

# Target shipped: all that is installed, without tests and benchmarks.
add_custom_target(shipped DEPENDS hsmbase hsmframe languages)
if(TARGET hsmscan)
    add_dependencies(shipped hsmscan)
endif()

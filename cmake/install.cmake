# What `cmake --install` lays down and CPack packs: the library for programs that run (runtime), and what programs are
# built with (development).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/KALMarble)
set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/kalmarble)

install(TARGETS kalmarble EXPORT KALMarbleTargets
    RUNTIME COMPONENT runtime
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/include/KALMarble.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# find_package(KALMarble): the target KALMarble::KALMarble.
install(EXPORT KALMarbleTargets NAMESPACE KALMarble:: DESTINATION ${package_dir} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/KALMarbleConfig.cmake.in KALMarbleConfig.cmake
    INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(KALMarbleConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KALMarbleConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/KALMarbleConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT development)

# pkg-config kalmarble: from wherever the files lie.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/kalmarble.pc.in kalmarble.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kalmarble.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

foreach(example kal_blocks.h kal_loader.h kal_voice.h minimal_host.c sdl_host.c circling_host.cpp)
    install(FILES ${PROJECT_SOURCE_DIR}/examples/${example} DESTINATION ${doc_dir}/examples COMPONENT development)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/build/docs/html DESTINATION ${doc_dir} COMPONENT development OPTIONAL)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION ${doc_dir} COMPONENT development)
file(READ ${PROJECT_SOURCE_DIR}/LICENSE license)
file(READ ${PROJECT_SOURCE_DIR}/NOTICE notice)
file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/copyright "${license}\n${notice}")
foreach(package runtime:libkalmarble${PROJECT_VERSION_MAJOR} development:libkalmarble-dev)
    string(REPLACE ":" ";" package ${package})
    list(GET package 0 component)
    list(GET package 1 name)
    install(FILES ${CMAKE_CURRENT_BINARY_DIR}/copyright
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${component})
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${upper}_FILE_NAME DEB-DEFAULT)
endforeach()

# The Debian packages: `cpack -G DEB`.
set(CPACK_PACKAGE_NAME kalmarble)
set(CPACK_PACKAGE_CONTACT "the KALMarble authors <maintainers@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_STRIP_FILES OFF)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkalmarble${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "what programs that use it are built with")
include(CPack)

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
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE ${PROJECT_SOURCE_DIR}/CHANGELOG.md
    DESTINATION ${doc_dir} COMPONENT development)

if(UNIX)
    include(cmake/debian.cmake)
endif()

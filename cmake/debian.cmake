# The Debian packages: `cpack -G DEB`. One holds what programs run with, the other what they are built with.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE license)
file(READ ${PROJECT_SOURCE_DIR}/NOTICE notice)
set(CPACK_PACKAGE_CONTACT "the KALMarble authors <maintainers@localhost>")
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # SOURCE_DATE_EPOCH, where it is set
set(debian ${CMAKE_CURRENT_BINARY_DIR}/debian)
file(WRITE ${debian}/copyright "${license}\n${notice}")
file(WRITE ${debian}/changelog "kalmarble (${PROJECT_VERSION}) unstable; urgency=medium

  * Version ${PROJECT_VERSION}: what changed stands in CHANGELOG.md, in libkalmarble-dev.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
file(WRITE ${debian}/triggers "activate-noawait ldconfig\n")
execute_process(COMMAND gzip -n9f ${debian}/changelog COMMAND_ERROR_IS_FATAL ANY)

foreach(package runtime:libkalmarble${PROJECT_VERSION_MAJOR} development:libkalmarble-dev)
    string(REPLACE ":" ";" package ${package})
    list(GET package 0 component)
    list(GET package 1 name)
    install(FILES ${debian}/copyright ${debian}/changelog.gz
        DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${name} COMPONENT ${component})
    string(TOUPPER ${component} upper)
    set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name})
    set(CPACK_DEBIAN_${upper}_FILE_NAME DEB-DEFAULT)
endforeach()

set(CPACK_PACKAGE_NAME kalmarble)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_COMPONENTS_ALL runtime development)
set(CPACK_STRIP_FILES OFF)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${debian}/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "Sounds are placed around the listener, set into a room and mixed to stereo.\nThis package holds the shared library.")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libkalmarble${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
    "This package holds the header, examples and documents, and what CMake and\npkg-config find the library by.")
include(CPack)

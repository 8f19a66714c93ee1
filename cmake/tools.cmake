# What the tools share: their libraries, each looked for once, and how they are built and installed. Tools are for the
# machine that builds; only what renders scenes is cross-built too.
include(GNUInstallDirs)
find_package(PkgConfig QUIET)

# Headers only, so cross-builds take those of the machine that builds.
find_path(KAL_JSON_INCLUDE_DIR nlohmann/json.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH)
if(KAL_JSON_INCLUDE_DIR)
    set(headers ${PROJECT_BINARY_DIR}/headers)
    file(MAKE_DIRECTORY ${headers})
    file(CREATE_LINK ${KAL_JSON_INCLUDE_DIR}/nlohmann ${headers}/nlohmann SYMBOLIC)
    add_library(kal_json INTERFACE)
    target_include_directories(kal_json SYSTEM INTERFACE ${headers})
endif()

# kal_find(NAME WHAT GROUP [MODULES...] [TARGETS...]): sets NAME_FOUND, and makes the target PkgConfig::NAME of what
# pkg-config knows as MODULES, or says in one line that WHAT is left out.
function(kal_find name what group)
    cmake_parse_arguments(needs "" "" "MODULES;TARGETS" ${ARGN})
    set(found OFF)
    if(NOT CMAKE_CROSSCOMPILING AND PKG_CONFIG_FOUND)
        pkg_check_modules(${name} QUIET IMPORTED_TARGET GLOBAL ${needs_MODULES})
        set(found ${${name}_FOUND})
        foreach(target ${needs_TARGETS})
            if(NOT TARGET ${target})
                set(found OFF)
            endif()
        endforeach()
    endif()
    if(NOT found AND NOT CMAKE_CROSSCOMPILING)
        list(APPEND needs_MODULES ${needs_TARGETS})
        list(JOIN needs_MODULES ", " all)
        message(STATUS "No ${what}: it needs ${all} (tools/setup.sh ${group})")
    endif()
    set(${name}_FOUND ${found} PARENT_SCOPE)
endfunction()

# kal_install_tool(TOOL): a program that calls tools::Run, with the manual page and the completion that it prints, if it
# has been built.
function(kal_install_tool tool)
    set(page ${CMAKE_CURRENT_BINARY_DIR}/${tool}.1)
    set(completion ${CMAKE_CURRENT_BINARY_DIR}/${tool}.bash)
    add_custom_command(TARGET ${tool} POST_BUILD VERBATIM
        COMMAND ${tool} --man > ${page}
        COMMAND ${tool} --bash-completion > ${completion})
    install(TARGETS ${tool} RUNTIME COMPONENT ${tool} OPTIONAL)
    install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT ${tool} OPTIONAL)
    install(FILES ${completion} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${tool}
        COMPONENT ${tool} OPTIONAL)
endfunction()

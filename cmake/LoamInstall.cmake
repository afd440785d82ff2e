# What `cmake --install` lays out beside the programs (apps/CMakeLists.txt): headers, libraries, the
# CMake package and the .pc file `LoamSystemAcl`. The headers have a folder of their own, so that their
# short include roots (<Asic/...>, <Zet/...>) meet nobody else's.
include(CMakePackageConfigHelpers)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/${PROJECT_NAME})
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/${PROJECT_NAME})
set(libraries LoamPlatform LoamSystemAclTypes LoamSystemAclTcamSwTblSwTable)

foreach(library IN LISTS libraries)
    target_include_directories(${library} PUBLIC $<INSTALL_INTERFACE:${headers}>)
    target_compile_features(${library} PUBLIC cxx_std_20)
endforeach()
install(TARGETS ${libraries} EXPORT ${PROJECT_NAME}Targets)

# Patterns are nothing to a client; what was written from them is.
install(
    DIRECTORY platform/ DESTINATION ${headers}
    FILES_MATCHING
    PATTERN "*.h"
    PATTERN "LoamSystemAclTypes/Xxx*" EXCLUDE
    PATTERN "LoamSystemAclTypes/AllTables.h" EXCLUDE)
install(DIRECTORY OrderedTable DESTINATION ${headers} FILES_MATCHING PATTERN "*.h")
install(
    DIRECTORY LoamSystemAcl ${PROJECT_BINARY_DIR}/generated/LoamSystemAcl DESTINATION ${headers}
    FILES_MATCHING
    PATTERN "*.h"
    PATTERN "Xxx*" EXCLUDE
    PATTERN "LogMessages.h" EXCLUDE
    PATTERN "list" EXCLUDE)
install(FILES catalogue/Catalogue.h ${LOAM_CATALOGUE_FILE} DESTINATION ${headers}/catalogue)

install(EXPORT ${PROJECT_NAME}Targets NAMESPACE ${PROJECT_NAME}:: DESTINATION ${package})
configure_package_config_file(
    cmake/${PROJECT_NAME}Config.cmake.in ${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake
    INSTALL_DESTINATION ${package})
# Before 1.0 a minor version may change what a client compiles against.
write_basic_package_version_file(
    ${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake
              ${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake DESTINATION ${package})

# The tree can be moved: the .pc file finds its prefix from where it lies.
file(RELATIVE_PATH LOAM_PREFIX_FROM_PC ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/${PROJECT_NAME}.pc.in ${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

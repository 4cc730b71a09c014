# What `cmake --install` puts in place: headers, library, package config, pkg-config file and models.
include(CMakePackageConfigHelpers)

# Builds what is installed, and none of the tests, examples and benchmarks.
add_custom_target(zqInstallable)
add_dependencies(zqInstallable zqManipulator)

set(zqPackageDir "${CMAKE_INSTALL_LIBDIR}/cmake/zqManipulator")

install(
   TARGETS zqManipulator
   EXPORT zqManipulatorTargets
   LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
   ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
   RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
   FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

install(
   EXPORT zqManipulatorTargets
   NAMESPACE zqManipulator::
   DESTINATION "${zqPackageDir}")

get_target_property(zqLibraryType zqManipulator TYPE)
if(zqLibraryType STREQUAL "STATIC_LIBRARY")
   set(ZQ_IS_STATIC ON)
else()
   set(ZQ_IS_STATIC OFF)
endif()

configure_package_config_file(
   cmake/zqManipulatorConfig.cmake.in "${PROJECT_BINARY_DIR}/cmake/zqManipulatorConfig.cmake"
   INSTALL_DESTINATION "${zqPackageDir}"
   NO_SET_AND_CHECK_MACRO)

write_basic_package_version_file("${PROJECT_BINARY_DIR}/cmake/zqManipulatorConfigVersion.cmake"
                                 COMPATIBILITY SameMinorVersion)

install(FILES "${PROJECT_BINARY_DIR}/cmake/zqManipulatorConfig.cmake"
              "${PROJECT_BINARY_DIR}/cmake/zqManipulatorConfigVersion.cmake"
        DESTINATION "${zqPackageDir}")

# The prefix is told relative to the place of the file, so that an installed tree can be moved.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
   set(ZQ_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
   set(ZQ_PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
   set(ZQ_PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
   file(RELATIVE_PATH zqUpToPrefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
   string(REGEX REPLACE "/$" "" zqUpToPrefix "${zqUpToPrefix}")
   set(ZQ_PC_PREFIX "\${pcfiledir}/${zqUpToPrefix}")
   set(ZQ_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
   set(ZQ_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()

configure_file(cmake/zqManipulator.pc.in "${PROJECT_BINARY_DIR}/cmake/zqManipulator.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/cmake/zqManipulator.pc"
        DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(
   DIRECTORY "${PROJECT_SOURCE_DIR}/examples/models"
   DESTINATION "${CMAKE_INSTALL_DATADIR}/zqManipulator"
   FILES_MATCHING
   PATTERN "*.csv"
   PATTERN "*.xml")

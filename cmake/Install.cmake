# What cmake --install makes.
if(WIN32)
    include(cmake/InstallWindows.cmake)
    return()
endif()

# Program, libraries, module and texts share one folder, as in the build, and find each
# other beside themselves wherever that folder is taken; the program has a link in bin/. Beside it what somebody else
# needs to write a module: the contracts' headers, and the package DriveTest for find_package().
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
set(home ${CMAKE_INSTALL_LIBDIR}/drivetest)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/DriveTest)

# As the numbers begin with 0, any new one in the middle may be incompatible.
set_target_properties(zel quix5 libDrive2 PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/DriveTestConfigVersion.cmake COMPATIBILITY SameMinorVersion)

install(TARGETS drivetest libDriveTest RUNTIME DESTINATION ${home} LIBRARY DESTINATION ${home})
install(TARGETS zel quix5 libDrive2 contracts module EXPORT DriveTest
        RUNTIME DESTINATION ${home} LIBRARY DESTINATION ${home}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drivetest)
install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/libDriveTest.qpk ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/drivetest.qpk
        DESTINATION ${home})
file(RELATIVE_PATH program /${CMAKE_INSTALL_BINDIR} /${home}/drivetest)
install(CODE "
    file(MAKE_DIRECTORY \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}\")
    file(CREATE_LINK ${program} \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/drivetest\" SYMBOLIC)")

install(DIRECTORY ${CMAKE_BINARY_DIR}/share/ DESTINATION ${CMAKE_INSTALL_DATAROOTDIR})
install(FILES drivetest/grade/grade.toml DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/drivetest)
install(DIRECTORY drivetest/plan/plans DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/drivetest)

install(DIRECTORY contracts/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/drivetest)
install(EXPORT DriveTest NAMESPACE DriveTest:: FILE DriveTestTargets.cmake DESTINATION ${package})
install(FILES cmake/DriveTestConfig.cmake ${CMAKE_BINARY_DIR}/DriveTestConfigVersion.cmake
        cmake/ResourcePackage.cmake cmake/BuildResourcePackage.cmake DESTINATION ${package})

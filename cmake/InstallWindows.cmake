# On Windows: one folder, which may be put anywhere, and the package that is one in a ZIP file.
install(TARGETS drivetest zel quix5 libDrive2 libDriveTest RUNTIME DESTINATION . LIBRARY DESTINATION .)
install(FILES ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/libDriveTest.qpk ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/drivetest.qpk
        README.md drivetest/windows/NOTICES.txt drivetest/grade/grade.toml
        scripts/prove-windows.ps1 DESTINATION .)
install(DIRECTORY docs drivetest/plan/plans DESTINATION .)
# The licences of what is linked in, as the packages that it comes from tell them.
foreach(package libcli11-dev nlohmann-json3-dev libtomlplusplus-dev libjs-dygraphs libxxhash-dev g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev)
    install(FILES /usr/share/doc/${package}/copyright DESTINATION licenses RENAME ${package}.txt)
endforeach()

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME drivetest-${PROJECT_VERSION}-windows-x86_64)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)

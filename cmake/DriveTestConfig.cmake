# For modules of tests: DriveTest::module is what one links, drivetest_texts() builds its texts.
include(${CMAKE_CURRENT_LIST_DIR}/DriveTestTargets.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/ResourcePackage.cmake)

# PackBits beside libtiff's codec: libtiff reads and writes strips in memory.
find_package(TIFF REQUIRED)
target_link_libraries(${name} PRIVATE TIFF::TIFF)
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support)

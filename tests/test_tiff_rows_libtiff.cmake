find_package(TIFF REQUIRED)
find_package(ZLIB REQUIRED)
target_link_libraries(${name} PRIVATE TIFF::TIFF ZLIB::ZLIB)

find_package(TIFF REQUIRED)
target_link_libraries(${name} PRIVATE TIFF::TIFF)

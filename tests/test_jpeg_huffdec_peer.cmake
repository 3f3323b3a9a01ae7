# libjpeg-turbo reads the same files for the comparison.
find_package(JPEG REQUIRED)
target_link_libraries(${name} PRIVATE JPEG::JPEG)

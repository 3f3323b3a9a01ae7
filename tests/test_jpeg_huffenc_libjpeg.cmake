find_package(JPEG REQUIRED)
target_link_libraries(${name} PRIVATE JPEG::JPEG)

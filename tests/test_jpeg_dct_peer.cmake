# libjpeg (libjpeg-turbo) as the peer: quality tables, its encoder's
# coefficients and its decoder.
find_package(JPEG REQUIRED)
target_link_libraries(${name} PRIVATE JPEG::JPEG)

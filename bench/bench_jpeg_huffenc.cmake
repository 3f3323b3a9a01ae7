# libjpeg-turbo beside the library: its entropy-only path (coefficients in,
# jpeg_write_coefficients to memory) in the same binary.
find_package(JPEG REQUIRED)
target_link_libraries(${name} PRIVATE JPEG::JPEG)

# libjpeg-turbo beside the library: its accurate forward DCT is reached
# through the compressor's forward-DCT module (jpegint.h).
find_package(JPEG REQUIRED)
target_link_libraries(${name} PRIVATE JPEG::JPEG)

# libjpeg-turbo beside the library: jpeg_read_coefficients on the same file,
# in the same binary; the small marker parser of the tests finds the tables.
find_package(JPEG REQUIRED)
target_link_libraries(${name} PRIVATE JPEG::JPEG)
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support)

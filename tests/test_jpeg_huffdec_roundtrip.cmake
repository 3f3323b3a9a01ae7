# The library's own encoder produces the streams.
target_link_libraries(${name} PRIVATE ozrj_jpeg_huffenc)

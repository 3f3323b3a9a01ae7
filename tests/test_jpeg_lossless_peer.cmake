# The files are written with the library's encoder and read back by DCMTK's
# dcmdjpeg (Debian package dcmtk); the test skips when it is missing.
target_link_libraries(${name} PRIVATE ozrj_jpeg_huffenc)

# Interoperability with libjpeg-turbo: its decoder's planes and up-sampling,
# its raw-data encoder, and TurboJPEG's colour conversion.
find_package(JPEG REQUIRED)
find_library(OZRJ_TURBOJPEG_LIB turbojpeg REQUIRED)
target_link_libraries(${name} PRIVATE JPEG::JPEG ${OZRJ_TURBOJPEG_LIB} ozrj_jpeg_color)

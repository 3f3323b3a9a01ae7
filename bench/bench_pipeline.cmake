# Whole pipelines: the ozrj program's JPEG encoder beside libjpeg-turbo's
# TurboJPEG API, and (when the reader is present) lossless JPEG2000 decoding
# beside OpenJPEG's library.
find_package(PkgConfig REQUIRED)
pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg)
pkg_check_modules(OPENJP2 IMPORTED_TARGET libopenjp2)
file(GLOB tool_srcs ${PROJECT_SOURCE_DIR}/tools/*.cpp)
list(FILTER tool_srcs EXCLUDE REGEX "/ozrj\\.cpp$")
target_sources(${name} PRIVATE ${tool_srcs})
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tools)
target_link_libraries(${name} PRIVATE PkgConfig::TURBOJPEG)
if(OPENJP2_FOUND)
  target_link_libraries(${name} PRIVATE PkgConfig::OPENJP2)
  target_compile_definitions(${name} PRIVATE OZRJ_HAVE_OPENJP2=1)
endif()

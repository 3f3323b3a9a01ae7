# The tools reader is compiled in; OpenJPEG (libopenjp2-7-dev) is the peer
# library, opj_decompress and grk_decompress the peer programs.
target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tools/j2k_reader.cpp)
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tools)
find_package(OpenJPEG CONFIG QUIET)
if(OPENJPEG_INCLUDE_DIRS)
  target_include_directories(${name} PRIVATE ${OPENJPEG_INCLUDE_DIRS})
else()
  find_path(OZRJ_OPENJPEG_INCLUDE openjpeg.h PATH_SUFFIXES openjpeg-2.5 REQUIRED)
  target_include_directories(${name} PRIVATE ${OZRJ_OPENJPEG_INCLUDE})
endif()
find_library(OZRJ_OPENJP2_LIB openjp2 REQUIRED)
target_link_libraries(${name} PRIVATE ${OZRJ_OPENJP2_LIB})
# The ozrj program, timed beside the peer programs (file in, PPM out).
if(TARGET ozrj)
  target_compile_definitions(${name} PRIVATE OZRJ_TOOL="$<TARGET_FILE:ozrj>")
  add_dependencies(${name} ozrj)
endif()

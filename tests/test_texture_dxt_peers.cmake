# libsquish decodes our blocks and encodes blocks for us (libsquish-dev).
find_library(SQUISH_LIBRARY NAMES squish REQUIRED)
find_path(SQUISH_INCLUDE_DIR squish.h REQUIRED)
target_include_directories(${name} PRIVATE ${SQUISH_INCLUDE_DIR})
target_link_libraries(${name} PRIVATE ${SQUISH_LIBRARY})

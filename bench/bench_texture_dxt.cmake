# Peers measured in the same binary: stb_dxt (header-only, libstb-dev) and
# libsquish (libsquish-dev).
find_path(STB_DXT_INCLUDE_DIR stb/stb_dxt.h REQUIRED)
find_library(SQUISH_LIBRARY NAMES squish REQUIRED)
find_path(SQUISH_INCLUDE_DIR squish.h REQUIRED)
target_include_directories(${name} PRIVATE ${STB_DXT_INCLUDE_DIR} ${SQUISH_INCLUDE_DIR})
target_link_libraries(${name} PRIVATE ${SQUISH_LIBRARY})

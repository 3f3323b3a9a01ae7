# The codestream reader of the ozrj program is compiled into the test; it uses
# only the public API.  opj_compress (libopenjp2-tools) writes the codestreams.
target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tools/j2k_reader.cpp)
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tools)
target_link_libraries(${name} PRIVATE ozrj_internal)

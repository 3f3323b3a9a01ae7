# The program's pipelines are compiled into the test (all but main), checked
# against libjpeg and libtiff, and the program itself is run on bad input.
find_package(JPEG REQUIRED)
find_package(TIFF REQUIRED)
file(GLOB tool_srcs ${PROJECT_SOURCE_DIR}/tools/*.cpp)
list(FILTER tool_srcs EXCLUDE REGEX "/ozrj\\.cpp$")
target_sources(${name} PRIVATE ${tool_srcs})
target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tools)
target_link_libraries(${name} PRIVATE JPEG::JPEG TIFF::TIFF)
if(TARGET ozrj)
  add_dependencies(${name} ozrj)
  target_compile_definitions(${name} PRIVATE OZRJ_TOOL_PATH="$<TARGET_FILE:ozrj>")
endif()

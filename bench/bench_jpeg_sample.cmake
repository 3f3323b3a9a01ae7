# libjpeg-turbo's colour conversion (TurboJPEG) as the peer, when installed.
find_library(OZRJ_BENCH_TURBOJPEG_LIB turbojpeg)
find_path(OZRJ_BENCH_TURBOJPEG_INC turbojpeg.h)
if(OZRJ_BENCH_TURBOJPEG_LIB AND OZRJ_BENCH_TURBOJPEG_INC)
  target_include_directories(${name} PRIVATE ${OZRJ_BENCH_TURBOJPEG_INC})
  target_link_libraries(${name} PRIVATE ${OZRJ_BENCH_TURBOJPEG_LIB})
  target_compile_definitions(${name} PRIVATE OZRJ_BENCH_TURBOJPEG)
endif()
target_link_libraries(${name} PRIVATE OpenMP::OpenMP_CXX)

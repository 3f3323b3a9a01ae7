# Row coding uses the encoder's bit writer; the tests build decoder tables.
target_link_libraries(${name} PRIVATE ozrj_jpeg_huffenc ozrj_jpeg_huffdec)

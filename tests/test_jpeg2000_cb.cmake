# The code-block decoder runs on the MQ decoder; the tests also use the MQ encoder.
target_link_libraries(${name} PRIVATE ozrj_jpeg2000_mq)

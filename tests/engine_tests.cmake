# The codec and the transport, with a clock moved by hand.

# The codec alone: T140CodecSendTest.cpp takes the transport's place.
vrn_engine_test(codec_tests
  codec/T140CodecReceiveTest.cpp
  codec/T140CodecSendTest.cpp
  codec/Utf8Test.cpp
  support/ManualTime.cpp)
target_link_libraries(codec_tests PRIVATE vrn_model)

# The transport, in a simulated host and alone.
add_executable(transport_tests transport/CRTCPTest.cpp transport/CTextTransportManagerTest.cpp)
target_link_libraries(transport_tests PRIVATE vrn_simulated vrn_archive)
vrn_test_common(transport_tests)

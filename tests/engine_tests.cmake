# The codec and the transport, with a clock moved by hand.

# The codec alone: T140CodecSendTest.cpp takes the transport's place.
vrn_engine_test(codec_tests
  codec/T140CodecReceiveTest.cpp
  codec/T140CodecSendTest.cpp
  codec/Utf8Test.cpp
  support/ManualTime.cpp)

# The transport with its codec and real sockets on loopback.
vrn_engine_test(transport_tests
  support/ManualTime.cpp
  transport/CRTCPTest.cpp
  transport/CRTPTest.cpp
  transport/CTextTransportManagerReceiveTest.cpp
  transport/CTextTransportManagerRtcpTest.cpp
  transport/CTextTransportManagerTest.cpp)

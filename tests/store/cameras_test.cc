// Cameras, recorded streams and live streams.
#include <gtest/gtest.h>

#include "tests/support/store_fixture.h"

namespace vmr::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr e_CameraPort Port(unsigned int n) { return static_cast<e_CameraPort>(n); }
constexpr e_VideoStream Stream(unsigned int n) { return static_cast<e_VideoStream>(n); }

class Cameras : public StoreTest {
 protected:
  void ReportCamera(unsigned int port, int state, bool write = true) {
    store.ReportCameraState(Port(port), static_cast<e_CameraState>(state), write, 0);
  }
  void ReportStream(unsigned int stream, int state, bool write = true) {
    store.ReportVideoStreamState(Stream(stream), static_cast<e_StreamState>(state), write, 0);
  }
  const CameraMirror& Mirror() const { return store.Mirror().camera; }
};

// ---- Descriptions --------------------------------------------------------------

TEST_F(Cameras, WriteCameraDescOfPortZeroIsFront) {
  store.WriteCameraDesc(Port(0));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (8), newSlack (4)"));
  EXPECT_EQ(Items(), B("50 00 05 46 72 6F 6E 74"));
}

TEST_F(Cameras, EveryPortHasItsDescription) {
  const char* const names[] = {"Front",     "Secondary", "Aux3",      "Secondary",
                               "Invalid",   "Secondary", "Secondary", "Secondary",
                               "Secondary", "Invalid",   "Invalid"};
  for (unsigned char port = 0; port < 11; ++port) {
    const std::string name = names[port];
    store.WriteCameraDesc(Port(port));
    EXPECT_EQ(Items(), (Bytes{0x50, port, static_cast<unsigned char>(name.size())}) + Chars(name));
  }
}

TEST_F(Cameras, DescriptionIsShownAndNotHeld) {
  EXPECT_EQ(View(B("50 02 04") + Chars("Aux3")),
            "[Tag=CameraDesc, TagNo=0x50, port=2, name='Aux3']");
  EXPECT_EQ(View(B("50 FF 00")), "[Tag=CameraDesc, TagNo=0x50, port=255, name='']");
  EXPECT_EQ(View(B("50 00 03 41 00 42")), "[Tag=CameraDesc, TagNo=0x50, port=0, name='A']");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Cameras, ANullDescriptionIsLoggedUnderTheNameOfAnotherOperation) {
  store.PrintCameraDesc(nullptr);
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                                  "NULL passed to DataStore::StoreCameraDesc"}));
}

// ---- Camera states -------------------------------------------------------------

TEST_F(Cameras, WriteCameraStateThreeOfPortOneIs51Then10) {
  store.WriteCameraState(Port(1), CAMERA_STATE_3, 99);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 99 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (1)"));
  EXPECT_EQ(Items(), B("51 10"));
}

TEST_F(Cameras, StatesAreWrittenToTheLastByte) {
  ReportCamera(0, 1);
  ReportCamera(8, 2);
  ReportCamera(0, 0);
  EXPECT_EQ(Items(), B("51 01 51 82 51 00"));
}

TEST_F(Cameras, LowFourBitsOfPortAndStateAreRecorded) {
  store.WriteCameraState(Port(0x1F), static_cast<e_CameraState>(0x2E), 0);
  store.WriteCameraState(Port(0), static_cast<e_CameraState>(-1), 0);
  EXPECT_EQ(Items(), B("51 FE 51 0F"));
}

TEST_F(Cameras, AStateReportedTwiceIsRecordedOnceAndPrintedTwice) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] {
              ReportCamera(1, 2);
              ReportCamera(1, 2);
            }),
            "[Tag=CameraState, TagNo=0x51, Port=1-rear State=2-bg]"
            "[Tag=CameraState, TagNo=0x51, Port=1-rear State=2-bg]");
  EXPECT_EQ(Items(), B("51 12"));
}

TEST_F(Cameras, StateThreeIsHeldAsItIsThoughRecordedAsOff) {
  ReportCamera(1, 3);
  EXPECT_EQ(Mirror().cameras[1], CAMERA_STATE_3);
  ReportCamera(1, 0);
  EXPECT_EQ(Items(), B("51 10 51 10"));
}

TEST_F(Cameras, WithoutWriteOnlyTheMirrorMoves) {
  ReportCamera(8, 1, false);
  ReportStream(3, 1, false);
  EXPECT_EQ(Mirror().cameras[8], CAMERA_STATE_ON);
  EXPECT_EQ(Mirror().streams[3], STREAM_STATE_ON);
  EXPECT_THAT(Items(), IsEmpty());
  ReportCamera(8, 1);
  EXPECT_THAT(Items(), IsEmpty()) << "nothing changed";
}

TEST_F(Cameras, APortAboveEightIsLoggedAndIgnored) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] {
              ReportCamera(9, 1);
              ReportCamera(0xFFFFFFFF, 1);
            }),
            "");
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid camera 9"},
                          LogEntry{kLogError, "DataStore.cc", "Invalid camera 4294967295"}));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Cameras, DecodedCameraStatesAreHeldAndShown) {
  EXPECT_EQ(View(B("51 01")), "[Tag=CameraState, TagNo=0x51, Port=0-front State=1-on]");
  EXPECT_EQ(View(B("51 82")), "[Tag=CameraState, TagNo=0x51, Port=8-side rear State=2-bg]");
  EXPECT_EQ(View(B("51 00")), "[Tag=CameraState, TagNo=0x51, Port=0-front State=0-off]");
  EXPECT_EQ(View(B("51 13")), "[Tag=CameraState, TagNo=0x51, Port=1-rear State=3-off]");
  EXPECT_EQ(View(B("51 1F")), "[Tag=CameraState, TagNo=0x51, Port=1-rear State=15-off]");
  EXPECT_EQ(Mirror().cameras[8], CAMERA_STATE_BACKGROUND);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(View(B("51 91")), "");
  EXPECT_TRUE(Logged(kLogError, "Invalid camera 9"));
}

// ---- Stream states -------------------------------------------------------------

TEST_F(Cameras, StreamStatesAreWrittenToTheLastByteAndOnce) {
  store.ReportVideoStreamState(Stream(3), STREAM_STATE_ON, true, 99);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 99 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (2), newSlack (1)"));
  ReportStream(3, 1);
  ReportStream(0, 3);
  ReportStream(0, 2);
  EXPECT_EQ(Items(), B("55 31 55 00 55 02"));
}

TEST_F(Cameras, AStreamAboveThreeIsLoggedAndIgnored) {
  ReportStream(4, 1);
  ReportStream(0xFFFFFFFF, 1);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid stream 4"},
                          LogEntry{kLogError, "DataStore.cc", "Invalid stream 4294967295"}));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Cameras, DecodedStreamStatesHaveTheNamesOfCameraStatesAndNoComma) {
  EXPECT_EQ(View(B("55 01")), "[Tag=VideoStreamState, TagNo=0x55, Stream=0 State=1-on]");
  EXPECT_EQ(View(B("55 32")), "[Tag=VideoStreamState, TagNo=0x55, Stream=3 State=2-bg]");
  EXPECT_EQ(View(B("55 30")), "[Tag=VideoStreamState, TagNo=0x55, Stream=3 State=0-off]");
  EXPECT_EQ(View(B("55 37")), "[Tag=VideoStreamState, TagNo=0x55, Stream=3 State=7-off]");
  EXPECT_EQ(View(B("55 41")), "");
  EXPECT_TRUE(Logged(kLogError, "Invalid stream 4"));
  EXPECT_EQ(Mirror().streams[0], STREAM_STATE_ON);
}

// ---- Stream formats ------------------------------------------------------------

TEST_F(Cameras, WriteVideoStreamFormatOfStreamTwoFormatOneCameraFour) {
  store.WriteVideoStreamFormat(Stream(2), {static_cast<e_VideoFormat>(1), STREAM_CAMERA_SPLIT});
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (3), newSlack (4)"));
  EXPECT_EQ(Items(), B("54 21 40")) << "the four bits without meaning are 0";
}

TEST_F(Cameras, LowFourBitsOfStreamFormatAndCameraAreRecorded) {
  store.WriteVideoStreamFormat(
      Stream(0x13), {static_cast<e_VideoFormat>(0x25), static_cast<e_StreamCamera>(0x37)});
  EXPECT_EQ(Items(), B("54 35 70"));
}

TEST_F(Cameras, StreamSettingsAreTheFourHeldFormatsInOrder) {
  for (const char* const item : {"54 05 10", "54 14 2F", "54 23 30", "54 32 40"}) Decode(B(item));
  store.WriteStreamSettings();
  EXPECT_EQ(Items(), B("54 05 10 54 14 20 54 23 30 54 32 40"));
}

TEST_F(Cameras, DecodedFormatsAreHeldAndShown) {
  EXPECT_EQ(View(B("54 21 4F")),
            "[Tag=VideoStreamFormat, TagNo=0x54, Stream=2 Format=1-D1 Camera=4-Split]");
  EXPECT_EQ(View(B("54 00 00")),
            "[Tag=VideoStreamFormat, TagNo=0x54, Stream=0 Format=0-none Camera=0-Port 1]");
  EXPECT_EQ(View(B("54 3F 60")),
            "[Tag=VideoStreamFormat, TagNo=0x54, Stream=3 Format=15-unknown Camera=6-Invalid]");
  EXPECT_EQ(Mirror().formats[2].format, 1u);
  EXPECT_EQ(Mirror().formats[2].camera, STREAM_CAMERA_SPLIT);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(Cameras, FormatsOfStreamsFourToFifteenAreShownAndNotStored) {
  EXPECT_EQ(View(B("54 45 50")),
            "[Tag=VideoStreamFormat, TagNo=0x54, Stream=4 Format=5-1080p Camera=5-NONE]");
  EXPECT_EQ(View(B("54 F5 50")),
            "[Tag=VideoStreamFormat, TagNo=0x54, Stream=15 Format=5-1080p Camera=5-NONE]");
  for (const VideoStreamFormat_t& format : Mirror().formats) {
    EXPECT_EQ(format.format, VIDEO_FORMAT_NONE);
    EXPECT_EQ(format.camera, STREAM_CAMERA_PORT_1);
  }
}

TEST_F(Cameras, ANullFormatIsLogged) {
  store.StoreVideoFormatData(nullptr);
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                                  "StoreVideoFormatData, NULL String"}));
}

// ---- Stream sources ------------------------------------------------------------

TEST_F(Cameras, StreamCamerasHaveNames) {
  const char* const names[] = {"Port 1", "Port 2", "Port 3", "Port 4", "Split", "NONE", "Invalid"};
  for (unsigned int camera = 0; camera < 7; ++camera)
    EXPECT_STREQ(DataStore::StreamCameraToStr(static_cast<e_StreamCamera>(camera)), names[camera]);
  EXPECT_STREQ(DataStore::StreamCameraToStr(static_cast<e_StreamCamera>(0xFFFFFFFF)), "Invalid");
}

TEST_F(Cameras, EveryPortFeedsItsStreamCamera) {
  const unsigned int expected[] = {0, 1, 2, 3, 5, 3, 3, 3, 3, 5};
  for (unsigned int port = 0; port < 10; ++port) {
    EXPECT_EQ(DataStore::DetermineStreamCamera(Port(port), false), expected[port]) << port;
    EXPECT_EQ(DataStore::DetermineStreamCamera(Port(port), true), STREAM_CAMERA_SPLIT) << port;
  }
  EXPECT_THAT(log.Entries(), IsEmpty());
}

TEST_F(Cameras, AnUnexpectedPortIsLoggedAndFeedsNone) {
  EXPECT_EQ(DataStore::DetermineStreamCamera(Port(10), false), STREAM_CAMERA_NONE);
  EXPECT_EQ(DataStore::DetermineStreamCamera(Port(10), true), STREAM_CAMERA_SPLIT);
  EXPECT_THAT(log.Entries(),
              ElementsAre(LogEntry{kLogError, "DataStore.cc",
                                   "DetermineStreamCamera:unexpected camera port 10"}));
}

class StreamQuality : public Cameras {
 protected:
  static VideoMgrStreamQualityItem Qualities() {
    VideoMgrStreamQualityItem item;
    item.streams[0] = {1, 2, false};
    item.streams[1] = {0, 0, false};  // as at first
    item.streams[2] = {3, 8, true};
    item.streams[3] = {2, 4, false};
    return item;
  }
};

TEST_F(StreamQuality, EveryStreamThatDiffersIsTakenAndWritten) {
  store.ReportConfiguration(false);
  store.ReportStreamQualityItem(Qualities(), true);
  EXPECT_EQ(Items(), B("54 01 20 54 23 40 54 32 50"));
  EXPECT_EQ(Mirror().formats[3].camera, STREAM_CAMERA_NONE);
  store.ReportStreamQualityItem(Qualities(), true);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(StreamQuality, ADifferenceInEitherPartIsADifference) {
  store.ReportConfiguration(false);
  VideoMgrStreamQualityItem item;
  item.streams[1].format = 1;
  store.ReportStreamQualityItem(item, true);
  EXPECT_EQ(Items(), B("54 11 00"));
  item.streams[1].camera_port = 1;
  store.ReportStreamQualityItem(item, true);
  EXPECT_EQ(Items(), B("54 11 10"));
}

TEST_F(StreamQuality, BeforeTheConfigurationIsValidNothingIsWritten) {
  store.ReportStreamQualityItem(Qualities(), true);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Mirror().formats[0].format, 1u);
}

TEST_F(StreamQuality, WithoutWriteEveryStreamIsTakenAndNothingWritten) {
  store.ReportConfiguration(false);
  store.ReportStreamQualityItem(Qualities(), false);
  EXPECT_THAT(Items(), IsEmpty());
  EXPECT_EQ(Mirror().formats[2].camera, STREAM_CAMERA_SPLIT);
  EXPECT_EQ(Mirror().formats[2].format, 3u);
}

// ---- Live streams --------------------------------------------------------------

class LiveStreams : public Cameras {
 protected:
  void Report(const LiveStream& live, bool write = true, unsigned int stream = 5) {
    store.ReportLvsState(Stream(stream), live.camera, live.quality, live.state, live.address,
                         live.port, write, 0);
  }
  const LiveStream& Held(int stream = 5) const { return Mirror().live_streams[stream]; }

  // Camera 2, high quality, enabled, 192.168.1.20:8080.
  const LiveStream now{2, true, true, 0xC0A80114, 0x1F90};
};

TEST_F(LiveStreams, ItemIsWrittenToTheLastByteWithSlackOne) {
  store.WriteLvsState(Stream(3), 7, true, false, 0x0A0B0C0D, 0x1234, 99);
  EXPECT_TRUE(Logged(kLogEachItem, "AddToCurrPacket, newTick 99 lastSlackSt = 0"));
  EXPECT_THAT(Added(), ElementsAre("Add to Current packet size (9), newSlack (1)"));
  EXPECT_EQ(Items(), B("B0 34 12 34 0A 0B 0C 0D 07"));
}

TEST_F(LiveStreams, QualityAndStateHaveTheirBits) {
  store.WriteLvsState(Stream(0), 0, false, true, 0, 0, 0);
  store.WriteLvsState(Stream(0x15), 255, true, true, 0xFFFFFFFF, 0xFFFF, 0);
  EXPECT_EQ(Items(), B("B0 01 00 00 00 00 00 00 00 B0 55 FF FF FF FF FF FF FF"));
}

TEST_F(LiveStreams, OneDifferenceIsStoredPerReportInItsOrderAndTheWholeItemWrittenEachTime) {
  const Bytes item = B("B0 55 1F 90 C0 A8 01 14 02");
  const LiveStream steps[] = {{2, false, false, 0, 0},
                              {2, false, true, 0, 0},
                              {2, true, true, 0, 0},
                              {2, true, true, 0xC0A80114, 0},
                              now};
  for (const LiveStream& expected : steps) {
    Report(now);
    EXPECT_EQ(Items(), item);
    EXPECT_EQ(Held().camera, expected.camera);
    EXPECT_EQ(Held().state, expected.state);
    EXPECT_EQ(Held().quality, expected.quality);
    EXPECT_EQ(Held().address, expected.address);
    EXPECT_EQ(Held().port, expected.port);
  }
  Report(now);
  EXPECT_THAT(Items(), IsEmpty()) << "nothing differs any more";
}

TEST_F(LiveStreams, WithoutWriteOneDifferenceIsStoredAndNothingWritten) {
  Report(now, false);
  EXPECT_EQ(Held().camera, 2);
  EXPECT_FALSE(Held().state);
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(LiveStreams, ALiveStreamAboveFiveIsLoggedAndIgnored) {
  store.SetViewMode(kViewItems);
  EXPECT_EQ(Printed([&] { Report(now, true, 6); }), "");
  EXPECT_THAT(log.Entries(), ElementsAre(LogEntry{kLogError, "DataStore.cc", "Invalid stream 6"}));
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(LiveStreams, DecodedItemIsShownWithItsTagInLowerCase) {
  EXPECT_EQ(View(B("B0 55 1F 90 C0 A8 01 14 02")),
            "[Tag=LvsState, TagNo=0xb0, Stream=5, Camera=2, Quality=1-High, State=1-Enabled, "
            "ip(addr=192.168.1.20, port=8080)]");
  EXPECT_EQ(View(B("B0 00 00 00 00 00 00 00 00")),
            "[Tag=LvsState, TagNo=0xb0, Stream=0, Camera=0, Quality=0-Low, State=0-Disabled, "
            "ip(addr=0.0.0.0, port=0)]");
  EXPECT_EQ(View(B("B0 1F FF FF FF FF FF FF FF")),
            "[Tag=LvsState, TagNo=0xb0, Stream=1, Camera=255, Quality=1-High, State=1-Enabled, "
            "ip(addr=255.255.255.255, port=65535)]");
  EXPECT_THAT(Items(), IsEmpty());
}

TEST_F(LiveStreams, DecodingAlsoStoresOneDifferencePerItem) {
  const Bytes item = B("B0 55 1F 90 C0 A8 01 14 02");
  Decode(item);
  EXPECT_EQ(Held().camera, 2);
  EXPECT_EQ(Held().port, 0);
  for (int n = 0; n < 4; ++n) Decode(item);
  EXPECT_EQ(Held().port, 8080);
}

TEST_F(LiveStreams, NothingIsPrintedOutsideTheViewer) {
  EXPECT_EQ(Printed([&] {
              Decode(B("B0 55 1F 90 C0 A8 01 14 02"));
              Decode(B("50 00 01 41"));
              Decode(B("51 01"));
              Decode(B("54 11 10"));
              Decode(B("55 01"));
            }),
            "");
  EXPECT_EQ(Mirror().cameras[0], CAMERA_STATE_ON);
}

}  // namespace
}  // namespace vmr::test

#include "store/cameras.h"

#include "host/enum_to_string.h"
#include "store/bytes.h"
#include "store/data_store.h"
#include "store/decoders.h"
#include "store/items.h"
#include "store/log_source.h"
#include "store/view_text.h"

namespace vmr {
namespace {

constexpr const char* kLogSource = kDataStoreLogSource;

constexpr unsigned short kDescSlack = 4;
constexpr unsigned short kStateSlack = 1;
constexpr unsigned short kFormatSlack = 4;

constexpr unsigned int kLowNibble = 0x0F;
constexpr int kHighShift = 4;

// Deliberate: state 3 is recorded as off.
unsigned char PackState(unsigned int number, int state) {
  const unsigned int recorded = state == CAMERA_STATE_3 ? 0U : static_cast<unsigned int>(state);
  return static_cast<unsigned char>((number & kLowNibble) << kHighShift | (recorded & kLowNibble));
}

const char* StateName(int state) {
  switch (state) {
    case CAMERA_STATE_ON:
      return "on";
    case CAMERA_STATE_BACKGROUND:
      return "bg";
    default:
      return "off";
  }
}

// What each camera port is called and which stream camera it feeds. Deliberate:
// the names and the ports that share the fourth stream camera are those of
// existing recordings.
struct PortRow {
  const char* description;
  e_StreamCamera stream_camera;
};
constexpr PortRow kPorts[] = {
    {"Front", STREAM_CAMERA_PORT_1},     {"Secondary", STREAM_CAMERA_PORT_2},
    {"Aux3", STREAM_CAMERA_PORT_3},      {"Secondary", STREAM_CAMERA_PORT_4},
    {"Invalid", STREAM_CAMERA_NONE},     {"Secondary", STREAM_CAMERA_PORT_4},
    {"Secondary", STREAM_CAMERA_PORT_4}, {"Secondary", STREAM_CAMERA_PORT_4},
    {"Secondary", STREAM_CAMERA_PORT_4}, {"Invalid", STREAM_CAMERA_NONE},
};
constexpr unsigned int kPortRows = sizeof(kPorts) / sizeof(kPorts[0]);

// Deliberate: only the first difference is stored. A later report of the same
// values finds the next one and records the item again.
bool StoreFirstLvsDifference(LiveStream& held, const LiveStream& now) {
  const auto take = [](auto& to, const auto& from) {
    if (to == from) return false;
    to = from;
    return true;
  };
  return take(held.camera, now.camera) || take(held.state, now.state) ||
         take(held.quality, now.quality) || take(held.address, now.address) ||
         take(held.port, now.port);
}

}  // namespace

const char* DataStore::StreamCameraToStr(e_StreamCamera camera) {
  static constexpr const char* kNames[] = {"Port 1", "Port 2", "Port 3", "Port 4", "Split", "NONE"};
  return camera <= STREAM_CAMERA_NONE ? kNames[camera] : "Invalid";
}

e_StreamCamera DataStore::DetermineStreamCamera(e_CameraPort port, bool split) {
  if (split) return STREAM_CAMERA_SPLIT;
  if (port < kPortRows) return kPorts[port].stream_camera;
  VMR_LOG(kLogError, "DetermineStreamCamera"
                         << ":unexpected camera port " << static_cast<unsigned int>(port));
  return STREAM_CAMERA_NONE;
}

void DataStore::WriteCameraDesc(e_CameraPort port) {
  const unsigned char head[kCameraDescHeadBytes] = {TAG_CAMERA_DESC,
                                                    static_cast<unsigned char>(port)};
  AddTextItem(*this, head, sizeof(head), port < kPortRows ? kPorts[port].description : "Invalid",
              kDescSlack);
}

void DataStore::WriteCameraState(e_CameraPort port, e_CameraState state, unsigned int tick) {
  const unsigned char item[kCameraStateBytes] = {TAG_CAMERA_STATE, PackState(port, state)};
  AddToCurrPacket(item, sizeof(item), tick, kStateSlack);
}

void DataStore::WriteVideoStreamState(e_VideoStream stream, e_StreamState state,
                                      unsigned int tick) {
  const unsigned char item[kCameraStateBytes] = {TAG_VIDEO_STREAM_STATE, PackState(stream, state)};
  AddToCurrPacket(item, sizeof(item), tick, kStateSlack);
}

void DataStore::WriteVideoStreamFormat(e_VideoStream stream, const VideoStreamFormat_t& format) {
  const unsigned char item[kVideoStreamFormatBytes] = {
      TAG_VIDEO_STREAM_FORMAT,
      static_cast<unsigned char>((stream & kLowNibble) << kHighShift |
                                 (format.format & kLowNibble)),
      static_cast<unsigned char>((format.camera & kLowNibble) << kHighShift)};
  AddToCurrPacket(item, sizeof(item), kFormatSlack);
}

void DataStore::WriteStreamSettings() {
  for (unsigned int stream = 0; stream < kVideoStreamCount; ++stream)
    WriteVideoStreamFormat(static_cast<e_VideoStream>(stream), mirror_.camera.formats[stream]);
}

void DataStore::WriteLvsState(e_VideoStream stream, unsigned char camera, bool quality, bool state,
                              unsigned int address, unsigned short port, unsigned int tick) {
  unsigned char item[kLvsStateBytes] = {TAG_LVS_STATE};
  item[1] = static_cast<unsigned char>((stream & kLowNibble) << kHighShift |
                                       (quality ? 1U : 0U) << 2 | (state ? 1U : 0U));
  PutBe16(item + 2, port);
  PutBe32(item + 4, address);
  item[8] = camera;
  AddToCurrPacket(item, sizeof(item), tick, kStateSlack);
}

void DataStore::ReportCameraState(e_CameraPort port, e_CameraState state, bool write,
                                  unsigned int tick) {
  if (port >= kCameraPortCount) {
    VMR_LOG(kLogError, "Invalid camera " << static_cast<unsigned int>(port));
    return;
  }
  e_CameraState& held = mirror_.camera.cameras[port];
  if (held != state) {
    held = state;
    if (write) WriteCameraState(port, state, tick);
  }
  // Deliberate: no comma behind the port, nor behind the stream below.
  if (!Viewing()) return;
  PrintItemHead(TAG_CAMERA_STATE);
  PrintText(", Port=", static_cast<unsigned int>(port), '-',
            EnumToString::CameraPortToStr(static_cast<int>(port)),
            " State=", static_cast<int>(state), '-', StateName(state), ']');
}

void DataStore::ReportVideoStreamState(e_VideoStream stream, e_StreamState state, bool write,
                                       unsigned int tick) {
  if (stream >= kVideoStreamCount) {
    VMR_LOG(kLogError, "Invalid stream " << static_cast<unsigned int>(stream));
    return;
  }
  e_StreamState& held = mirror_.camera.streams[stream];
  if (held != state) {
    held = state;
    if (write) WriteVideoStreamState(stream, state, tick);
  }
  if (!Viewing()) return;
  PrintItemHead(TAG_VIDEO_STREAM_STATE);
  PrintText(", Stream=", static_cast<unsigned int>(stream), " State=", static_cast<int>(state), '-',
            StateName(state), ']');
}

void DataStore::ReportLvsState(e_VideoStream stream, unsigned char camera, bool quality, bool state,
                               unsigned int address, unsigned short port, bool write,
                               unsigned int tick) {
  if (stream >= kLiveStreamCount) {
    VMR_LOG(kLogError, "Invalid stream " << static_cast<unsigned int>(stream));
    return;
  }
  const LiveStream now{camera, quality, state, address, port};
  if (StoreFirstLvsDifference(mirror_.camera.live_streams[stream], now) && write)
    WriteLvsState(stream, camera, quality, state, address, port, tick);
  // Deliberate: the tag number in lower case.
  if (!Viewing()) return;
  PrintText("[Tag=", ItemName(TAG_LVS_STATE), ", TagNo=0x", LowerHex2{TAG_LVS_STATE},
            ", Stream=", static_cast<unsigned int>(stream), ", Camera=", camera,
            ", Quality=", quality, '-', quality ? "High" : "Low", ", State=", state, '-',
            state ? "Enabled" : "Disabled");
  PrintText(", ip(addr=", address >> 24, '.', address >> 16 & 0xFF, '.', address >> 8 & 0xFF, '.',
            address & 0xFF, ", port=", port, ")]");
}

void DataStore::ReportStreamQualityItem(const VideoMgrStreamQualityItem& item, bool write) {
  for (unsigned int n = 0; n < kVideoStreamCount; ++n) {
    const VideoMgrStreamQualityItem::Stream& stream = item.streams[n];
    const VideoStreamFormat_t now{
        static_cast<e_VideoFormat>(stream.format),
        DetermineStreamCamera(static_cast<e_CameraPort>(stream.camera_port), stream.split)};
    VideoStreamFormat_t& held = mirror_.camera.formats[n];
    const bool differs = held.format != now.format || held.camera != now.camera;
    held = now;
    if (write && differs && mirror_.policy.configuration_valid)
      WriteVideoStreamFormat(static_cast<e_VideoStream>(n), held);
  }
}

void DataStore::StoreVideoFormatData(const BIN_VIDEO_STREAM_FORMAT_T* item) {
  if (item == nullptr) {
    VMR_LOG(kLogError, "StoreVideoFormatData, NULL String");
    return;
  }
  const unsigned int stream = item->stream_and_format >> kHighShift;
  const VideoStreamFormat_t format{static_cast<e_VideoFormat>(item->stream_and_format & kLowNibble),
                                   static_cast<e_StreamCamera>(item->camera >> kHighShift)};
  // The item can name sixteen streams; the unit has four.
  if (stream < kVideoStreamCount) mirror_.camera.formats[stream] = format;
  // Deliberate: no commas behind the stream and the format.
  if (!Viewing()) return;
  PrintItemHead(TAG_VIDEO_STREAM_FORMAT);
  PrintText(", Stream=", stream, " Format=", static_cast<unsigned int>(format.format), '-',
            EnumToString::VideoFormatToStr(static_cast<int>(format.format)),
            " Camera=", static_cast<unsigned int>(format.camera), '-',
            StreamCameraToStr(format.camera), ']');
}

void DataStore::PrintCameraDesc(const BIN_CAMERA_DESC_T* item) {
  if (item == nullptr) {
    // Deliberate: the message names another operation.
    VMR_LOG(kLogError, "NULL passed to DataStore::StoreCameraDesc");
    return;
  }
  if (!Viewing()) return;
  PrintItemHead(TAG_CAMERA_DESC);
  PrintText(", port=", item->port, ", name='",
            std::string_view(item->name, strnlen(item->name, item->length)), "']");
}

void DecodeCameraDesc(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto desc = AsRecord<BIN_CAMERA_DESC_T>(item, kCameraDescHeadBytes + item[2]);
  out.PrintCameraDesc(&desc);
}

void DecodeCameraState(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.ReportCameraState(static_cast<e_CameraPort>(item[1] >> kHighShift),
                        static_cast<e_CameraState>(item[1] & kLowNibble), false, 0);
}

void DecodeVideoStreamState(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.ReportVideoStreamState(static_cast<e_VideoStream>(item[1] >> kHighShift),
                             static_cast<e_StreamState>(item[1] & kLowNibble), false, 0);
}

void DecodeVideoStreamFormat(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  const auto format = AsRecord<BIN_VIDEO_STREAM_FORMAT_T>(item);
  out.StoreVideoFormatData(&format);
}

void DecodeLvsState(DataStore& out, const unsigned char* item, DecodeResult& /*result*/) {
  out.ReportLvsState(static_cast<e_VideoStream>(item[1] >> kHighShift), item[8],
                     (item[1] >> 2 & 0x03) != 0, (item[1] & 0x03) != 0, GetBe32(item + 4),
                     GetBe16(item + 2), false, 0);
}

}  // namespace vmr

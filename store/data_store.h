// DataStore: the recorder that a host links, and the mirror into which a
// recording is read back.
#ifndef VMR_STORE_DATA_STORE_H_
#define VMR_STORE_DATA_STORE_H_

#include <cstdint>
#include <memory>
#include <string>

#include "host/records.h"
#include "host/systick.h"
#include "store/cameras.h"
#include "store/gps.h"
#include "store/identity.h"
#include "store/inputs.h"
#include "store/microphones.h"
#include "store/policy.h"
#include "store/radar.h"
#include "store/speed.h"
#include "store/stream_format.h"
#include "store/time_temperature.h"

namespace vmr {

// What a store is, by where its packets go.
enum DATA_STORE_TYPE_T {
  DATA_STORE_NORMAL = 0,
  DATA_STORE_FLAT_READ = 1,
  DATA_STORE_FLAT_MESSAGE = 2,
  DATA_STORE_NULL = 3,
  DATA_STORE_FLAT_WRITE = 4
};

// Turns reported changes into items, gathers the items of a tick into packets
// and hands the packets to the subclass. On the reading side the same
// operations, called with write false, rebuild the state; in view mode they
// print each item to standard output as well.
//
// A host opens a store, reports what happens as it happens, calls TimerTick
// every half second, and closes the store:
//
//    DataStoreNormal store("/data/unit");
//    if (store.Open() == 0) ...
//    store.ReportSystemInfo(info, true);  // and whatever else is configured
//    store.ReportConfiguration(true);
//    store.ReportStateData(TAG_SIREN_ON, true, tick);
//    store.TimerTick(systick.SystemTick());
//    store.ReportShutdownData();
//    store.Close();
//
// Owns     its mirror, its packet areas and the work buffer between Open and
//          Close. It cannot be copied. Destroying an open store frees what it
//          owns without flushing: Close flushes.
// Threads  none; one store is used by one thread at a time.
// Errors   results are nonzero for success; failures are logged. A null record,
//          table or packet is refused and changes nothing. Nothing throws, and
//          nothing on the way of an item to its packet allocates.
// Units    ticks, two a second, unsigned 32-bit; differences survive a wrap, but
//          an event's tick is compared as a plain number with that of the slack.
//          Slack: ticks that an item may wait for others of its packet.
class DataStore {
 public:
  virtual ~DataStore();
  DataStore(const DataStore&) = delete;
  DataStore& operator=(const DataStore&) = delete;

  // ==== What a host calls ========================================================

  // ---- The store -------------------------------------------------------------

  // Makes the store ready. 0 when it failed or is open already; a store whose
  // Open failed is closed and may be opened again.
  [[nodiscard]] virtual int Open() = 0;
  // Frees what Open took. Returns 1. Harmless on a closed store.
  virtual int Close();

  // Called every half second with the tick now: notices clock changes, dumps the
  // whole state once an hour when the configuration is valid, and flushes what has
  // waited long enough. A tick below the last one does not dump again: the hour
  // counts anew from there.
  void TimerTick(unsigned int sysTick);

  // Writes the off state of the previous shutdown, at its tick, and flushes it.
  // Once, before anything else is reported.
  void ReportShutdownDataAtStartup();
  // Reports everything off before a shutdown. Does not flush.
  void ReportShutdownData();

  // ---- Reports ---------------------------------------------------------------
  //
  // Each compares with what was last reported and records a change; what has no
  // state (texts, buttons, bookmarks) and the MAC address is recorded every time.
  // `write`: a recorder passes true; with false only the state moves. `tick` or `systemTick`:
  // when it happened, 0: at the current tick. `tag`, where it is not the event itself:
  // what the viewer prints as the item's. A null text counts as an empty one wherever
  // it is to be recorded.

  // Who and what the unit is. While the configuration is valid and `write` is set,
  // changes are written; a serial number and a version are only held, and written
  // with the configuration and the full state.
  void ReportVehicleInfo(const VehicleInfo& info, bool write);
  void ReportDepartmentInfo(const DepartmentInfo& info, bool write);
  void ReportOfficerInfo(const Officer& officer, bool write);
  void ReportSystemSerialNum(const std::string& serial);
  void ReportVersion(e_COMPONENT component, const char* text);
  void ReportMac(const unsigned char* mac, bool write);  // six bytes
  // Free text ("log" or "test"), written at once.
  void ReportStringData(e_Tag tag, const char* text);

  // How the unit is configured.
  void ReportSystemInfo(const SystemInfo& info, bool write);
  void ReportVideoRecordingSettings(const VideoRecordingSettings& settings, bool write);
  void ReportStreamQualityItem(const VideoMgrStreamQualityItem& item, bool write);
  // The host has loaded its configuration: from now on it counts as valid.
  void ReportConfiguration(bool write);

  // Inputs, buttons, bookmarks. `tag` names the input and its new state.
  void ReportStateData(e_Tag tag, bool write, unsigned int systemTick);
  void ReportButton(e_button_list button, e_button_action_list action, bool write);
  void ReportBookmark(unsigned int systemTick);

  // Cameras, streams, microphones. `address`: IPv4, its most significant byte
  // first in the number.
  void ReportCameraState(e_CameraPort port, e_CameraState state, bool write, unsigned int tick);
  void ReportVideoStreamState(e_VideoStream stream, e_StreamState state, bool write,
                              unsigned int tick);
  void ReportLvsState(e_VideoStream stream, unsigned char camera, bool quality, bool state,
                      unsigned int address, unsigned short port, bool write, unsigned int tick);
  void ReportMicPresent(e_MicrophonePosition position, bool present, bool write,
                        unsigned int systemTick);
  void ReportMicState(e_MicrophonePosition position, bool on, bool write, unsigned int systemTick);

  // Position, speeds, temperatures. With write false a position only moves the
  // mirror. `speed` in the device's units, 252..255 are status words of a radar;
  // a radar's speeds 0..1023 survive recording. An id of 255 is that of the first
  // free entry. `temperature` in degrees; changes of 1 or 2 are ignored.
  void ReportGps(const GpsStatusItem& item, unsigned int systemTick, bool write);
  void ReportGpsState(bool available, bool write);
  void ReportSpeed(unsigned char id, unsigned short speed, bool write, unsigned int systemTick,
                   e_Tag tag);
  // With false the next speed is written even if it equals the last.
  void ReportValidSpeed(unsigned char id, bool valid);
  void ReportRadar(unsigned char id, unsigned short lockSpeed, unsigned short fastestSpeed,
                   unsigned short targetSpeed, e_RADAR_DIRECTION direction, bool write,
                   unsigned int systemTick, e_Tag tag);
  void ReportRadarState(unsigned char id, bool connected, bool write);
  void ReportTemp(e_TempSensors id, short temperature, bool write, unsigned int systemTick);

  // Devices beyond those that ReportConfiguration sets up. An id of 255 takes the
  // lowest free one. The id, or -1.
  int InitializeSpeedId(unsigned char id, e_SPEED_SRC_TYPE type, e_SpeedUnits units,
                        const char* desc, bool write);
  int InitializeRadarId(unsigned char id, e_RADAR_SRC_TYPE type, e_SpeedUnits units,
                        const char* desc, bool write);
  void InitializeTempSensor(e_TempSensors id, const char* desc, bool write);

  // ==== A host may stop reading here ===============================================

  // ---- What a backend is -------------------------------------------------------

  // Takes one whole packet, the file magic or the dictionary. `sysTick` is the
  // packet's tick, kContinuationTick or kNoTick.
  [[nodiscard]] virtual int WriteData(const unsigned char* data, int length,
                                      unsigned int sysTick) = 0;
  // Reads stored stream bytes at `position` (cluster * 4096 + index of the byte
  // in the cluster's payload; in a flat file, the offset) and tells where to go
  // on. The base cannot be read: 0.
  [[nodiscard]] virtual int ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize,
                                               int& bytesRead, long& nextPosition);
  // Allocates the work buffer. Every Open calls it first; 0 when there is no
  // memory or the store is open.
  [[nodiscard]] virtual int OpenInit();
  // Where a reader of the whole store begins.
  virtual long InitialReadLocation();

  // Fills the dictionary from the tag catalogue.
  void PrepareDictionary();
  // Appends one entry; a 256th is refused and logged. `size` 0..63.
  static void AddTag(DICTIONARY_T& dictionary, e_Tag tag, bool variable, unsigned int size);

  // ---- What a reader needs -----------------------------------------------------

  // The last reported state of everything, cleared as one by the constructor.
  struct StateMirror {
    TimeMirror time;
    TemperatureMirror temperature;
    GpsMirror gps;
    SpeedMirror speed;
    RadarMirror radar;
    CameraMirror camera;
    MicrophoneMirror microphone;
    IdentityMirror identity;
    PolicyMirror policy;
    InputMirror inputs;
  };

  DATA_STORE_TYPE_T Type() const { return type_; }
  const StateMirror& Mirror() const { return mirror_; }

  unsigned int ViewMode() const { return view_mode_; }
  void SetViewMode(unsigned int flags) { view_mode_ = flags; }  // kViewItems, kViewDumps
  bool Viewing() const;

  unsigned int GetCurrentSystemTick() const { return current_tick_; }
  void InitCurrentSystemTick(unsigned int tick) { current_tick_ = tick; }
  // The wall-clock second of the current tick, wrapping as a signed 32-bit
  // number.
  std::int32_t GetAdjustedTime() const;

  // The work buffer, null while closed. The reader reads into that of its
  // output store.
  unsigned char* WorkBuffer() { return work_buffer_.get(); }
  int WorkBufferSize() const { return work_buffer_size_; }
  // How often it was allocated; tells a new buffer at an old address apart.
  unsigned int Openings() const { return openings_; }

  // Writes the whole mirror as items, so that a recording can be decoded from
  // here on. `live`: stamped by the unit's clocks, else by the current tick. Does
  // not flush.
  void WriteFullState(bool live);

  // Each decodes one item: a BIN_..._T is the whole item as it lies in a packet,
  // tag first.
  void StoreGpsDesc(const BIN_GPS_DESC_T* item);
  void StoreGpsData(const BIN_GPS_ABS_T* item, e_Tag tag);
  void StoreGpsData(const BIN_GPS_REL8_T* item, e_Tag tag, bool logIfUnset);
  void StoreGpsData(const BIN_GPS_REL16_T* item, e_Tag tag, bool logIfUnset);
  void StoreRadarData(const BIN_RADAR_DATA_T* item, e_Tag tag);
  void StoreVideoFormatData(const BIN_VIDEO_STREAM_FORMAT_T* item);
  void PrintCameraDesc(const BIN_CAMERA_DESC_T* item);
  void StoreMicDesc(const BIN_MIC_DESC_T* item);
  // By stream number; nothing is written.
  void ReportMicPresent(unsigned char streamNumber, bool present);
  void ReportMicState(unsigned char streamNumber, bool on);
  void StoreStringData(e_Tag tag, const char* text, unsigned char length);
  // Returns the item's length, 3; 0 for a null item.
  int StoreConfigItem8(const BIN_POLICY_8_T* item);
  void StoreConfigSettingsValid(bool valid, e_Tag tag);
  // `rawTime`: the item's four bytes read most significant first.
  void StoreTime(int rawTime, e_Tag tag);
  void StoreTemp(short temperature, e_Tag tag);
  void StoreVoltPercent(unsigned char percent);

  // ---- Packets -----------------------------------------------------------------

  // Adds one item of `size` bytes (1..255) that happened now. An item that fits
  // nowhere is dropped and logged.
  void AddToCurrPacket(const unsigned char* data, unsigned int size, unsigned short slack);
  // Adds one item of an event at `eventTick`; 0 means now.
  void AddToCurrPacket(const unsigned char* data, unsigned int size, unsigned int eventTick,
                       unsigned short slack);
  void WriteTickAdjust(unsigned char ticks);
  // Hands everything gathered to WriteData. Deliberate: areas behind an empty
  // first one stay unwritten.
  void WriteBuffers();
  // Each builds one packet of `length` item bytes (0..255) and returns what
  // WriteData returned, 0 for a longer one and for null.
  [[nodiscard]] int WritePacket1(unsigned int tick, const unsigned char* data, unsigned int length);
  [[nodiscard]] int WritePacket2(unsigned int tick, const unsigned char* data, unsigned int length);
  [[nodiscard]] int WritePacketCont(const unsigned char* data, unsigned int length);
  // True while items wait for a flush.
  bool HasPendingItems() const { return used_[0] != 0; }
  // Of the sixteen packet areas, how many hold waiting items.
  int UsedAreas() const;
  // Forgets the items that wait.
  void DiscardPendingItems();

  // ---- What the families call --------------------------------------------------
  //
  // Write encodes one item, or several; Check and Init set up what the
  // configuration asks for.

  // gps.cc. Configures the internal receiver, once.
  void CheckGpsConfig(bool write);
  void InitializeGpsInt(const char* desc, bool write);
  void WriteGpsDesc(const GPS_DESC_T& desc);
  void WriteGpsState(bool available);
  void WriteLongGps(const Location_t& lat, const Location_t& lon, unsigned int systemTick);
  void WriteDeltaGps8(signed char dLat, signed char dLon, unsigned int systemTick);
  void WriteDeltaGps16(short dLat, short dLon, unsigned int systemTick);
  // TTs of one axis. All arithmetic is done in 64 bits and cut to 32 at the end.
  static std::int32_t LocToTTs(const Location_t& location);
  static void TTsToLoc(Location_t& location, long tts, bool isLatitude);

  // speed.cc, radar.cc. Make sure that devices 1 (GPS) and 2 (radar), and the
  // radar, match the configuration.
  void CheckSpeedConfig(bool write);
  void CheckRadarConfig(bool write);
  void WriteSpeedDesc(const SPEED_DESC_T& desc);
  void WriteSpeed(const SPEED_DESC_T& desc, unsigned short slack, unsigned int systemTick);
  void WriteRadarDesc(const RADAR_DESC_T& desc);
  void WriteRadarState(const RADAR_DESC_T& desc, unsigned short slack);
  void WriteRadarDataLong(const RADAR_DESC_T& desc, unsigned short slack, unsigned int systemTick);
  void WriteRadarDataTarget(const RADAR_DESC_T& desc, unsigned short slack,
                            unsigned int systemTick);
  // The first of a table's entries with the id, null when there is none and for
  // a null table.
  [[nodiscard]] static SPEED_DESC_T* FindSpeedDesc(SPEED_DESC_T* table, unsigned char id);
  [[nodiscard]] static RADAR_DESC_T* FindRadarDesc(RADAR_DESC_T* table, unsigned char id);

  // cameras.cc
  void WriteCameraDesc(e_CameraPort port);
  void WriteCameraState(e_CameraPort port, e_CameraState state, unsigned int tick);
  void WriteVideoStreamState(e_VideoStream stream, e_StreamState state, unsigned int tick);
  void WriteVideoStreamFormat(e_VideoStream stream, const VideoStreamFormat_t& format);
  void WriteStreamSettings();
  void WriteLvsState(e_VideoStream stream, unsigned char camera, bool quality, bool state,
                     unsigned int address, unsigned short port, unsigned int tick);
  static const char* StreamCameraToStr(e_StreamCamera camera);
  static e_StreamCamera DetermineStreamCamera(e_CameraPort port, bool split);

  // microphones.cc
  void WriteMicState(e_MicrophonePosition position, e_MIC_DATA_STATE kind, bool value,
                     unsigned int systemTick);
  void WriteMicDesc(e_MicrophonePosition position);
  static unsigned char ConvertOrvaneMicToKELTMicValue(e_MicrophonePosition position);
  static e_MicrophonePosition ConvertKeltMicToOrvaneMicValue(unsigned char streamNumber);

  // identity.cc. WriteDiffString takes `now` into the mirror and writes it, if it
  // differs.
  void WriteStringData(e_Tag tag, const char* text, unsigned short slack);
  void WriteStringData(e_Tag tag, const std::string& text, unsigned short slack);
  void WriteDiffString(e_Tag tag, std::string& held, const std::string& now);
  void WriteDiffString(e_Tag tag, StringItem& held, const StringItem& now);
  void WriteDiffString(e_Tag tag, std::string& held, const StringItem& now);
  void WriteDiffString(e_Tag tag, StringItem& held, const std::string& now);
  void WriteOfficer();
  void WriteVehicleInfo();
  void WriteDepartmentInfo();
  void WriteSystemSerialNum();
  void WriteMac(const unsigned char* mac, unsigned short slack);
  void WriteVerDesc(e_COMPONENT component, const char* text);

  // policy.cc. WriteDiffBool and WriteDiffUInt8 as WriteDiffString.
  void WriteConfigBool(e_CONFIG_LIST id, bool value);
  void WriteConfigInt8(e_CONFIG_LIST id, unsigned char value);
  void WriteDiffBool(e_CONFIG_LIST id, BoolItem& mirror, const BoolItem& current);
  void WriteDiffUInt8(e_CONFIG_LIST id, UIntItem& mirror, const UIntItem& current);
  void WriteRecordingSettings();
  void WriteSystemInfo();
  void WriteAllConfig();

  // time_temperature.cc
  void WriteTime(long time);
  void InitTempSensors(bool write);
  void WriteTempDesc(e_TempSensors id, const TempInfo_t& info);
  void WriteTemp(e_TempSensors id, const TempInfo_t& info, unsigned short slack,
                 unsigned int systemTick);

  // inputs.cc
  void WriteStateData(e_Tag tag, unsigned short slack, unsigned int systemTick);
  void WriteButton(e_button_list button, e_button_action_list action);

 protected:
  // `bufferSize`: bytes of the work buffer.
  DataStore(DATA_STORE_TYPE_T type, int bufferSize);

  bool IsOpen() const { return work_buffer_ != nullptr; }
  // Deliberate: whether a store took a packet, the magic or the dictionary is not
  // looked at where one is written. The store has logged a refusal, and recording
  // goes on.
  static void IgnoreRefusal(int /*result*/) {}
  // The dictionary packet, as PrepareDictionary left it.
  const unsigned char* DictionaryBytes() const {
    return reinterpret_cast<const unsigned char*>(&dictionary_);
  }
  int DictionaryLength() const { return dictionary_length_; }

  // Which clusters the ring store holds in memory; -1 before it was opened.
  int currCluster = -1;
  int prevCluster = -1;

 private:
  // packet_assembly.cc
  void AddEarlierItem(const unsigned char* data, unsigned int size, unsigned int eventTick,
                      unsigned short slack);

  // gps.cc. A fix of which it is not plain that the vehicle rests.
  void TakeFix(const GpsStatusItem& item, AxesTTs tts, DriftArea::Verdict move,
               unsigned int systemTick, bool write);

  static constexpr int kAreaCount = 16;
  static constexpr unsigned int kAreaBytes = 256;  // of which 255 are used

  const DATA_STORE_TYPE_T type_;
  const int work_buffer_size_;
  std::unique_ptr<unsigned char[]> work_buffer_;
  unsigned int openings_ = 0;
  unsigned int view_mode_ = 0;

  unsigned int current_tick_ = kNoTick;
  unsigned int last_written_tick_ = kNoTick;
  unsigned char areas_[kAreaCount][kAreaBytes] = {};
  std::uint32_t used_[kAreaCount] = {};
  std::uint16_t packet_slack_ = 0;  // smallest slack of the waiting items, 0 none
  unsigned int slack_start_tick_ = 0;

  DICTIONARY_T dictionary_;
  int dictionary_length_ = 0;

  Systick systick_;
  DumpSchedule dumps_;
  StateMirror mirror_;
};

using StateMirror = DataStore::StateMirror;

// Flags of a store's view mode.
inline constexpr unsigned int kViewItems = 1;  // print each decoded item
inline constexpr unsigned int kViewDumps = 2;  // and its bytes

inline bool DataStore::Viewing() const { return (view_mode_ & kViewItems) != 0; }

// Work buffer of every store but the ring, which has one cluster.
inline constexpr int kSimpleStoreBufferBytes = 8192;

}  // namespace vmr

#endif  // VMR_STORE_DATA_STORE_H_

// The ring store: the recording that survives power loss.
#ifndef VMR_BACKENDS_DATA_STORE_NORMAL_H_
#define VMR_BACKENDS_DATA_STORE_NORMAL_H_

#include <memory>
#include <string>

#include "backends/carried_crc.h"
#include "backends/cluster_format.h"
#include "backends/file_store.h"
#include "backends/metadata_hdr_cache.h"
#include "store/data_store.h"

namespace vmr {

// Keeps a ring of 32768 clusters twice, in `<base>_1.mtd` and `<base>_2.mtd`.
// Every packet rewrites the current cluster in one of the two files, and the
// next packet in the other, so a power loss in the middle of a write costs at
// most that one write. A packet is never split across clusters.
//
// Owns     its two files and, between Open and Close, two cluster images.
// Threads  none. No two processes may have the same files open, except that any
//          number may have them open for reading alone.
// Errors   WriteData succeeds once the packet is in memory; a file that could
//          not take it stays marked and takes it on its next turn.
// Units    positions are cluster * 4096 + index, the index counting payload
//          bytes from the end of the 7-byte cluster header.
class DataStoreNormal : public DataStore {
 public:
  // A base path that begins with '-' is refused by Open.
  explicit DataStoreNormal(const std::string& basePath);
  ~DataStoreNormal() override;

  // Creates missing files, finds the last written position, repairs what can
  // be repaired. The current tick is then the last recorded one, 0 in a new
  // store.
  [[nodiscard]] int Open() override;
  // Starts both files, creating what is missing, as a part of Open, which provides
  // the buffer for it. 0, with the store closed, when a file cannot be started; 0 and
  // nothing else on a store that is open.
  [[nodiscard]] int StartStoreFiles(const std::string& basePath);
  // Opens the ring for reading alone, with the same search and the same choice of
  // the newer file, while another process may be recording into it. Nothing is
  // created, repaired, renamed or set right; damage is read around. One file is
  // enough: the other may be missing or unusable. WriteData then refuses.
  [[nodiscard]] int OpenReadOnly();
  // Flushes what is pending, syncs and closes both files. 1.
  int Close() override;
  // `length` 1..4089, of whole packets: by their CRCs the next opening tells a torn
  // write from a whole one, and bytes that are no packets may not survive it.
  [[nodiscard]] int WriteData(const unsigned char* data, int length, unsigned int sysTick) override;
  // Within a cluster `nextPosition` is the cluster's start plus the bytes just
  // copied, so a reader starts a cluster at its beginning.
  [[nodiscard]] int ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize,
                                       int& bytesRead, long& nextPosition) override;
  // The start of the oldest cluster.
  long InitialReadLocation() override;

  // Reads one cluster, from the other file if need be, and repairs the copy
  // that was bad.
  [[nodiscard]] int ReadCluster(unsigned char* buf, int cluster);

  static int GetNextCluster(int cluster);
  static int GetPrevCluster(int cluster);
  // Folds a cluster number computed from a position into the ring.
  static int AdjustClusterNumber(int cluster);

  // The first tick of a cluster; 0xFFFFFFFF in one never written, and for one
  // that cannot be read. May be what it was when the last search passed it.
  unsigned int GetSystemTick(int cluster);
  // The cluster from which to read in order to find a tick: the last one whose
  // first tick is not after it, the oldest for ticks before all, the current for
  // ticks after all. Reads at most 17 clusters, and up to 15 more when a recorder
  // has gone on since OpenReadOnly. Ticks compare as plain numbers.
  int FindSystemTick(unsigned int sysTick);

  // What a host may acknowledge, since WriteData takes every packet: the packet
  // given to the last WriteData is in one file at least, and its sync has
  // returned. False, too, before the first one and when it was refused.
  bool LastPacketStored() const { return last_packet_stored_; }
  // Packets since Open that no file has, the ones waiting in memory for a file's
  // next turn included. Stays as it is after Close.
  unsigned long PacketsNotStored() const {
    return unstored_.lost + unstored_.of_previous + unstored_.of_current;
  }
  // Cluster writes since Open that file 1 or 2 refused, repairs included. 0 for any
  // other number.
  unsigned long FailedWrites(int fileNumber) const;

  int CurrentCluster() const { return currCluster; }
  int PreviousCluster() const { return prevCluster; }

 private:
  // Where ReadDataIntoBuffer's bytes and results go.
  struct ReadTarget {
    unsigned char* buffer;
    int buffer_size;
    int& bytes_read;
    long& next_position;
  };

  // Packets that are in no file.
  struct Unstored {
    unsigned long of_current = 0;   // their cluster is still in memory
    unsigned long of_previous = 0;  // so is theirs
    unsigned long lost = 0;
  };

  // What is left of a copy that failed its CRC: what it says of itself.
  struct BadCopy {
    unsigned int st = 0;
    int used_bytes = 0;     // 0: nothing bears out what it says
    bool was_read = false;  // else a call failed
  };
  static BadCopy BadCopyOf(const unsigned char* image);

  // Writing (data_store_normal.cc).
  // Null when a packet of `length` bytes can be written.
  const char* WhyNotWritable(int length) const;
  void CloseCurrentCluster(unsigned int sysTick);
  void FlushPrevBuffer(FileStore& file, const char* cluster_text);
  bool WritePrevBuffer(FileStore& file, const char* cluster_text);
  void AppendToCurrent(const unsigned char* data, int length, unsigned int sysTick);
  void GivePreviousATick(unsigned int sysTick);
  void WriteCurrentToFile();
  bool CatchUp(FileStore& file);

  // Reading (data_store_normal.cc).
  using ReadOperation = int (FileStore::*)(int clusterSize, unsigned char* buf, int cluster);
  void SayWhatIsRead(int cluster) const;
  int ReadWithFallback(unsigned char* buf, int cluster, ReadOperation read_first);
  void RepairCluster(const unsigned char* buf, int cluster);
  bool MayReplace(const unsigned char* good, const BadCopy& bad, int cluster);
  bool WasLonger(BadCopy bad, const unsigned char* good, int cluster);
  bool BelongsAt(const unsigned char* copy, int cluster);
  unsigned int LatestFirstTick(int cluster);
  static int FailRead();
  int ReadFrom(int cluster, int offset, long position, const ReadTarget& to);
  int ReadFromCurrent(int cluster, int offset, const ReadTarget& to) const;
  static void CopyOut(const unsigned char* image, int cluster, int offset, const ReadTarget& to);

  // Opening (ring_recovery.cc).
  int AllocateImages();
  int OpenAndRecover();
  int OpenAsItIs();
  FileStore* ChooseAsItIs();
  void FindBothLastPositions();
  static bool SearchPatiently(FileStore& file, unsigned char* scratch);
  int RecreateFiles();
  FileStore* ChooseLastWriter();
  FileStore* ChooseOfNewFiles();
  FileStore* FillCreatedFile(FileStore& created, FileStore& source);
  FileStore* CompareFiles();
  void StepOntoContinuations(FileStore& file);
  void StepBackFromLapBefore();
  bool IsFile2Newer(bool same_cluster);
  unsigned int ComparableTick(FileStore& file);
  bool SettleEmptyFile(FileStore& empty, FileStore& source);
  bool FillEmptyFile(FileStore& empty, FileStore& source);
  void RemoveFailedCopy(FileStore& file);
  unsigned int FindLastTick() const;
  void PointNextWriteAwayFrom(const FileStore& last_writer);
  void HealNextCluster();

  // Loading the two images (ring_loading.cc).
  FileStore& Twin(const FileStore& file) { return &file == &file1_ ? file2_ : file1_; }
  bool WasSearched(const FileStore& file) const {
    return &file == &file1_ ? searched1_ : searched2_;
  }
  FileStore* LoadImages(FileStore& last_writer);
  struct Look {
    FileStore* writer;  // to go on from; null: there is none
    bool is_loaded;     // false: handed over, its newest cluster is still to be looked for
  };
  FileStore* LoadCurrent(FileStore& last_writer);
  Look LookForCurrent(FileStore& writer, bool may_hand_over);
  Look LoadBetterCurrent(FileStore& writer, bool may_hand_over);
  Look LoadLostCurrent(FileStore& writer, const BadCopy& bad, bool may_hand_over);
  Look HandOver(FileStore& writer);
  bool HasTwinGoneOn(const FileStore& writer);
  bool EndsBeforeCurrent(const FileStore& twin) const;
  bool IsTornFirstWrite(const FileStore& twin, const unsigned char* theirs) const;
  bool IsTwinOfCurrent(const FileStore& twin, const unsigned char* theirs) const;
  bool LoadPrevious(FileStore& writer);
  void LoadBetterPrevious(FileStore& writer);
  bool IsBetterPrevious(const unsigned char* theirs);
  bool LoadLostPrevious(FileStore& writer, const BadCopy& bad);
  void StartFrom(FileStore& writer);

  // Searching (tick_search.cc).
  void StartTickSearch();
  struct ToldTick {
    int cluster;  // the one that tells it
    unsigned int st;
  };
  int ClusterBehindNewest();
  ToldTick TickFrom(int cluster);
  int SearchBetween(int old_cluster, unsigned int old_st, int new_cluster, unsigned int new_st,
                    unsigned int sysTick);

  std::string base_path_;
  FileStore file1_{1};
  FileStore file2_{2};
  FileStore* curr_file_ = &file1_;   // takes the next write
  FileStore* other_file_ = &file2_;  // took the last one
  bool open_ = false;                // opened, and not closed since
  bool read_only_ = false;           // by OpenReadOnly
  bool searched1_ = false;           // file 1's last position was found
  bool searched2_ = false;
  int given_up_cluster_ = -1;  // the newest one of a file that was not gone on from
  bool last_packet_stored_ = false;
  Unstored unstored_;
  std::unique_ptr<unsigned char[]> curr_buffer_;   // the cluster being filled
  std::unique_ptr<unsigned char[]> prev_buffer_;   // the cluster closed last
  std::unique_ptr<unsigned char[]> check_buffer_;  // other copies, before one is rewritten
  CarriedCrc curr_crc_;                            // of the cluster being filled
  MetadataHdrCache hdr_cache_{MetadataHdrCache::kDefaultCapacity};  // of the tick search
};

}  // namespace vmr

#endif  // VMR_BACKENDS_DATA_STORE_NORMAL_H_

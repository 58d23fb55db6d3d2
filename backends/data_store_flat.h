// The flat metadata stores: a stream in a caller's buffer or in a plain file.
//
// A flat file is one stream:
//
//    offset  0                4                            147
//           +----------------+----------------------------+---------- ... ---+
//           | 66 5D 53 31    | HEADER_DICTIONARY packet,  | packets back to  |
//           | "f]S1"         | 143 bytes                  | back             |
//           +----------------+----------------------------+---------- ... ---+
#ifndef VMR_BACKENDS_DATA_STORE_FLAT_H_
#define VMR_BACKENDS_DATA_STORE_FLAT_H_

#include <sys/types.h>

#include <string>

#include "store/data_store.h"

namespace vmr {

// Fills a memory buffer of the caller's.
//
// Owns     not the buffer, which must outlive the store.
// Errors   a packet that does not fit is refused whole.
class DataStoreFlatMessage : public DataStore {
 public:
  // `size`: bytes of `buffer`. `writeHeader`: begin with magic and dictionary.
  DataStoreFlatMessage(unsigned char* buffer, int size, bool writeHeader);

  // 1 unless there is no memory: a header that does not fit is logged only.
  [[nodiscard]] int Open() override;
  // Does not flush: call WriteBuffers first to have what is pending.
  int Close() override;
  [[nodiscard]] int WriteData(const unsigned char* data, int length, unsigned int sysTick) override;

  // Bytes written so far.
  int BytesWritten() const { return bytes_written_; }

 private:
  unsigned char* cursor_;
  int room_bytes_;
  int bytes_written_ = 0;
  bool write_header_;
};

// Writes a flat file, or goes on with an existing one.
//
// Owns     its descriptor.
class DataStoreFlatWrite : public DataStore {
 public:
  explicit DataStoreFlatWrite(const std::string& path);
  ~DataStoreFlatWrite() override;

  [[nodiscard]] int Open() override;
  // Flushes what is pending, closes. 1.
  int Close() override;
  [[nodiscard]] int WriteData(const unsigned char* data, int length, unsigned int sysTick) override;

  // Since the object was made, all that was to be written stands in the file as
  // it was handed over: no write failed or was short, nor did a close fail.
  bool WroteEverything() const { return wrote_everything_; }

 private:
  off_t SeekToEnd();
  int FailWrite();

  std::string path_;
  int fd_ = 0;
  bool wrote_everything_ = true;
};

// Reads a flat file, or a file of clusters as if it were one.
//
// Owns     its descriptor.
class DataStoreFlatRead : public DataStore {
 public:
  explicit DataStoreFlatRead(const std::string& path);
  ~DataStoreFlatRead() override;

  // Prints to standard output which kind of file it is.
  [[nodiscard]] int Open() override;
  // The result of close(): 0 when it succeeded. 1 when the store was closed.
  int Close() override;
  // There is nowhere to write: 0.
  [[nodiscard]] int WriteData(const unsigned char* data, int length, unsigned int sysTick) override;
  // Reads up to the end of the 4096-byte block that `position` lies in, from
  // the block's beginning. In a file without the magic the first 7 bytes of
  // every block are skipped: they are a cluster's header. Needs room for all of
  // it in `buffer`.
  [[nodiscard]] int ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize,
                                       int& bytesRead, long& nextPosition) override;

 private:
  int FailRead(const char* what) const;
  // Reads where the magic would be; `head_bytes` becomes its length when it is
  // there. How many bytes there were, -1 after logging why they cannot be had.
  ssize_t ReadMagic(int& head_bytes);

  std::string path_;
  int fd_ = 0;
  bool magic_seen_ = false;
};

}  // namespace vmr

#endif  // VMR_BACKENDS_DATA_STORE_FLAT_H_

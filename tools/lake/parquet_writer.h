// The process that makes Parquet files of rows: tools/lake/README.md has what is said to it.
#ifndef VMR_TOOLS_LAKE_PARQUET_WRITER_H_
#define VMR_TOOLS_LAKE_PARQUET_WRITER_H_

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace vmr::tool {

// One process for as long as the object lives: its start costs more than many a recording.
// It is the command in VMR_LAKE_WRITER, run by the shell, or Node with the installed
// write_parquet.mjs, or that of the source tree that the program was built in.
//
// Owns     the process, which ends with the object, and with this process.
// Errors   said on standard error, and kept in Error(). A writer that was lost is started
//          anew for the next recording; one that never could be started is not.
class ParquetWriter {
 public:
  // The process works in `folder`, where rows and files have plain names.
  explicit ParquetWriter(std::string folder) : folder_(std::move(folder)) {}
  ~ParquetWriter();
  ParquetWriter(const ParquetWriter&) = delete;
  ParquetWriter& operator=(const ParquetWriter&) = delete;

  struct Work {
    std::string table;        // of a lake
    std::string unit;         // fit for names, as is
    std::string recording;    // this
    std::string rows;         // a file of rows
    std::uint64_t count = 0;  // of them
    std::string parquet;      // the file to make
  };
  bool Write(const Work& work);
  const std::string& Error() const { return error_; }

 private:
  bool Start();
  bool Spawn(const std::string& command);
  void End();
  bool Send(const std::string& line);
  bool Receive(std::string& line);
  bool IsReady(const std::string& line);
  bool IsDone(const std::string& line, std::uint64_t count);
  bool Fail(const std::string& what);

  const std::string folder_;
  std::string error_;
  std::string received_;
  pid_t process_ = -1;
  int to_ = -1;
  int from_ = -1;
  bool hopeless_ = false;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_LAKE_PARQUET_WRITER_H_

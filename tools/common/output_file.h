// A file that appears whole or not at all.
#ifndef VMR_TOOLS_COMMON_OUTPUT_FILE_H_
#define VMR_TOOLS_COMMON_OUTPUT_FILE_H_

#include <string>

namespace vmr::tool {

// A temporary file in the folder of the file that it is to become. It is removed
// when the object goes without Publish, and by SIGINT, SIGTERM and SIGHUP, which
// end the process as they do without this.
//
// Owns     the temporary file.
// Errors   Open and Publish say what is wrong on standard error.
class OutputFile {
 public:
  static constexpr int kMostAtOnce = 64;  // in a process

  // `replace`: an existing file at `path` may be replaced. `purpose` is part of the
  // temporary name: ".vmr-extract-XXXXXX".
  OutputFile(std::string path, bool replace, const char* purpose = "extract")
      : path_(std::move(path)), purpose_(purpose), replace_(replace) {}
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  // Refuses a path that exists, unless it may be replaced, and one that is no
  // regular file.
  bool Open();
  // The temporary file, which Open has made and nothing opens again: open for reading and
  // writing, empty at first.
  int Descriptor() const { return fd_; }
  const std::string& TemporaryPath() const { return temporary_; }
  // Makes the temporary file's content durable and gives it its name.
  bool Publish();
  // Lets others read it as they may read the user's other files.
  bool TakeUsualMode() const;

 private:
  bool MayBeWritten() const;
  bool Fail(const std::string& what) const;
  bool Rename() const;

  std::string path_;
  const char* purpose_;
  std::string temporary_;
  int fd_ = -1;
  bool replace_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_OUTPUT_FILE_H_

// A file that appears whole or not at all.
#ifndef VMR_TOOLS_COMMON_OUTPUT_FILE_H_
#define VMR_TOOLS_COMMON_OUTPUT_FILE_H_

#include <signal.h>

#include <string>

namespace vmr::tool {

// A temporary file in the folder of the file that it is to become. It is removed
// when the object goes without Publish, and by the signals that usually end a
// process (SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE), which end it as they do
// without this.
//
// Owns     the temporary file.
// Errors   Open and Publish say what is wrong on standard error.
class OutputFile {
 public:
  static constexpr int kMostAtOnce = 64;  // in a process

  // `replace`: an existing file at `path` may be replaced. `purpose` is part of the
  // temporary name: ".vmr-extract-XXXXXX".
  // `shown` is what messages call it, where that is another name.
  OutputFile(std::string path, bool replace, const char* purpose = "extract",
             std::string shown = "")
      : path_(std::move(path)), shown_(std::move(shown)), purpose_(purpose), replace_(replace) {}
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
  // Makes the temporary file's content durable; nothing is written to it from then on.
  bool Settle();
  // The same, and gives it its name.
  bool Publish();
  // Lets others read it as they may read the user's other files.
  bool TakeUsualMode() const;

 private:
  bool MayBeWritten() const;
  bool Fail(const std::string& what) const;
  bool Rename() const;

  std::string path_;
  std::string shown_;
  const char* purpose_;
  std::string temporary_;
  int fd_ = -1;
  bool replace_;
};

// The same for a folder that does not exist yet. Files in it are OutputFiles, done with before
// it is published or goes.
class OutputFolder {
 public:
  explicit OutputFolder(const std::string& path);
  ~OutputFolder();
  OutputFolder(const OutputFolder&) = delete;
  OutputFolder& operator=(const OutputFolder&) = delete;

  // Makes the temporary folder in the nearest folder that exists.
  bool Open();
  const std::string& TemporaryPath() const { return temporary_; }
  // Gives it its name; folders above it are made.
  bool Publish();

 private:
  bool Fail(const std::string& what) const;

  std::string path_;
  std::string temporary_;
};

// Holds the signals back that end the process, while it lives: between the first and the last
// of several files that are to appear together.
class HeldSignals {
 public:
  HeldSignals();
  ~HeldSignals();
  HeldSignals(const HeldSignals&) = delete;
  HeldSignals& operator=(const HeldSignals&) = delete;

 private:
  sigset_t before_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_OUTPUT_FILE_H_

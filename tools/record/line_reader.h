// Splits what a descriptor delivers into lines.
#ifndef VMR_TOOLS_RECORD_LINE_READER_H_
#define VMR_TOOLS_RECORD_LINE_READER_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vmr::tool {

inline constexpr std::size_t kMaxLineBytes = 1024 * 1024;

// Reads at most one chunk when told to, so that the caller can wait for
// several descriptors. A last line without its line end counts as one.
//
// Owns     the descriptor, unless it is standard input.
// Errors   a line longer than kMaxLineBytes is dropped as it arrives, and told.
class LineReader {
 public:
  explicit LineReader(int fd) : fd_(fd) {}
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  enum class Result {
    kLine,     // `line` is the next one, valid until the next Read
    kTooLong,  // the next one was too long
    kNone      // nothing until more is read; at the end nothing at all
  };
  Result Next(std::string_view& line);
  // Reads what is there, waiting when nothing is. False on a read error, which
  // ends the input; errno tells which.
  bool Read();

  // Next has something to give, without reading more.
  bool HasLine() const;
  // What was read and not yet given.
  std::string_view Unread() const { return std::string_view(buffer_).substr(start_); }

  int Fd() const { return fd_; }
  // No more can be read; Next may still have lines.
  bool AtEnd() const { return at_end_; }
  // Number of the line that Next gave last, from 1.
  unsigned long LineNumber() const { return line_number_; }
  std::uint64_t BytesRead() const { return bytes_read_; }

 private:
  Result Give(std::size_t length, std::size_t with_end, std::string_view& line);
  void DropLongLine();

  int fd_;
  std::string buffer_;
  std::size_t start_ = 0;     // of the next line in the buffer
  std::size_t searched_ = 0;  // up to here there is no line end
  bool too_long_ = false;     // the line now being read is dropped
  bool at_end_ = false;
  unsigned long line_number_ = 0;
  std::uint64_t bytes_read_ = 0;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_RECORD_LINE_READER_H_

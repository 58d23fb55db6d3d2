#include <locale>

#include "host/log.h"

namespace vmr {

LogLine::LogLine(LogLevel level, const char* source_file, int line)
    : level_(level), stream_(&buffer_) {
  // Numbers are written alike whatever locale the process has set.
  stream_.imbue(std::locale::classic());
  stream_ << source_file << ':' << line << ' ';
}

LogLine::~LogLine() { LogMsg::Log(level_, buffer_.Text()); }

std::string_view LogLine::Buffer::Text() {
  if (spilled_.empty()) return {pbase(), static_cast<std::size_t>(pptr() - pbase())};
  spilled_.append(pbase(), pptr());
  setp(inline_, inline_ + kInlineBytes);
  return spilled_;
}

LogLine::Buffer::int_type LogLine::Buffer::overflow(int_type c) {
  spilled_.append(pbase(), pptr());
  setp(inline_, inline_ + kInlineBytes);
  if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
  return traits_type::not_eof(c);
}

}  // namespace vmr

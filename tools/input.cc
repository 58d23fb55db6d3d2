#include "tools/input.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tools/console.h"

namespace vmr::tool {
namespace {

bool Refuse(const std::string& path, int error) {
  Say(fmt::format("{}: {}", path, strerror(error)));
  return false;
}

}  // namespace

std::optional<NumberedReport> Input::Next() {
  std::string_view line;
  for (;;) {
    const LineReader::Result result = reader_.Next(line);
    if (result == LineReader::Result::kNone) return std::nullopt;
    ++counts_.lines;
    const unsigned long number = reader_.LineNumber();
    if (result == LineReader::Result::kTooLong) {
      Skip(number, fmt::format("longer than {} bytes", kMaxLineBytes));
      continue;
    }
    ParsedLine parsed = ParseLine(line, source_);
    if (auto* report = std::get_if<Report>(&parsed)) {
      if (!report->remark.empty()) Remark(LineRemarks::Kind::kUsedInPart, number, report->remark);
      return NumberedReport{std::move(*report), number};
    }
    if (const auto* unusable = std::get_if<UnusableLine>(&parsed)) Skip(number, unusable->reason);
  }
}

void Input::Read() {
  if (reader_.Read()) return;
  Say(fmt::format("{}: {}", name_, strerror(errno)));
  counts_.read_error = true;
}

void Input::Remark(LineRemarks::Kind kind, unsigned long line, const std::string& text) {
  remarks_.Take(kind, line, text, LineRemarks::Clock::now());
}

void Input::Skip(unsigned long line, const std::string& reason) {
  Remark(LineRemarks::Kind::kUnusable, line, reason);
  ++counts_.skipped;
}

void Input::Update() {
  if (HasMoreToSay()) remarks_.Update(LineRemarks::Clock::now());
}

bool OpenInput(const std::string& path, LineCounts& counts, Inputs& inputs) {
  const bool standard = path == "-";
  const int fd = standard ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (fd < 0 || fstat(fd, &status) != 0) return Refuse(path, errno);
  inputs.push_back(std::make_unique<Input>(fd, standard ? "standard input" : path, counts));
  return S_ISDIR(status.st_mode) ? Refuse(path, EISDIR) : true;
}

}  // namespace vmr::tool

#include "tools/record/input.h"

#include <errno.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "backends/file_io.h"
#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr char kStandardInput[] = "standard input";

bool Refuse(const std::string& path, int error) {
  Say(fmt::format("{}: {}", path, TextOfErrno(error)));
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
    ++lines_;
    if (result == LineReader::Result::kTooLong) {
      Skip(number, fmt::format("longer than {} bytes", kMaxLineBytes));
      continue;
    }
    ParsedLine parsed = parser_.Parse(line, source_);
    if (auto* report = std::get_if<Report>(&parsed)) {
      if (!report->remark.empty()) Remark(LineRemarks::Kind::kUsedInPart, number, report->remark);
      return NumberedReport{std::move(*report), number};
    }
    if (std::holds_alternative<BlankLine>(parsed)) --lines_;
    if (const auto* unusable = std::get_if<UnusableLine>(&parsed)) Skip(number, unusable->reason);
  }
}

void Input::Read() {
  const bool read = reader_.Read();
  if (!read) Say(fmt::format("{}: {}", name_, TextOfErrno()));
  read_error_ = !read;
  counts_.read_error = counts_.read_error || read_error_;
  if (reader_.LineNumber() == 0) format_ = FormatOf(reader_.Unread(), AtEnd());
}

void Input::Remark(LineRemarks::Kind kind, unsigned long line, const std::string& text) {
  remarks_.Tell(kind, line, text, LineRemarks::Clock::now());
}

void Input::Skip(unsigned long line, const std::string& reason) {
  Remark(LineRemarks::Kind::kUnusable, line, reason);
  ++counts_.skipped;
  ++skipped_;
}

void Input::Update() {
  if (HasMoreToSay()) remarks_.Update(LineRemarks::Clock::now());
}

void Input::Conclude() {
  remarks_.Conclude();
  if (AtEnd() && lines_ == 0 && !read_error_) Say(fmt::format("{}: no lines", name_));
  if (lines_ == 0 || skipped_ < lines_) return;
  counts_.useless_input = true;
  Say(fmt::format("{}: none of its {} lines could be used", name_, lines_));
  static_cast<void>(MayHoldLines(*this));
}

bool MayHoldLines(const Input& input) {
  const bool has_path = input.Name() != kStandardInput;
  const std::string advice = AdviceOn(input.Format(), has_path ? input.Name() : "FILE");
  if (!advice.empty()) Say(fmt::format("{}: {}", input.Name(), advice));
  return advice.empty();
}

bool OpenInput(const std::string& path, LineCounts& counts, Inputs& inputs) {
  const bool standard = path == "-";
  const int fd = standard ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (fd < 0 || fstat(fd, &status) != 0) return Refuse(path, errno);
  inputs.push_back(std::make_unique<Input>(fd, standard ? kStandardInput : path, counts));
  return S_ISDIR(status.st_mode) ? Refuse(path, EISDIR) : true;
}

}  // namespace vmr::tool

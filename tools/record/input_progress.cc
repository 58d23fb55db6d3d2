#include "tools/record/input_progress.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>

namespace vmr::tool {
namespace {

constexpr unsigned int kBarCells = 40;

std::uint64_t TotalBytes(const Inputs& inputs) {
  std::uint64_t total = 0;
  for (const auto& input : inputs) {
    struct stat status {};
    if (fstat(input->Fd(), &status) != 0 || !S_ISREG(status.st_mode)) return 0;
    total += static_cast<std::uint64_t>(status.st_size);
  }
  return total;
}

}  // namespace

std::string ProgressBar(std::uint64_t done, std::uint64_t total, unsigned int width) {
  const std::uint64_t part = std::min(done, total);
  const auto filled = static_cast<std::size_t>(part * width / total);
  return fmt::format("[{}{}] {:3}%", std::string(filled, '#'), std::string(width - filled, '.'),
                     part * 100 / total);
}

InputProgress::InputProgress(const Inputs& inputs, const LineCounts& counts)
    : inputs_(inputs),
      counts_(counts),
      total_bytes_(TotalBytes(inputs)),
      line_([this](unsigned long) { return Text(); }) {}

void InputProgress::Update(unsigned int tick) {
  tick_ = tick;
  line_.Step();
}

std::string InputProgress::Text() const {
  std::uint64_t read = 0;
  for (const auto& input : inputs_) read += input->BytesRead();
  const std::string bar = total_bytes_ > 0 ? ProgressBar(read, total_bytes_, kBarCells) + ", " : "";
  return fmt::format("{}{} lines, tick {}", bar, counts_.lines, tick_);
}

}  // namespace vmr::tool

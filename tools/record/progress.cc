#include "tools/record/progress.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>

#include "tools/common/console.h"

namespace vmr::tool {
namespace {

constexpr unsigned int kBarCells = 40;
constexpr unsigned int kCallsBetweenLooks = 256;  // at the clock, which costs more than a tick
constexpr auto kDrawInterval = std::chrono::milliseconds(100);

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

Progress::Progress(const Inputs& inputs, const LineCounts& counts)
    : inputs_(inputs),
      counts_(counts),
      shown_(ShowsTransient()),
      total_bytes_(TotalBytes(inputs)) {}

Progress::~Progress() { ShowTransient(""); }

void Progress::Update(unsigned int tick) {
  if (!shown_ || ++calls_ % kCallsBetweenLooks != 0) return;
  const auto now = std::chrono::steady_clock::now();
  if (now < next_draw_) return;
  next_draw_ = now + kDrawInterval;
  Draw(tick);
}

void Progress::Draw(unsigned int tick) const {
  std::uint64_t read = 0;
  for (const auto& input : inputs_) read += input->BytesRead();
  const std::string bar = total_bytes_ > 0 ? ProgressBar(read, total_bytes_, kBarCells) + ", " : "";
  ShowTransient(fmt::format("{}{} lines, tick {}", bar, counts_.lines, tick));
}

}  // namespace vmr::tool

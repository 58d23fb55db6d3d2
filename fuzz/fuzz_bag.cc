// A bag of evidence as an archive of any bytes.
#include <algorithm>
#include <string_view>

#include "fuzz/fuzz_setup.h"
#include "tools/evidence/bag_verdict.h"

namespace {

using vmr::fuzz::Require;
using namespace vmr::tool;  // what is tested

bool IsAsMade(const BagVerdict& verdict) {
  return std::any_of(verdict.lines.begin(), verdict.lines.end(), [](const auto& line) {
    return line.text == "archive: byte for byte as it was made";
  });
}

bool IsPrintable(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) >= 0x20; });
}

BagVerdict LookAt(const std::uint8_t* data, std::size_t size) {
  MemoryBytes bytes({reinterpret_cast<const char*>(data), size});
  return LookAtBagArchive(bytes, std::nullopt);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  vmr::fuzz::StartInput(data, size);
  const BagVerdict verdict = LookAt(data, size);
  const int exit_code = verdict.ExitCode();
  Require(exit_code == 0 || exit_code == 1 || exit_code == 3, "it holds, fails or cannot be told");
  Require((exit_code == 1) != verdict.error.empty(), "what cannot be told has a reason");
  Require(verdict.error.empty() || verdict.lines.empty(), "of what cannot be told nothing is");
  Require(!IsAsMade(verdict) || verdict.Holds(), "only what holds is as it was made");
  Require(IsPrintable(verdict.error), "a reason can be shown");
  for (const BagVerdict::Line& line : verdict.lines)
    Require(IsPrintable(line.text), "a line can be shown");
  if (verdict.Holds() && vmr::fuzz::IsOneIn(16))
    Require(LookAt(data, size).lines.size() == verdict.lines.size(), "it is told again the same");
  return 0;
}

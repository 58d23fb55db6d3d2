// Runs a fuzz target once over every file of the folders and files named on the
// command line: what a fuzzer found stays found, with any compiler.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz/fuzz_setup.h"

namespace {

using Paths = std::vector<std::filesystem::path>;

Paths InputsBelow(const std::filesystem::path& path) {
  if (!std::filesystem::is_directory(path)) return {path};
  Paths inputs;
  for (const auto& entry : std::filesystem::directory_iterator(path))
    if (entry.is_regular_file()) inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

// Targets put standard error out of use.
std::FILE* Messages() {
  static std::FILE* const kMessages = fdopen(dup(STDERR_FILENO), "w");
  return kMessages;
}

bool Replay(const std::filesystem::path& input) {
  std::ifstream file(input, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file.is_open() || file.bad()) {
    std::fprintf(Messages(), "replay: %s: cannot be read\n", input.c_str());
    return false;
  }
  // In memory that ends where the input does.
  const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(exact.data(), exact.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (Messages() == nullptr) return 1;
  int replayed = 0;
  for (int i = 1; i < argc; ++i)
    for (const std::filesystem::path& input : InputsBelow(argv[i])) {
      if (!Replay(input)) return 1;
      ++replayed;
    }
  std::fprintf(Messages(), "replayed %d inputs\n", replayed);
  // A corpus that is gone must not pass for one that runs.
  return replayed > 0 ? 0 : 1;
}

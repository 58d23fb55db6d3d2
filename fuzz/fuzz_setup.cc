#include "fuzz/fuzz_setup.h"

#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string_view>

#include "host/default/host_control.h"
#include "host/log.h"

namespace vmr::fuzz {
namespace {

// The sanitizers and libFuzzer keep the descriptor of standard error.
bool SetUpProcess() {
  setenv("TZ", "UTC", 1);
  std::FILE* const nowhere = std::fopen("/dev/null", "w");
  Require(nowhere != nullptr && std::freopen("/dev/null", "w", stdout) != nullptr,
          "standard output is redirected");
  stderr = nowhere;
  host::SetLogSink([](unsigned int /*level*/, std::string_view /*text*/) {});
  return true;
}

// FNV-1a, its bits mixed.
std::uint32_t HashOf(const std::uint8_t* data, std::size_t size) {
  std::uint32_t hash = 2166136261U;
  for (std::size_t i = 0; i < size; ++i) hash = (hash ^ data[i]) * 16777619U;
  hash ^= hash >> 16;
  hash *= 0x85EBCA6BU;
  return hash ^ hash >> 13;
}

std::uint32_t input_hash = 0;

}  // namespace

void StartInput(const std::uint8_t* data, std::size_t size) {
  static const bool kDone = SetUpProcess();
  static_cast<void>(kDone);
  constexpr unsigned int kAllLevels = 255;
  input_hash = HashOf(data, size);
  host::SetLogLevel(IsOneIn(16) ? kAllLevels : 0);
}

bool IsOneIn(unsigned int many) { return (input_hash >> 8) % many == 0; }

void Require(bool holds, const char* what) {
  if (holds) return;
  constexpr char kPrefix[] = "does not hold: ";
  const auto put = [](const char* text) {
    static_cast<void>(!write(STDERR_FILENO, text, std::strlen(text)));  // the end comes anyway
  };
  put(kPrefix);
  put(what);
  put("\n");
  abort();
}

}  // namespace vmr::fuzz

// Less freed memory is kept from use than usual, so that less memory is touched, and
// less is noted of where it came from.
// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): ASan's name
extern "C" const char* __asan_default_options();
extern "C" const char* __asan_default_options() {
  return "quarantine_size_mb=1:malloc_context_size=3";
}
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

#include "tools/common/console.h"

#include <errno.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <mutex>

namespace vmr::tool {
namespace {

constexpr std::string_view kClearLine = "\r\033[K";

std::mutex& Mutex() {
  static std::mutex mutex;
  return mutex;
}

bool transient_shown = false;        // guarded by Mutex()
HeardMessages* listening = nullptr;  // the same

// In one write, so that lines of several processes do not mix. There is nobody
// left to tell when standard error cannot be written.
void Put(std::string_view text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

std::string ClearingText() {
  std::string clear(transient_shown ? kClearLine : "");
  transient_shown = false;
  return clear;
}

}  // namespace

std::string Printable(std::string_view text) {
  std::string printable;
  unsigned char before = 0;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool second_set = before == 0xC2 && byte >= 0x80 && byte < 0xA0;  // in UTF-8
    if (second_set) printable.pop_back();
    const bool control = byte < 0x20 || byte == 0x7F || second_set;
    printable += control ? fmt::format("\\x{:02X}", byte) : std::string(1, c);
    before = byte;
  }
  return printable;
}

HeardMessages::HeardMessages() {
  const std::lock_guard<std::mutex> lock(Mutex());
  listening = this;
}

HeardMessages::~HeardMessages() {
  const std::lock_guard<std::mutex> lock(Mutex());
  listening = nullptr;
}

void Say(std::string_view text) {
  const std::lock_guard<std::mutex> lock(Mutex());
  if (listening != nullptr) {
    std::vector<std::string>& heard = listening->all_;
    if (std::find(heard.begin(), heard.end(), text) != heard.end()) return;
    heard.emplace_back(text);
  }
  Put(fmt::format("{}vmr: {}\n", ClearingText(), text));
}

bool FlushOutput() {
  std::cout.flush();
  errno = 0;
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.good();
}

int FinishOutput(int exit_code) {
  if (FlushOutput()) return exit_code;
  Say("standard output: write error");
  return kExitFailure;
}

bool ShowsTransient() {
  static const bool kTerminal = isatty(STDERR_FILENO) == 1;
  return kTerminal;
}

void ShowTransient(std::string_view text) {
  if (!ShowsTransient()) return;
  const std::lock_guard<std::mutex> lock(Mutex());
  Put(fmt::format("{}{}", ClearingText(), text));
  transient_shown = !text.empty();
}

}  // namespace vmr::tool

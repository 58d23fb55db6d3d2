#include "tests/crash/run.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

// Of AddressSanitizer, where it is.
extern "C" void __sanitizer_set_death_callback(  // NOLINT: their name
    void (*callback)()) __attribute__((weak));

namespace vmr::crash {
namespace {

bool BeginsWith(const std::string& text, const std::string& beginning) {
  return text.compare(0, beginning.size(), beginning) == 0;
}

// What is said if the library does not survive the state being visited.
char g_last_words[1024];

void Visiting(const std::string& id, const std::string& program) {
  std::snprintf(g_last_words, sizeof(g_last_words),
                "FAIL %s: not survived\n  alone: %s --replay %s\n", id.c_str(), program.c_str(),
                id.c_str());
}

void SayLastWords() {
  if (write(STDOUT_FILENO, g_last_words, strlen(g_last_words)) < 0) return;  // nobody listens
}

void DieOf(int signal_number) {
  SayLastWords();
  signal(signal_number, SIG_DFL);
  raise(signal_number);
}

// AddressSanitizer goes on looking at its signals itself, and calls back. SIGTERM
// is for a run that does not end.
void NameTheStateWhenDying() {
  if (__sanitizer_set_death_callback != nullptr) __sanitizer_set_death_callback(SayLastWords);
  for (const int deadly : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTERM}) {
    struct sigaction present {};
    if (sigaction(deadly, nullptr, &present) == 0 && present.sa_handler == SIG_DFL)
      signal(deadly, DieOf);
  }
}

}  // namespace

Run::Run(const Options& options) : options_(options), start_(std::chrono::steady_clock::now()) {
  NameTheStateWhenDying();
}

bool Run::WantsSome(const std::string& prefix) const {
  if (Replaying()) return BeginsWith(options_.replay, prefix);
  return BeginsWith(options_.only, prefix) || BeginsWith(prefix, options_.only);
}

bool Run::Wants(const std::string& id) {
  if (!Replaying() && !BeginsWith(id, options_.only)) return false;
  if (!Replaying() && offered_++ % options_.every != 0) return false;
  return WantsRare(id);
}

bool Run::WantsRare(const std::string& id) {
  if (Replaying() ? id != options_.replay : !BeginsWith(id, options_.only)) return false;
  ++visited_;
  Visiting(id, options_.program);
  return true;
}

unsigned int Run::ReplayedRound() const {
  const std::size_t at = options_.replay.find("/r");
  if (at == std::string::npos) return 0;
  return static_cast<unsigned int>(std::strtoul(options_.replay.c_str() + at + 2, nullptr, 10));
}

void Run::Fail(const std::string& id, const std::string& wrong) {
  ++counts["undocumented_losses"];
  if (++failures_ > kMaxFailures) return;
  std::printf("FAIL %s: %s\n  alone: %s --replay %s\n", id.c_str(), wrong.c_str(),
              options_.program.c_str(), id.c_str());
  std::fflush(stdout);
}

bool Run::Enough(bool within) const {
  if (failures_ >= kMaxFailures) return true;
  if (options_.seconds > 0)
    return std::chrono::steady_clock::now() - start_ > std::chrono::seconds(options_.seconds);
  return !within && visited_ >= options_.states;
}

// Eight bits of CRC let one torn or damaged image in 256 pass at worst; far more would mean
// that the checker calls losses coincidences.
void Run::JudgeCoincidences() {
  long torn = 0;
  for (const char* const name : {"torn_images", "flipped_bits", "damaged_sectors"})
    if (const auto found = counts.find(name); found != counts.end()) torn += found->second;
  if (torn < 1000 || counts["crc_coincidences"] * 64 < torn) return;
  ++failures_;
  std::printf("FAIL too many torn images have a right CRC\n");
}

// Whoever asks for a number of states has it, or is told.
void Run::JudgeAmount() {
  const bool by_number = !Replaying() && options_.seconds == 0 && failures_ == 0;
  if (visited_ > 0 && (!by_number || visited_ >= options_.states)) return;
  ++failures_;
  std::printf("FAIL %ld states visited, %ld wanted\n", visited_, options_.states);
}

int Run::Finish() {
  JudgeCoincidences();
  JudgeAmount();
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start_;
  std::string line = "{\"kind\":\"" + options_.kind + "\"";
  counts["undocumented_losses"] += 0;
  for (const auto& [name, count] : counts) line += ",\"" + name + "\":" + std::to_string(count);
  char seconds[64];
  std::snprintf(seconds, sizeof(seconds), ",\"seconds\":%.1f}", took.count());
  line += seconds;
  std::printf("%s\n", line.c_str());
  if (!options_.counts.empty()) std::ofstream(options_.counts, std::ios::app) << line << "\n";
  return failures_ == 0 ? 0 : 1;
}

}  // namespace vmr::crash

#include "tests/crash/call_sites.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

namespace vmr::crash {
namespace {

SiteChain now{};

std::vector<CallSite>& Sites() {
  static std::vector<CallSite> sites;
  return sites;
}

}  // namespace

const std::vector<CallSite>& CallSites() { return Sites(); }

bool UseCallSites(std::vector<CallSite> sites) {
  Sites() = std::move(sites);
  return true;
}

const SiteChain& SitesNow() { return now; }

Within::Within(int number) {
  const auto depth = static_cast<std::size_t>(now.count++);
  if (depth == now.numbers.size()) {
    std::fprintf(stderr, "call sites: too deep at %s\n",
                 CallSites()[static_cast<std::size_t>(number)].place);
    std::abort();
  }
  now.numbers[depth] = static_cast<short>(number);
}

Within::~Within() { --now.count; }

void StruckSites::Note(const SiteChain& sites) {
  if (sites.count == 0) ++from_nowhere_;
  for (int depth = 0; depth < sites.count; ++depth)
    ++counts_[static_cast<std::size_t>(sites.numbers[static_cast<std::size_t>(depth)])];
}

}  // namespace vmr::crash

// A recording store, a wall clock and a captured log, and the verbs that tests
// of the store's families use on them.
#ifndef VMR_TESTS_SUPPORT_STORE_FIXTURE_H_
#define VMR_TESTS_SUPPORT_STORE_FIXTURE_H_

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/log.h"
#include "store/data_store.h"
#include "store/tag_catalogue.h"
#include "tests/support/bytes.h"
#include "tests/support/captured_log.h"
#include "tests/support/recording_store.h"
#include "tests/support/test_clock.h"

namespace vmr::test {

// What `action` writes to standard output.
template <typename Action>
std::string Printed(Action action) {
  testing::internal::CaptureStdout();
  action();
  return testing::internal::GetCapturedStdout();
}

inline Bytes Chars(const std::string& text) { return Bytes(text.begin(), text.end()); }

class StoreTest : public testing::Test {
 protected:
  // A timer tick at which the wall clock is what the store expects it to be, so
  // that no time item comes of it.
  void TickAt(unsigned int tick) {
    clock.Set(static_cast<std::time_t>(tick / 2));
    store.TimerTick(tick);
  }

  // Everything pending as item bytes; empty when nothing is.
  Bytes Items() { return store.FlushedItems(); }

  // The trace of the items added since the last call, one text per item.
  std::vector<std::string> Added() {
    std::vector<std::string> added;
    for (const std::string& text : log.Texts(kLogEachItem))
      if (text.rfind("Add to Current packet", 0) == 0) added.push_back(text);
    log.Clear();
    return added;
  }

  bool Logged(unsigned int level, const std::string& text) const {
    return log.Has(level, "DataStore.cc", text);
  }

  // Hands a whole item to the decoder of its tag, as a reader does.
  void Decode(const Bytes& item) {
    const TagRow* const row = FindTag(item.at(0));
    ASSERT_NE(row, nullptr);
    ASSERT_EQ(ItemLength(row, item.data(), item.size()), item.size());
    ASSERT_NE(row->decoder, nullptr);
    row->decoder(store, item.data(), result);
  }

  // What the viewer prints for the item.
  std::string View(const Bytes& item) {
    store.SetViewMode(kViewItems);
    std::string text = Printed([&] { Decode(item); });
    store.SetViewMode(0);
    return text;
  }

  TestClock clock{0};
  RecordingStore store;
  CapturedLog log;
  DecodeResult result;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_SUPPORT_STORE_FIXTURE_H_

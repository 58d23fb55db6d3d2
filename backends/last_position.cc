// The search for the cluster that was written last.
//
// It relies on what the ring store's writing leaves behind: first ticks rise
// with the cluster number from the oldest cluster to the newest, and behind the
// newest they drop (the ring has wrapped) or are "never written".
#include "backends/file_store.h"
#include "host/log.h"

namespace vmr {
namespace {
constexpr char kLogSource[] = "FileStore.cc";
}

int FileStore::FindLastPosition(int clusterCount, int clusterSize, unsigned char* buf) {
  hdr_cache_.Clear();  // cluster writes do not update it
  const int last = clusterCount - 1;
  const unsigned int first_st = GetSt(clusterSize, buf, 0);
  const unsigned int last_st = GetSt(clusterSize, buf, last);
  // Deliberate: "fistST".
  VMR_LOG(kLogEachItem, "file (" << path_ << ") first " << 0 << " fistST " << first_st << ", last "
                                 << last << " lastST " << last_st);

  const auto found = [&](int newest, unsigned int newest_st, int oldest, unsigned int oldest_st) {
    newest_cluster_ = newest;
    newest_st_ = newest_st;
    oldest_cluster_ = oldest;
    oldest_st_ = oldest_st;
    newest_size_ = static_cast<std::int16_t>(GetSize(clusterSize, buf, newest));
  };
  if (first_st == kNeverWrittenSt && last_st == kNeverWrittenSt) {
    found(0, kNeverWrittenSt, last, kNeverWrittenSt);
    VMR_LOG(kLogInfo, "Empty file store; cache depth " << hdr_cache_.Size());
    return 1;
  }
  if (first_st == kPartialWrapSt) {
    found(last, last_st, 1, GetSt(clusterSize, buf, 1));
    VMR_LOG(kLogInfo, "File store partial wrap; cache depth " << hdr_cache_.Size());
    return 1;
  }
  if (last_st < kUnreadableSt && first_st < last_st) {
    found(last, last_st, 0, first_st);
    VMR_LOG(kLogInfo, "File store ready to wrap; cache depth " << hdr_cache_.Size());
    return 1;
  }
  return SearchWrapPoint(clusterCount, clusterSize, buf, first_st, last_st);
}

int FileStore::SearchWrapPoint(int clusterCount, int clusterSize, unsigned char* buf,
                               unsigned int first_st, unsigned int last_st) {
  int lo = 0, hi = clusterCount - 1;
  unsigned int lo_st = first_st, hi_st = last_st;
  while (hi - lo > 1) {
    const int mid = (lo + hi) / 2;
    const unsigned int mid_st = GetSt(clusterSize, buf, mid);
    lo_st = GetSt(clusterSize, buf, lo);
    if (lo_st == kUnreadableSt || hi_st == kUnreadableSt || mid_st == kUnreadableSt) {
      VMR_LOG(kLogError,
              "Invalid Cluster found during searching file (" << path_ << "). Quitting search.");
      return 0;
    }
    if (mid_st < lo_st || mid_st == kNeverWrittenSt) {
      hi = mid;
      hi_st = mid_st;
      continue;
    }
    lo = mid;
    lo_st = mid_st;
    VMR_LOG(kLogEachItem, "Search: first: cluster(" << lo << "), sysTick(" << lo_st
                                                    << ") - last: cluster(" << hi << "), sysTick("
                                                    << hi_st << ")");
  }
  if (hi - lo < 1) {
    VMR_LOG(kLogError, "Error in searching first and last clusters");
    return 0;
  }
  newest_cluster_ = lo;
  newest_st_ = lo_st;
  oldest_cluster_ = hi;
  oldest_st_ = hi_st;
  newest_size_ = static_cast<std::int16_t>(GetSize(clusterSize, buf, lo));
  VMR_LOG(kLogInfo, "cache depth " << hdr_cache_.Size() << ": first " << lo << " firstST " << lo_st
                                   << " last " << hi << " lastST " << hi_st);
  return 1;
}

}  // namespace vmr

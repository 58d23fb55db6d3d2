// Items on their way into memory and back, against what might be used instead: a
// message of protobuf-lite, a line of spdlog, a printf and a row of SQLite for each.
// "items" is the rate to compare, items a second of processor time.
//
// Ours does more on the way in: it compares every report with what was last recorded,
// assembles packets and puts a CRC behind each. On the way back the packets' CRCs are
// checked and every item moves the state; the others move an array of numbers.
#include <benchmark/benchmark.h>

#include <cstring>
#include <string>

#include "backends/data_store_null.h"
#include "bench/peer_items.h"
#include "reader/metadata_reader.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"
#ifdef VMR_BENCH_PROTOBUF
#include "peer_items.pb.h"
#endif
#ifdef VMR_BENCH_SPDLOG
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>
#endif
#ifdef VMR_BENCH_SQLITE
#include <sqlite3.h>
#endif

namespace {

using vmr::bench::Drive;
using vmr::bench::PeerItem;
using vmr::bench::PeerItems;
using vmr::bench::PeerState;
using Bytes = std::vector<unsigned char>;

constexpr unsigned int kTicks = 4096;

void CountItems(benchmark::State& state, std::size_t items_each_time) {
  const auto items = static_cast<double>(items_each_time) * static_cast<double>(state.iterations());
  state.counters["items"] = benchmark::Counter(items, benchmark::Counter::kIsRate);
}

// ---- Ours ----------------------------------------------------------------------

// Keeps what it is handed, from the first byte on again when it is told to.
class MemoryStore : public vmr::DataStoreNull {
 public:
  int WriteData(const unsigned char* data, int length, unsigned int /*tick*/) override {
    stream_.insert(stream_.end(), data, data + length);
    return 1;
  }
  int ReadDataIntoBuffer(long position, unsigned char* buffer, int bufferSize, int& bytesRead,
                         long& nextPosition) override {
    const long left = static_cast<long>(stream_.size()) - position;
    bytesRead = static_cast<int>(left < bufferSize ? left : bufferSize);
    std::memcpy(buffer, stream_.data() + position, static_cast<std::size_t>(bytesRead));
    nextPosition = position + bytesRead;
    return 1;
  }
  void BeginAgain() { stream_.clear(); }
  const Bytes& Stream() const { return stream_; }

 private:
  Bytes stream_;
};

std::size_t ItemsIn(const Bytes& stream) {
  std::size_t items = 0;
  for (std::size_t packet = 0; packet < stream.size();) {
    const std::size_t bytes = vmr::WholePacketBytes(&stream[packet], stream.size() - packet);
    if (bytes == 0) return 0;
    const std::size_t end = packet + bytes - vmr::kPacketCrcBytes;
    for (std::size_t at = packet + vmr::FindPacketShape(stream[packet])->head_bytes; at < end;) {
      at += vmr::ItemLength(vmr::FindTag(stream[at]), &stream[at], end - at);
      ++items;
    }
    packet += bytes;
  }
  return items;
}

void RecordTicks(MemoryStore& store, Drive& drive, unsigned int& tick) {
  for (unsigned int n = 0; n < kTicks; ++n) drive.Tick(store, tick++);
}

template <Drive::Kind kKind>
void Record(benchmark::State& state) {
  MemoryStore store;
  if (store.Open() == 0) return state.SkipWithError("the store does not open");
  Drive::Equip(store);
  Drive drive(kKind);
  unsigned int tick = 2;
  RecordTicks(store, drive, tick);
  const std::size_t items = ItemsIn(store.Stream());
  for (auto _ : state) {
    store.BeginAgain();
    RecordTicks(store, drive, tick);
  }
  CountItems(state, items);
}

template <Drive::Kind kKind>
void Parse(benchmark::State& state) {
  MemoryStore source;
  if (source.Open() == 0) return state.SkipWithError("the store does not open");
  Drive::Equip(source);
  Drive drive(kKind);
  unsigned int tick = 2;
  RecordTicks(source, drive, tick);
  vmr::DataStoreNull out;
  if (out.Open() == 0) return state.SkipWithError("the store does not open");
  unsigned int ticks = 0;
  for (auto _ : state) {
    vmr::MetadataReader reader;
    reader.StartAt(0);
    ticks = 0;
    while (reader.ReadNextSystemTick(source, out) > 0)
      ticks += static_cast<unsigned int>(reader.ParseReadSystemTick(out));
  }
  const unsigned int recorded = kKind == Drive::Kind::kBusy ? kTicks : kTicks / 2;
  if (ticks < recorded || ticks > recorded + 1) state.SkipWithError("the recording was not read");
  CountItems(state, ItemsIn(source.Stream()));
}

// ---- Peers ---------------------------------------------------------------------

template <Drive::Kind kKind>
void PrintItems(benchmark::State& state) {
  const std::vector<PeerItem> items = PeerItems(kKind, kTicks);
  std::FILE* const out = std::fopen("/dev/null", "w");
  for (auto _ : state)
    for (const PeerItem& item : items)
      std::fprintf(out, "%u %d %d: %d %d %d %d\n", item.tick, item.kind, item.id, item.a, item.b,
                   item.c, item.d);
  std::fclose(out);
  CountItems(state, items.size());
}

#ifdef VMR_BENCH_PROTOBUF
void Fill(const PeerItem& item, vmr::bench::proto::Item& message) {
  message.set_tick(item.tick);
  message.set_kind(static_cast<std::uint32_t>(item.kind));
  const auto id = static_cast<std::uint32_t>(item.id);
  if (item.kind == PeerItem::kFix) {
    message.mutable_fix()->set_latitude(item.a);
    message.mutable_fix()->set_longitude(item.b);
  } else if (item.kind == PeerItem::kRadar) {
    message.mutable_radar()->set_id(id);
    message.mutable_radar()->set_target(static_cast<std::uint32_t>(item.a));
    message.mutable_radar()->set_fastest(static_cast<std::uint32_t>(item.b));
    message.mutable_radar()->set_lock(static_cast<std::uint32_t>(item.c));
  } else if (item.kind == PeerItem::kLiveStream) {
    message.mutable_live_stream()->set_id(id);
    message.mutable_live_stream()->set_camera(static_cast<std::uint32_t>(item.a));
    message.mutable_live_stream()->set_on(item.b != 0);
    message.mutable_live_stream()->set_address(static_cast<std::uint32_t>(item.c));
    message.mutable_live_stream()->set_port(static_cast<std::uint32_t>(item.d));
  } else {
    message.mutable_value()->set_id(id);
    message.mutable_value()->set_value(item.a);
  }
}

// Each behind a byte with its length; none is longer than that can tell.
void Serialize(const std::vector<PeerItem>& items, Bytes& stream) {
  vmr::bench::proto::Item message;
  stream.clear();
  for (const PeerItem& item : items) {
    message.Clear();
    Fill(item, message);
    const std::size_t bytes = message.ByteSizeLong();
    const std::size_t at = stream.size();
    stream.resize(at + 1 + bytes);
    stream[at] = static_cast<unsigned char>(bytes);
    message.SerializeWithCachedSizesToArray(&stream[at + 1]);
  }
}

void Take(const vmr::bench::proto::Item& message, PeerState& state) {
  const auto kind = static_cast<PeerItem::Kind>(message.kind() % PeerItem::kKinds);
  PeerItem item{message.tick(), kind, 0, 0, 0, 0, 0};
  if (message.has_fix()) {
    item.a = message.fix().latitude();
    item.b = message.fix().longitude();
  } else if (message.has_radar()) {
    const auto& radar = message.radar();
    item = {message.tick(),
            kind,
            static_cast<int>(radar.id()),
            static_cast<int>(radar.target()),
            static_cast<int>(radar.fastest()),
            static_cast<int>(radar.lock()),
            0};
  } else if (message.has_live_stream()) {
    const auto& stream = message.live_stream();
    item = {message.tick(),
            kind,
            static_cast<int>(stream.id()),
            static_cast<int>(stream.camera()),
            stream.on() ? 1 : 0,
            static_cast<int>(stream.address()),
            static_cast<int>(stream.port())};
  } else {
    item.id = static_cast<int>(message.value().id());
    item.a = message.value().value();
  }
  state[kind][item.id % vmr::bench::kPeerIds] = item;
}

template <Drive::Kind kKind>
void SerializeMessages(benchmark::State& state) {
  const std::vector<PeerItem> items = PeerItems(kKind, kTicks);
  Bytes stream;
  for (auto _ : state) Serialize(items, stream);
  CountItems(state, items.size());
}

template <Drive::Kind kKind>
void ParseMessages(benchmark::State& state) {
  const std::vector<PeerItem> items = PeerItems(kKind, kTicks);
  Bytes stream;
  Serialize(items, stream);
  vmr::bench::proto::Item message;
  PeerState last{};
  for (auto _ : state) {
    for (std::size_t at = 0; at < stream.size(); at += 1U + stream[at]) {
      if (!message.ParseFromArray(&stream[at + 1], stream[at]))
        return state.SkipWithError("a message was not parsed");
      Take(message, last);
    }
    benchmark::DoNotOptimize(last);
  }
  CountItems(state, items.size());
}
#endif

#ifdef VMR_BENCH_SPDLOG
// Formats every line as a file's sink would, and drops it.
class MemorySink final : public spdlog::sinks::base_sink<spdlog::details::null_mutex> {
  void sink_it_(const spdlog::details::log_msg& line) override {
    spdlog::memory_buf_t text;
    formatter_->format(line, text);
    benchmark::DoNotOptimize(text.data());
  }
  void flush_() override {}
};

template <Drive::Kind kKind>
void LogItems(benchmark::State& state) {
  const std::vector<PeerItem> items = PeerItems(kKind, kTicks);
  spdlog::logger log("drive", std::make_shared<MemorySink>());
  for (auto _ : state)
    for (const PeerItem& item : items)
      log.info("{} {} {}: {} {} {} {}", item.tick, static_cast<int>(item.kind), item.id, item.a,
               item.b, item.c, item.d);
  CountItems(state, items.size());
}
#endif

#ifdef VMR_BENCH_SQLITE
// A database in memory with a row for each item, inserted in one transaction.
class Rows {
 public:
  explicit Rows(const std::vector<PeerItem>& items) {
    sqlite3_open(":memory:", &db_);
    sqlite3_exec(db_,
                 "CREATE TABLE items(tick INT, kind INT, id INT, a INT, b INT, c INT, d INT);"
                 "BEGIN",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt* const insert = Prepare("INSERT INTO items VALUES(?, ?, ?, ?, ?, ?, ?)");
    for (const PeerItem& item : items) {
      const int values[] = {
          static_cast<int>(item.tick), item.kind, item.id, item.a, item.b, item.c, item.d};
      for (int n = 0; n < 7; ++n) sqlite3_bind_int(insert, n + 1, values[n]);
      sqlite3_step(insert);
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
    sqlite3_exec(db_, "COMMIT", nullptr, nullptr, nullptr);
  }
  ~Rows() { sqlite3_close(db_); }
  Rows(const Rows&) = delete;
  Rows& operator=(const Rows&) = delete;
  sqlite3_stmt* Prepare(const char* text) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db_, text, -1, &statement, nullptr);
    return statement;
  }

 private:
  sqlite3* db_ = nullptr;
};

template <Drive::Kind kKind>
void StepThroughRows(benchmark::State& state) {
  const std::vector<PeerItem> items = PeerItems(kKind, kTicks);
  Rows rows(items);
  sqlite3_stmt* const select = rows.Prepare("SELECT tick, kind, id, a, b, c, d FROM items");
  PeerState last{};
  std::size_t found = 0;
  for (auto _ : state) {
    for (found = 0; sqlite3_step(select) == SQLITE_ROW; ++found) {
      const auto at = [&](int column) { return sqlite3_column_int(select, column); };
      const auto kind = static_cast<PeerItem::Kind>(at(1) % PeerItem::kKinds);
      last[kind][at(2) % vmr::bench::kPeerIds] = {
          static_cast<unsigned int>(at(0)), kind, at(2), at(3), at(4), at(5), at(6)};
    }
    sqlite3_reset(select);
    benchmark::DoNotOptimize(last);
  }
  sqlite3_finalize(select);
  if (found != items.size()) state.SkipWithError("not every row was read");
  CountItems(state, items.size());
}
#endif

constexpr auto kBusy = Drive::Kind::kBusy;
constexpr auto kSparse = Drive::Kind::kSparse;

BENCHMARK(Record<kBusy>)->Name("record/busy/ours");
BENCHMARK(Record<kSparse>)->Name("record/sparse/ours");
BENCHMARK(PrintItems<kBusy>)->Name("record/busy/fprintf");
// What the figures of a run are worth: it is 1 when nothing disturbs.
BENCHMARK(PrintItems<kBusy>)->Name("record/busy/fprintf (again)");
BENCHMARK(PrintItems<kSparse>)->Name("record/sparse/fprintf");
BENCHMARK(Parse<kBusy>)->Name("parse/busy/ours");
BENCHMARK(Parse<kSparse>)->Name("parse/sparse/ours");
#ifdef VMR_BENCH_PROTOBUF
BENCHMARK(SerializeMessages<kBusy>)->Name("record/busy/protobuf-lite");
BENCHMARK(SerializeMessages<kSparse>)->Name("record/sparse/protobuf-lite");
BENCHMARK(ParseMessages<kBusy>)->Name("parse/busy/protobuf-lite");
BENCHMARK(ParseMessages<kSparse>)->Name("parse/sparse/protobuf-lite");
#endif
#ifdef VMR_BENCH_SPDLOG
BENCHMARK(LogItems<kBusy>)->Name("record/busy/spdlog");
BENCHMARK(LogItems<kSparse>)->Name("record/sparse/spdlog");
#endif
#ifdef VMR_BENCH_SQLITE
BENCHMARK(StepThroughRows<kBusy>)->Name("parse/busy/SQLite rows");
BENCHMARK(StepThroughRows<kSparse>)->Name("parse/sparse/SQLite rows");
#endif

}  // namespace

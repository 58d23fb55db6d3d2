#include "tools/read/made_packets.h"

#include <fmt/format.h>

#include "host/crc8.h"
#include "store/bytes.h"
#include "store/packet_format.h"
#include "store/tag_catalogue.h"
#include "tools/common/numbers.h"

namespace vmr::tool {

using records::GapReason;

namespace {

constexpr std::string_view kGapBegins = "vmr: gap, ticks ";
constexpr std::string_view kGapBetween = " to ";
constexpr std::string_view kGapBefore = ": ";
constexpr std::string_view kUnknown = "unknown";

std::string TickText(unsigned int tick) {
  return tick == kNoTick ? std::string(kUnknown) : std::to_string(tick);
}

bool IsTickText(std::string_view text) { return text == kUnknown || ParseTick(text); }

// What stands in front of `mark`, which goes with it; nothing where there is no mark.
std::optional<std::string_view> TakeUpTo(std::string_view mark, std::string_view& text) {
  const std::size_t at = text.find(mark);
  if (at == text.npos) return std::nullopt;
  const std::string_view before = text.substr(0, at);
  text.remove_prefix(at + mark.size());
  return before;
}

}  // namespace

std::string PacketOf(std::optional<unsigned int> tick, std::string_view items) {
  unsigned char packet[kMaxPacketBytes];
  std::size_t size = 0;
  packet[size++] = tick ? HEADER_1 : HEADER_CONT;
  if (tick) {
    PutLe32(packet + size, *tick);
    size += 4;
  }
  packet[size++] = static_cast<unsigned char>(items.size());
  size += items.copy(reinterpret_cast<char*>(packet) + size, kMaxPacketItemBytes);
  const auto span = static_cast<unsigned int>(PacketCrcSpan(packet, size + kPacketCrcBytes));
  packet[size] = Crc8(packet, span, kCrcInitial);
  return {reinterpret_cast<const char*>(packet), size + kPacketCrcBytes};
}

std::string PacketsOf(std::optional<unsigned int> tick, const std::vector<std::string>& items) {
  std::string packets, body;
  const auto end_packet = [&] {
    packets += PacketOf(tick, body);
    tick.reset();
    body.clear();
  };
  for (const std::string& item : items) {
    if (body.size() + item.size() > kMaxPacketItemBytes) end_packet();
    body += item;
  }
  end_packet();
  return packets;
}

std::string LogItem(std::string_view text) {
  text = text.substr(0, kMaxPacketItemBytes - 2);
  std::string item{static_cast<char>(TAG_LOG), static_cast<char>(text.size())};
  return item.append(text);
}

std::string GapText(unsigned int from_tick, unsigned int to_tick, GapReason reason) {
  return fmt::format("{}{}{}{}{}{}", kGapBegins, TickText(from_tick), kGapBetween,
                     TickText(to_tick), kGapBefore, TextOf(reason));
}

std::optional<GapReason> ReasonOfGapText(std::string_view text) {
  if (TakeUpTo(kGapBegins, text) != std::string_view()) return std::nullopt;
  const auto from = TakeUpTo(kGapBetween, text);
  const auto to = TakeUpTo(kGapBefore, text);
  if (!from || !to || !IsTickText(*from) || !IsTickText(*to)) return std::nullopt;
  for (int reason = 0; reason <= static_cast<int>(GapReason::kMarked); ++reason)
    if (text == TextOf(static_cast<GapReason>(reason))) return static_cast<GapReason>(reason);
  return std::nullopt;
}

}  // namespace vmr::tool

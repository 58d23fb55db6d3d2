#include "tools/evidence/time_stamp.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <memory>

#include "tools/evidence/libcrypto.h"

namespace vmr::tool {
namespace {

std::string BytesOfHex(std::string_view digits) {
  std::string bytes;
  for (std::size_t at = 0; at + 1 < digits.size(); at += 2)
    bytes += static_cast<char>(std::stoi(std::string(digits.substr(at, 2)), nullptr, 16));
  return bytes;
}

std::string HexOf(std::string_view bytes) {
  std::string digits;
  for (const char byte : bytes) digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
  return digits;
}

std::string_view ContentOf(const Libcrypto& crypto, const ASN1_STRING* string) {
  return {reinterpret_cast<const char*>(crypto.ASN1_STRING_get0_data(string)),
          static_cast<std::size_t>(crypto.ASN1_STRING_length(string))};
}

// Of "20261122180000Z", which may have a fraction.
std::string TimeText(std::string_view time) {
  const bool is_usual =
      time.size() >= 15 && time.back() == 'Z' &&
      std::all_of(time.begin(), time.begin() + 14, [](unsigned char c) { return std::isdigit(c); });
  if (!is_usual) return "a time that cannot be read";
  const auto part = [&time](std::size_t at, std::size_t count) { return time.substr(at, count); };
  return fmt::format("{}-{}-{}T{}:{}:{}Z", part(0, 4), part(4, 2), part(6, 2), part(8, 2),
                     part(10, 2), part(12, 2));
}

bool FillImprint(const Libcrypto& crypto, std::string_view sha256, TS_MSG_IMPRINT* imprint,
                 X509_ALGOR* algorithm) {
  std::string digest = BytesOfHex(sha256);
  return imprint != nullptr && algorithm != nullptr &&
         crypto.X509_ALGOR_set0(algorithm, crypto.OBJ_nid2obj(NID_sha256), V_ASN1_NULL, nullptr) ==
             1 &&
         crypto.TS_MSG_IMPRINT_set_algo(imprint, algorithm) == 1 &&
         crypto.TS_MSG_IMPRINT_set_msg(imprint, reinterpret_cast<unsigned char*>(digest.data()),
                                       static_cast<int>(digest.size())) == 1;
}

std::string Encoded(const Libcrypto& crypto, TS_REQ* query) {
  const int size = crypto.i2d_TS_REQ(query, nullptr);
  if (size <= 0) return {};
  std::string der(static_cast<std::size_t>(size), '\0');
  auto* to = reinterpret_cast<unsigned char*>(der.data());
  crypto.i2d_TS_REQ(query, &to);
  return der;
}

}  // namespace

std::string TimeStampQuery(std::string_view sha256, std::string& error) {
  const Libcrypto* const crypto = LoadLibcrypto(error);
  if (crypto == nullptr) return {};
  const std::unique_ptr<TS_REQ, decltype(&::TS_REQ_free)> query(crypto->TS_REQ_new(),
                                                                crypto->TS_REQ_free);
  const std::unique_ptr<TS_MSG_IMPRINT, decltype(&::TS_MSG_IMPRINT_free)> imprint(
      crypto->TS_MSG_IMPRINT_new(), crypto->TS_MSG_IMPRINT_free);
  const std::unique_ptr<X509_ALGOR, decltype(&::X509_ALGOR_free)> algorithm(
      crypto->X509_ALGOR_new(), crypto->X509_ALGOR_free);
  constexpr int kYes = 1;
  std::string der;
  if (query != nullptr && FillImprint(*crypto, sha256, imprint.get(), algorithm.get()) &&
      crypto->TS_REQ_set_version(query.get(), 1) == 1 &&
      crypto->TS_REQ_set_msg_imprint(query.get(), imprint.get()) == 1 &&
      crypto->TS_REQ_set_cert_req(query.get(), kYes) == 1)
    der = Encoded(*crypto, query.get());
  if (der.empty()) error = "no query can be made";
  return der;
}

std::optional<TimeStamp> ReadTimeStampReply(std::string_view reply, std::string& error) {
  const Libcrypto* const crypto = LoadLibcrypto(error);
  if (crypto == nullptr) return std::nullopt;
  const auto* from = reinterpret_cast<const unsigned char*>(reply.data());
  const auto* const end = from + reply.size();
  const std::unique_ptr<TS_RESP, decltype(&::TS_RESP_free)> response(
      crypto->d2i_TS_RESP(nullptr, &from, static_cast<long>(reply.size())), crypto->TS_RESP_free);
  crypto->ERR_clear_error();
  if (response == nullptr || from != end) {
    error = "is no reply of a time-stamping authority (RFC 3161, DER)";
    return std::nullopt;
  }
  const long status = crypto->ASN1_INTEGER_get(
      crypto->TS_STATUS_INFO_get0_status(crypto->TS_RESP_get_status_info(response.get())));
  TS_TST_INFO* const info = crypto->TS_RESP_get_tst_info(response.get());
  constexpr long kGranted = 0, kGrantedWithMods = 1;
  if ((status != kGranted && status != kGrantedWithMods) || info == nullptr) {
    error = fmt::format("is a reply that grants no time stamp (status {})", status);
    return std::nullopt;
  }
  TS_MSG_IMPRINT* const imprint = crypto->TS_TST_INFO_get_msg_imprint(info);
  const ASN1_OBJECT* algorithm = nullptr;
  crypto->X509_ALGOR_get0(&algorithm, nullptr, nullptr, crypto->TS_MSG_IMPRINT_get_algo(imprint));
  TimeStamp stamp;
  if (crypto->OBJ_obj2nid(algorithm) == NID_sha256)
    stamp.sha256 = HexOf(ContentOf(*crypto, crypto->TS_MSG_IMPRINT_get_msg(imprint)));
  stamp.time = TimeText(ContentOf(*crypto, crypto->TS_TST_INFO_get_time(info)));
  return stamp;
}

}  // namespace vmr::tool

#include "tests/tools/fake_gpsd.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace vmr::test {
namespace {

constexpr int kPatience_ms = 120000;

bool WaitReadable(int fd) {
  pollfd wait = {fd, POLLIN, 0};
  return poll(&wait, 1, kPatience_ms) == 1;
}

}  // namespace

FakeGpsd::FakeGpsd() : listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  auto* const generic = reinterpret_cast<sockaddr*>(&address);
  socklen_t size = sizeof(address);
  if (bind(listener_, generic, size) != 0 || listen(listener_, 1) != 0) return;
  if (getsockname(listener_, generic, &size) == 0) port_ = ntohs(address.sin_port);
}

FakeGpsd::~FakeGpsd() {
  Drop();
  close(listener_);
}

std::string FakeGpsd::Address() const { return "127.0.0.1:" + std::to_string(port_); }

bool FakeGpsd::AcceptClient() {
  if (WaitReadable(listener_)) client_ = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
  return client_ >= 0;
}

bool FakeGpsd::Greet(const std::string& release) const {
  return Send(R"({"class":"VERSION","release":")" + release +
              R"(","rev":"3.22","proto_major":3,"proto_minor":14})");
}

bool FakeGpsd::TurnAway(bool greet) {
  const bool done = AcceptClient() && (!greet || Greet("3.22"));
  Drop();
  return done;
}

bool FakeGpsd::Accept(const std::string& release) {
  if (!AcceptClient() || !Greet(release)) return false;
  std::string received;
  while (received.find("?WATCH=") == std::string::npos) {
    char bytes[512];
    const ssize_t count = WaitReadable(client_) ? read(client_, bytes, sizeof(bytes)) : 0;
    if (count <= 0) return false;
    received.append(bytes, static_cast<std::size_t>(count));
  }
  return true;
}

bool FakeGpsd::Send(const std::string& line) const { return SendBytes(line + "\r\n"); }

bool FakeGpsd::SendBytes(const std::string& bytes) const {
  const auto count = static_cast<ssize_t>(bytes.size());
  return send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == count;
}

void FakeGpsd::Drop() {
  if (client_ >= 0) close(client_);
  client_ = -1;
}

}  // namespace vmr::test

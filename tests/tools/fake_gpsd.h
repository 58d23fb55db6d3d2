// A server that speaks as much of gpsd's protocol as a client needs.
#ifndef VMR_TESTS_TOOLS_FAKE_GPSD_H_
#define VMR_TESTS_TOOLS_FAKE_GPSD_H_

#include <string>

namespace vmr::test {

// Listens on a free port of this machine. A test accepts one connection at a
// time; every wait ends after two minutes, with a result of false.
class FakeGpsd {
 public:
  FakeGpsd();
  ~FakeGpsd();
  FakeGpsd(const FakeGpsd&) = delete;
  FakeGpsd& operator=(const FakeGpsd&) = delete;

  std::string Address() const;  // "127.0.0.1:PORT"
  std::string Port() const { return std::to_string(port_); }
  // Accepts a client, greets it and waits for its ?WATCH command.
  bool Accept(const std::string& release = "3.22");
  // Accepts a client, greets it if it is to, and hangs up.
  bool TurnAway(bool greet);
  bool Send(const std::string& line) const;
  bool SendBytes(const std::string& bytes) const;  // without a line's end
  void Drop();

 private:
  bool AcceptClient();
  bool Greet(const std::string& release) const;

  int listener_ = -1;
  int client_ = -1;
  int port_ = 0;
};

}  // namespace vmr::test

#endif  // VMR_TESTS_TOOLS_FAKE_GPSD_H_

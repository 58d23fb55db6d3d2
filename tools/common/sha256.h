// SHA-256 of bytes, as sha256sum prints it.
#ifndef VMR_TOOLS_COMMON_SHA256_H_
#define VMR_TOOLS_COMMON_SHA256_H_

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace vmr::tool {

// Takes bytes piece by piece.
class Sha256 {
 public:
  Sha256();
  ~Sha256();
  Sha256(const Sha256&) = delete;
  Sha256& operator=(const Sha256&) = delete;

  void Add(std::string_view bytes);
  // 64 hexadecimal digits, lower case, of all that was added; to be called once.
  std::string Digest();

 private:
  struct Context;
  std::unique_ptr<Context> context_;
};

std::string Sha256Of(std::string_view bytes);
// Of what an open file holds, from its beginning on. Nothing, and errno or 0, when it cannot be
// read to its end.
std::optional<std::string> Sha256OfFile(int fd);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMON_SHA256_H_

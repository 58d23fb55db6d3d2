// Looks functions up in a library that the program loads itself.
#ifndef VMR_TOOLS_EVIDENCE_LIBRARY_FUNCTIONS_H_
#define VMR_TOOLS_EVIDENCE_LIBRARY_FUNCTIONS_H_

#include <string>

namespace vmr::tool {

// Once something is not there, all that follows is null and Error() says what it was.
class LibraryFunctions {
 public:
  // `package`: Debian's, that brings `file`.
  LibraryFunctions(const char* file, const char* package);

  template <typename Function>
  void Find(const char* name, Function& function) {
    function = reinterpret_cast<Function>(Look(name));
  }
  // Empty: all were there.
  const std::string& Error() const { return error_; }

 private:
  void* Look(const char* name);
  void Fail();

  const char* file_;
  const char* package_;
  void* library_;
  std::string error_;
};

}  // namespace vmr::tool

#endif  // VMR_TOOLS_EVIDENCE_LIBRARY_FUNCTIONS_H_

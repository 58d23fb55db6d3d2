// `vmr recover`: makes a sound store of what can still be read of another.
#ifndef VMR_TOOLS_COMMANDS_RECOVER_H_
#define VMR_TOOLS_COMMANDS_RECOVER_H_

#include <string>
#include <vector>

namespace vmr::tool {

struct RecoverOptions {
  std::string store;
  std::string out;                   // base of the new store
  std::vector<std::string> corrupt;  // files set aside by recorders
  bool force = false;                // replace `out`
};

// Writes both files of `out` or leaves what was there. Says on standard output
// what was recovered and what was lost. Returns the program's exit code.
int Recover(const RecoverOptions& options);

}  // namespace vmr::tool

#endif  // VMR_TOOLS_COMMANDS_RECOVER_H_

// Writes docs/lake/ddl/: what makes the tables of a lake known to engines that query it.
#ifndef VMR_TESTS_TOOLS_PRINT_DDL_H_
#define VMR_TESTS_TOOLS_PRINT_DDL_H_

#include <filesystem>

namespace vmr::test {

// A file for each engine, from the table of columns. False: one could not be written.
bool PrintDdl(const std::filesystem::path& folder);

}  // namespace vmr::test

#endif  // VMR_TESTS_TOOLS_PRINT_DDL_H_

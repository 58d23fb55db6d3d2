// Commands that read a recording leave it as it is, whatever state it is in.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string_view>

#include "tests/tools/program.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;

// What a write to a file changes, or a replacement of it.
struct FileState {
  off_t bytes;
  mode_t mode;
  ino_t inode;
  timespec changed;

  bool operator==(const FileState& other) const {
    return bytes == other.bytes && mode == other.mode && inode == other.inode &&
           changed.tv_sec == other.changed.tv_sec && changed.tv_nsec == other.changed.tv_nsec;
  }
};

FileState StateOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return {status.st_size, status.st_mode, status.st_ino, status.st_ctim};
}

std::size_t HashOf(const std::string& path) {
  const std::size_t bytes = fs::file_size(path);
  std::size_t hash = 0;
  const int fd = open(path.c_str(), O_RDONLY);
  void* const content = bytes > 0 ? mmap(nullptr, bytes, PROT_READ, MAP_PRIVATE, fd, 0) : nullptr;
  if (content != nullptr && content != MAP_FAILED) {
    hash = std::hash<std::string_view>()({static_cast<const char*>(content), bytes});
    munmap(content, bytes);
  }
  close(fd);
  return hash;
}

class Untouched : public ProgramTest {
 protected:
  Untouched() {
    Replay(
        "{\"event\":\"bookmark\",\"tick\":9,\"time\":\"2024-05-01T10:00:00Z\"}\n"
        "{\"event\":\"bookmark\",\"tick\":99}\n{\"event\":\"bookmark\",\"tick\":199}\n");
    fs::remove(Path("input"));
  }

  // Of everything in the folder but what the program writes for this test.
  template <typename Look>
  auto OfRecording(Look look) const {
    std::map<std::string, decltype(look(std::string()))> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
      const std::string name = entry.path().filename();
      if (name != "out" && name != "err" && name.rfind("cut", 0) != 0)
        files[name] = look(entry.path().string());
    }
    return files;
  }

  void ExpectNothingChanged() const {
    const auto before = OfRecording(StateOf);
    const auto contents = OfRecording(HashOf);
    const Arguments commands[] = {
        {"view", "s"},
        {"view", "s", "--dumps", "--from", "50", "-o", "cut", "--force"},
        {"view", "s", "-o", "s_1.mtd"},
        {"view", "--flat", "s_1.mtd"},
        {"view", "--listing", "s"},
        {"view", "--listing", "--expanded", "s", "--from", "50"},
        {"view", "--listing", "--flat", "s_1.mtd"},
        {"info", "s"},
        {"info", "s", "--full", "--format", "json"},
        {"extract", "s", "cut", "--from", "50", "--to", "150", "--force"},
        {"extract", "s", "cut", "--from", "2024-05-01T10:00:01Z", "--to", "2024-05-01T10:01:00Z",
         "--margin", "5", "--force"},
        {"extract", "s", "s_1.mtd", "--from", "50", "--to", "150", "--force"},
        {"package", "s", "cut", "--from", "50", "--to", "150", "--force"},
        {"package", "s", "s_2.mtd", "--from", "50", "--to", "150", "--force"},
        {"state", "s", "--at", "100"},
        {"report", "s", "-o", "cut", "--force"},
        {"report", "s", "-o", "s_1.mtd", "--force"},
        {"plot", "s", "-o", "cut", "--force"},
        {"plot", "s", "-o", "s_1.mtd", "--force"},
        {"diff", "s", "--at", "50", "--and", "150"},
        {"check", "s"},
        {"check", "s", "--format", "json"},
        {"recover", "s", "cut", "--force"},
        {"recover", "s", "s", "--force"},
    };
    for (const Arguments& command : commands) {
      Run(command);
      EXPECT_TRUE(OfRecording(StateOf) == before) << testing::PrintToString(command);
    }
    EXPECT_TRUE(OfRecording(HashOf) == contents);
  }

  void Overwrite(const std::string& name, std::streamoff at, const std::string& bytes) const {
    std::fstream file(Path(name), std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(at);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_TRUE(file.good());
  }
};

constexpr std::streamoff Cluster(int number) { return std::streamoff{number} * 4096; }

TEST_F(Untouched, WhenHealthy) { ExpectNothingChanged(); }

TEST_F(Untouched, WhenItMayNotBeWritten) {
  for (const char* name : {"s_1.mtd", "s_2.mtd"}) fs::permissions(Path(name), fs::perms(0440));
  ExpectNothingChanged();
}

TEST_F(Untouched, WhenTheNewestClusterOfOneFileIsDamaged) {
  Overwrite("s_1.mtd", Cluster(0) + 100, "damage");
  ExpectNothingChanged();
}

TEST_F(Untouched, WhenOneFileCannotBeSearched) {
  Overwrite("s_2.mtd", Cluster(16383), "damage");
  ExpectNothingChanged();
}

TEST_F(Untouched, WhenNeitherFileCanBeSearched) {
  for (const char* name : {"s_1.mtd", "s_2.mtd"}) Overwrite(name, Cluster(16383), "damage");
  ExpectNothingChanged();
}

TEST_F(Untouched, WhenOneFileIsMissing) {
  fs::remove(Path("s_1.mtd"));
  ExpectNothingChanged();
}

TEST_F(Untouched, WhenOneFileIsCutShort) {
  fs::resize_file(Path("s_2.mtd"), 50000);
  ExpectNothingChanged();
}

}  // namespace
}  // namespace vmr::test

// Packing a range of a store as evidence, and what a technician may get wrong.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/tools/program.h"

namespace vmr::test {
namespace {

namespace fs = std::filesystem;

using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class PackageTest : public ProgramTest {
 protected:
  // A bookmark at every tenth tick from 10 to 1000, the first one at 2024-05-01T10:00:05Z.
  PackageTest() {
    std::string lines = "{\"event\":\"bookmark\",\"tick\":10,\"time\":\"2024-05-01T10:00:05Z\"}\n";
    for (int tick = 20; tick <= 1000; tick += 10)
      lines += "{\"event\":\"bookmark\",\"tick\":" + std::to_string(tick) + "}\n";
    Replay(lines);
  }
  Finished Package(const Arguments& more) const {
    Arguments arguments = {"package", "s", "bag.zip"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Run(arguments);
  }
  Finished PackageRange(const Arguments& more = {}) const {
    Arguments arguments = {"--from", "102", "--to", "120", "--at", "2026-11-22T18:00:00Z"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return Package(arguments);
  }
  std::string Content(const std::string& name) const {
    const std::string command =
        "cd " + folder +
        " && python3 -c \"import sys,zipfile; sys.stdout.buffer.write(zipfile."
        "ZipFile('bag.zip').read('evidence/" +
        name + "'))\" > content";
    EXPECT_EQ(std::system(command.c_str()), 0) << name;
    return ReadFile(Path("content"));
  }
  int Shell(const std::string& command) const {
    return WEXITSTATUS(std::system(("cd " + folder + " && " + command).c_str()));
  }
  // Nothing but what was there, and what the tests' own fixture writes.
  std::vector<std::string> WhatIsThere() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
      const std::string name = entry.path().filename();
      if (name != "out" && name != "err") names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  void ExpectRefused(const Finished& finished, int exit_code, const std::string& why) const {
    EXPECT_EQ(finished.exit_code, exit_code);
    EXPECT_THAT(finished.err, HasSubstr(why));
    EXPECT_EQ(finished.out, "");
    EXPECT_THAT(WhatIsThere(), Not(Contains("bag.zip")));
    EXPECT_THAT(WhatIsThere(), Not(Contains(StartsWith(".vmr"))));
  }
};

TEST_F(PackageTest, HoldsWhatTheOtherCommandsMake) {
  const Finished made = PackageRange({"--case", "17", "--by", "Jane Doe", "--reason", "A stop"});
  EXPECT_EQ(made.exit_code, 0) << made.err;
  EXPECT_EQ(made.err, "");
  EXPECT_EQ(Run({"verify", "bag.zip"}).exit_code, 0);
  Run({"extract", "s", "cut", "--from", "102", "--to", "120"});
  EXPECT_EQ(Content("data/extract.vmd"), ReadFile(Path("cut")));
  Run({"extract", "s", "cut", "--from", "102", "--to", "120", "--as-unit", "--force"});
  EXPECT_EQ(Content("data/extract-as-unit.vmd"), ReadFile(Path("cut")));
  EXPECT_EQ(Content("data/export.jsonl"), Run({"export", "s", "--from", "102", "--to", "120"}).out);
  EXPECT_EQ(Content("data/csv/bookmark.csv"), Run({"export", "s", "--from", "102", "--to", "120",
                                                   "--format", "csv", "--kind", "bookmark"})
                                                  .out);
  EXPECT_EQ(Content("data/check.txt"), Run({"check", "s"}).out);
  EXPECT_THAT(Content("data/report.html"), HasSubstr("<html"));
  EXPECT_THAT(Content("bag-info.txt"), HasSubstr("External-Identifier: 17\n"
                                                 "External-Description: A stop\n"
                                                 "Contact-Name: Jane Doe\n"));
}

TEST_F(PackageTest, TheSameStoreRangeAndTimeMakeTheSameBytes) {
  PackageRange();
  const std::string first = ReadFile(Path("bag.zip"));
  ASSERT_FALSE(first.empty());
  EXPECT_EQ(PackageRange({"--force"}).exit_code, 0);
  EXPECT_TRUE(ReadFile(Path("bag.zip")) == first);
  EXPECT_EQ(Shell("SOURCE_DATE_EPOCH=1795370400 TZ=Asia/Tokyo " VMR_PROGRAM
                  " package s bag.zip --from 102 --to 120 --force > said"),
            0);
  EXPECT_TRUE(ReadFile(Path("bag.zip")) == first) << "wherever and whenever";
}

TEST_F(PackageTest, IsCheckedByMinisign) {
  const std::string made = Run({"key", "new", "jane"}).out;
  const std::string key = made.substr(made.find("RW"), 56);
  EXPECT_EQ(PackageRange({"--sign", "jane"}).exit_code, 0);
  EXPECT_EQ(Shell("python3 -m zipfile -e bag.zip unpacked"), 0);
  const std::string check = "cd unpacked/evidence && minisign -V -m tagmanifest-sha256.txt ";
  EXPECT_EQ(Shell(check + "-P " + key + " > ../said"), 0);
  EXPECT_EQ(ReadFile(Path("unpacked/said")),
            "Signature and comment signature verified\nTrusted comment: tagmanifest-sha256.txt\n");
  EXPECT_EQ(Shell(check + "-p signer-public-key.minisign > ../said"), 0);
  const std::string other = Run({"key", "new", "joe"}).out;
  EXPECT_NE(Shell(check + "-P " + other.substr(other.find("RW"), 56) + " 2> ../said"), 0);
}

// With nothing of this program, as README.txt in the bag says.
TEST_F(PackageTest, IsCheckedBySha256sumAndOpensslAlone) {
  Run({"key", "new", "jane"});
  EXPECT_EQ(PackageRange({"--sign", "jane"}).exit_code, 0);
  EXPECT_EQ(Shell("python3 -m zipfile -e bag.zip unpacked"), 0);
  EXPECT_EQ(Shell("cd unpacked/evidence && sha256sum -c --quiet tagmanifest-sha256.txt && "
                  "sha256sum -c --quiet manifest-sha256.txt"),
            0);
  const std::string check =
      "openssl pkeyutl -verify -pubin -inkey ../../KEY -rawin -in tagmanifest-sha256.txt "
      "-sigfile tagmanifest-sha256.txt.sig > verified";
  EXPECT_EQ(Shell("cd unpacked/evidence && cp signer-public-key.pem ../../KEY && " + check), 0);
  EXPECT_EQ(ReadFile(Path("KEY")), ReadFile(Path("jane.pub")));
  EXPECT_EQ(Shell("openssl genpkey -algorithm ed25519 | openssl pkey -pubout > KEY && "
                  "cd unpacked/evidence && " +
                  check),
            1)
      << "by another key";
  EXPECT_EQ(Shell("cp s_1.mtd s_2.mtd unpacked/evidence/data && cd unpacked/evidence/data && "
                  "sha256sum -c --quiet source-sha256.txt"),
            0);
}

TEST_F(PackageTest, Sha256sumFindsSourcesByNamesWithBackslashes) {
  for (const std::string which : {"_1.mtd", "_2.mtd"})
    fs::copy_file(Path("s" + which), Path("a\\b" + which));
  const Finished made = Run({"package", "a\\b", "bag.zip", "--from", "102", "--to", "120"});
  EXPECT_EQ(made.exit_code, 0) << made.err;
  const std::string lines = Content("data/source-sha256.txt");
  EXPECT_EQ(lines.size(), 2 * (1 + 64 + 2 + std::string("a\\\\b_1.mtd\n").size())) << lines;
  EXPECT_THAT(lines, StartsWith("\\"));
  EXPECT_THAT(lines, HasSubstr("  a\\\\b_1.mtd\n"));
  EXPECT_EQ(Shell("sha256sum -c --quiet content"), 0);
  EXPECT_EQ(Shell("printf x >> 'a\\b_2.mtd'; sha256sum -c --quiet content > said 2>&1"), 1);
}

TEST_F(PackageTest, TheStatementTellsOfTheClock) {
  Replay(
      "{\"event\":\"bookmark\",\"tick\":2000}\n"
      "{\"event\":\"bookmark\",\"tick\":2100,\"time\":\"2024-05-01T09:00:00Z\"}\n"
      "{\"event\":\"bookmark\",\"tick\":2200}\n");
  Package({"--from", "0", "--to", "4294967295", "--at", "2024-05-01T09:30:00Z"});
  const std::string statement = Content("data/statement.txt");
  EXPECT_THAT(statement, HasSubstr("\nLocal times: UTC\n")) << "that is what is recorded";
  EXPECT_THAT(statement, HasSubstr("was set: 2 inside the range, 2 in all of the recording"));
  EXPECT_THAT(statement, HasSubstr(" back"));
  // Tick 2000 was recorded just now.
  EXPECT_THAT(statement, HasSubstr("(tick 2001), "));
  EXPECT_THAT(statement, HasSubstr(" after it.\n"));
  EXPECT_THAT(statement,
              HasSubstr("Its last time is earlier, as the clock was set back: 2024-05-01"));
  EXPECT_THAT(statement, HasSubstr("one of the two clocks is wrong"));
  Package({"--from", "0", "--to", "4294967295", "--at", "2100-01-01T00:00:00Z", "--force"});
  EXPECT_THAT(Content("data/statement.txt"), HasSubstr(" before it.\n"));
}

TEST_F(PackageTest, AGapIsToldByTheExitCode) {
  Replay("{\"event\":\"bookmark\",\"tick\":90000}\n{\"event\":\"bookmark\",\"tick\":90100}\n");
  const Finished made = Package({"--from", "901", "--to", "90050"});
  EXPECT_EQ(made.exit_code, 3);
  EXPECT_THAT(made.err, HasSubstr("nothing is recorded between ticks"));
  EXPECT_THAT(Content("data/statement.txt"), HasSubstr("nothing is recorded between ticks"));
  EXPECT_EQ(Run({"verify", "bag.zip"}).exit_code, 0) << "the bag is whole all the same";
}

// ---- What a technician may get wrong ----------------------------------------------

TEST_F(PackageTest, AWrongRangeIsToldByWhatIsRecorded) {
  ExpectRefused(Package({"--from", "5000", "--to", "6000"}), 1,
                "vmr: s: nothing of what was asked for is recorded in it: it begins at tick 10");
  ExpectRefused(Package({"--from", "9", "--to", "8"}), 2, "vmr: --from 9 is after --to 8\n");
  ExpectRefused(Package({"--from", "9"}), 2, "vmr: --to is required\n");
}

TEST_F(PackageTest, AWrongZoneIsToldByWhatIsRecorded) {
  ExpectRefused(Package({"--from", "2024-05-01T10:01", "--to", "2024-05-01T10:02", "--time-zone",
                         "America/Chicago"}),
                1, "vmr: s: nothing of what was asked for is recorded in it: it begins at tick");
  ExpectRefused(Package({"--from", "1", "--to", "8", "--time-zone", "Mars"}), 2,
                "vmr: --time-zone Mars: not known here");
}

TEST_F(PackageTest, AStoreThatIsBeingRecordedIntoIsRefused) {
  RunningProgram recorder(folder, {"record", "s", "--input", "-"});
  Finished refused = PackageRange();
  // Until it has begun: what it writes then may be seen to have changed.
  const auto has_not_begun = [&refused] {
    return refused.exit_code == 0 || refused.err.find("was changed while") != std::string::npos;
  };
  for (int wait = 0; wait < 500 && has_not_begun(); ++wait, usleep(10000)) {
    fs::remove(Path("bag.zip"));
    refused = PackageRange();
  }
  ExpectRefused(
      refused, 1,
      "vmr: s: is in use by another process; stop the recorder, or package a copy of it\n");
  recorder.Finish();
  EXPECT_EQ(PackageRange().exit_code, 0);
}

// By a recorder that locks nothing, such as a unit's own.
TEST_F(PackageTest, AStoreThatIsWrittenMeanwhileIsRefused) {
  RunningProgram program(folder, {"package", "s", "bag.zip", "--from", "102", "--to", "120"});
  std::atomic<bool> ended = false;
  std::thread writer([&] {
    for (; !ended; usleep(500)) utimensat(AT_FDCWD, Path("s_2.mtd").c_str(), nullptr, 0);
  });
  const Finished finished = program.Finish();
  ended = true;
  writer.join();
  ExpectRefused(finished, 1, "vmr: s_2.mtd: was changed while it was read; nothing was packaged\n");
}

TEST_F(PackageTest, AMissingOrForeignKeyIsNamed) {
  ExpectRefused(PackageRange({"--sign", "jane"}), 1, "vmr: jane: No such file or directory\n");
  WriteFile(Path("jane"), "my key");
  ExpectRefused(PackageRange({"--sign", "jane"}), 1, "vmr: jane: is no private key");
  Shell("openssl genpkey -algorithm ed448 > other");
  ExpectRefused(PackageRange({"--sign", "other"}), 1, "of another kind than Ed25519");
  Run({"key", "new", "joe"});
  ExpectRefused(PackageRange({"--sign", "joe.pub"}), 1, "vmr: joe.pub: is no private key");
}

TEST_F(PackageTest, APassphraseThatIsMissingOrWrongIsNamed) {
  WriteFile(Path("secret"), "open sesame\nmore\n");
  WriteFile(Path("wrong"), "open barley\n");
  WriteFile(Path("nothing"), "");
  EXPECT_EQ(Run({"key", "new", "jane", "--passphrase-file", "secret"}).exit_code, 0);
  ExpectRefused(PackageRange({"--sign", "jane", "--passphrase-file", "wrong"}), 1,
                "vmr: jane: cannot be opened by this passphrase\n");
  ExpectRefused(PackageRange({"--sign", "jane", "--passphrase-file", "nothing"}), 1,
                "vmr: nothing: holds no passphrase in its first line\n");
  ExpectRefused(PackageRange({"--passphrase-file", "secret"}), 2, "a passphrase goes with --sign");
  EXPECT_EQ(PackageRange({"--sign", "jane", "--passphrase-file", "secret"}).exit_code, 0);
  const std::string by_descriptor =
      "setsid " VMR_PROGRAM " package s bag2.zip --from 102 --to 120 --sign jane";
  EXPECT_EQ(Shell(by_descriptor + " --passphrase-fd 5 5< secret > said"), 0);
  EXPECT_EQ(Shell(by_descriptor + " --force < /dev/null > said 2>&1"), 1);
  EXPECT_EQ(ReadFile(Path("said")),
            "vmr: jane: is behind a passphrase, and there is no terminal to ask for it; give "
            "--passphrase-file or --passphrase-fd\n");
}

TEST_F(PackageTest, AnExistingFileIsReplacedOnlyWhenAsked) {
  WriteFile(Path("bag.zip"), "precious");
  const Finished refused = PackageRange();
  EXPECT_EQ(refused.exit_code, 1);
  EXPECT_EQ(refused.err, "vmr: bag.zip: exists; --force replaces it\n");
  EXPECT_EQ(ReadFile(Path("bag.zip")), "precious");
  EXPECT_EQ(PackageRange({"--force"}).exit_code, 0);
  EXPECT_THAT(ReadFile(Path("bag.zip")), StartsWith("PK"));
  EXPECT_EQ(Run({"package", "s", "s_1.mtd", "--from", "1", "--to", "9", "--force"}).err,
            "vmr: s_1.mtd: belongs to the store s; give another file\n");
}

// Neither the evidence itself nor the key is ever written over, whatever is asked for.
TEST_F(PackageTest, WhatIsReadIsNotWrittenOver) {
  Run({"key", "new", "jane"});
  WriteFile(Path("secret"), "open sesame\n");
  const std::string key = ReadFile(Path("jane"));
  const auto refused = [this](const Arguments& arguments, const std::string& why) {
    const Finished finished = Run(arguments);
    EXPECT_EQ(finished.exit_code, 1);
    EXPECT_EQ(finished.err, why);
    EXPECT_EQ(finished.out, "");
  };
  const Arguments range = {"--from", "102", "--to", "120", "--force"};
  const auto with = [&range](Arguments arguments, const Arguments& more) {
    arguments.insert(arguments.end(), range.begin(), range.end());
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  };
  const Arguments bag = {"package", "s", "bag.zip"};
  refused(with(bag, {"--tsa-query", "s_1.mtd"}),
          "vmr: s_1.mtd: is a file of the store; give another file\n");
  refused(with(bag, {"--sign", "jane", "--tsa-query", "jane"}),
          "vmr: jane: is the key; give another file\n");
  refused(with(bag, {"--tsa-query", "bag.zip"}),
          "vmr: bag.zip: is what the bag is to be called; give another file\n");
  refused(with({"package", "s", "jane"}, {"--sign", "jane"}),
          "vmr: jane: is the key; give another file\n");
  refused(with({"package", "s", "secret"}, {"--sign", "jane", "--passphrase-file", "secret"}),
          "vmr: secret: is the file of the passphrase; give another file\n");
  EXPECT_EQ(ReadFile(Path("jane")), key);
  EXPECT_EQ(ReadFile(Path("secret")), "open sesame\n");
  EXPECT_EQ(PackageRange().exit_code, 0);
  refused({"package", "bag.zip", "--tsa-query", "bag.zip", "--force"},
          "vmr: bag.zip: is the bag; give another file\n");
  EXPECT_THAT(ReadFile(Path("bag.zip")), StartsWith("PK"));
}

// Who writes it to a pager that ends does not find half a bag beside it.
TEST_F(PackageTest, AReaderThatEndsLeavesNothingHalfMade) {
  EXPECT_EQ(Shell("for i in 1 2 3 4 5; do " VMR_PROGRAM
                  " package s bag.zip --from 5 --to 1000 --force 2>&1 | true; done"),
            0);
  EXPECT_THAT(WhatIsThere(), Not(Contains(StartsWith(".vmr"))));
}

TEST_F(PackageTest, AFullDiskLeavesNothing) {
  for (const int blocks : {0, 1, 8, 64, 128}) {
    SCOPED_TRACE(blocks);
    EXPECT_EQ(
        Shell("ulimit -f " + std::to_string(blocks) +
              "; VMR_LOG=1 " VMR_PROGRAM " package s bag.zip --from 102 --to 120 > said 2>&1"),
        1);
    EXPECT_THAT(WhatIsThere(), Not(Contains("bag.zip")));
    EXPECT_THAT(WhatIsThere(), Not(Contains(StartsWith(".vmr"))));
  }
  EXPECT_EQ(Shell("ulimit -f 4000; " VMR_PROGRAM " package s bag.zip --from 102 --to 120 > said"),
            0);
}

TEST_F(PackageTest, ADamagedStoreIsPackagedAndSaidToBe) {
  std::fstream(Path("s_2.mtd"), std::ios::in | std::ios::out | std::ios::binary)
      .seekp(100)
      .write("damage", 6);
  const Finished made = PackageRange();
  EXPECT_EQ(made.exit_code, 0) << "the other file has all of it";
  EXPECT_EQ(made.err, "vmr: s: the store is damaged; check.txt in the bag has what was found\n");
  EXPECT_THAT(Content("data/check.txt"), HasSubstr("s_2.mtd cluster 0"));
  EXPECT_THAT(Content("data/statement.txt"), HasSubstr("damaged, but nothing of it is lost"));
}

TEST_F(PackageTest, FilesOfTwoRecordingsAreRefused) {
  fs::create_directory(Path("other"));
  WriteFile(Path("input"),
            "{\"event\":\"bookmark\",\"tick\":5,\"time\":\"2025-01-01T10:00:00Z\"}\n"
            "{\"event\":\"bookmark\",\"tick\":500}\n");
  Run({"record", "other/s", "--replay", "--input", "input"});
  fs::rename(Path("other/s_2.mtd"), Path("s_2.mtd"));
  ExpectRefused(PackageRange(), 1, "vmr: s: its files are of two recordings");
}

TEST_F(PackageTest, AForeignFileIsRefused) {
  WriteFile(Path("song.mp3"), "la la la");
  ExpectRefused(Run({"package", "song.mp3", "bag.zip", "--from", "1", "--to", "9"}), 1,
                "vmr: song.mp3: ");
  ExpectRefused(Run({"package", "none", "bag.zip", "--from", "1", "--to", "9"}), 1,
                "vmr: none: neither a file nor the base of a ring");
}

TEST_F(PackageTest, ASignalLeavesNothing) {
  bool ended = false;
  for (int delay_us = 0; !ended; delay_us += 40000) {
    RunningProgram program(folder, {"package", "s", "bag.zip", "--from", "102", "--to", "120"});
    usleep(static_cast<useconds_t>(delay_us));
    program.Signal(SIGTERM);
    ended = program.Finish().exit_code == 0;
    EXPECT_THAT(WhatIsThere(), Not(Contains(StartsWith(".vmr"))));
    if (fs::exists(Path("bag.zip"))) {
      EXPECT_EQ(Run({"verify", "bag.zip"}).exit_code, 0) << "one that is there is whole";
    }
    if (!ended) fs::remove(Path("bag.zip"));
  }
}

TEST_F(PackageTest, NobodyWritesATagOfHisOwn) {
  for (const char* option : {"--reason", "--case", "--by"})
    ExpectRefused(PackageRange({option, "x\nSigner-Key-SHA256: 0"}), 2,
                  std::string("vmr: ") + option + " holds a line break");
}

// ---- Keys ------------------------------------------------------------------------

TEST_F(PackageTest, AKeyIsItsOwnersAndNeverReplaced) {
  const Finished made = Run({"key", "new", "jane"});
  EXPECT_EQ(made.exit_code, 0) << made.err;
  struct stat status {};
  ASSERT_EQ(stat(Path("jane").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0600U);
  const std::string key = ReadFile(Path("jane"));
  EXPECT_EQ(Run({"key", "new", "jane"}).err,
            "vmr: jane: exists, and a key is never replaced; give another name\n");
  EXPECT_EQ(ReadFile(Path("jane")), key);
  fs::remove(Path("jane"));
  EXPECT_EQ(Run({"key", "new", "jane"}).exit_code, 1) << "its public half is there";
  EXPECT_FALSE(fs::exists(Path("jane")));
}

TEST_F(PackageTest, AKeyIsShownAsOpensslReadsIt) {
  Run({"key", "new", "jane"});
  const Finished shown = Run({"key", "show", "jane"});
  EXPECT_EQ(shown.out, Run({"key", "show", "jane.pub"}).out);
  EXPECT_THAT(shown.out, StartsWith(ReadFile(Path("jane.pub"))));
  Shell("openssl pkey -pubin -in jane.pub -outform DER | sha256sum | cut -c1-64 > digest");
  EXPECT_THAT(shown.out, HasSubstr("fingerprint: " + ReadFile(Path("digest"))));
  Shell("openssl pkey -in jane -pubout > again");
  EXPECT_EQ(ReadFile(Path("again")), ReadFile(Path("jane.pub")));
  fs::permissions(Path("jane"), fs::perms(0644));
  EXPECT_EQ(
      Run({"key", "show", "jane"}).err,
      "vmr: jane: others may read this private key; `chmod 600 jane` keeps it to its owner\n");
}

}  // namespace
}  // namespace vmr::test

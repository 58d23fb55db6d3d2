// The simple stores: discard, memory buffer, flat file written, flat file read.
#include <errno.h>
#include <fcntl.h>

#include <cstdint>
#include <type_traits>

#include "backends/data_store_flat.h"
#include "backends/data_store_null.h"
#include "tests/backends/ring_fixture.h"

namespace vmr {
namespace {

using namespace test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

// The stream header: magic and dictionary.
Bytes Magic() { return B("66 5D 53 31"); }

Bytes Dictionary() {
  return B(
      "83 46"
      " 02 08 03 05 11 82 05 82 06 82 07 82 08 82 09 83 10 82 18 03 1A 01 20 82 21 02"
      " 34 01 35 01 36 01 37 01 38 01 39 01 3A 01 3B 01 3C 01 3D 01 3E 01 3F 01"
      " 44 01 45 01 46 01 47 01 40 01 41 01 42 01 43 01"
      " 58 85 59 04 54 03 55 02 60 84 61 05 68 02 6F 02"
      " 70 84 71 02 72 02 73 02 74 02 75 02 76 02 78 03 79 03 7A 03 7B 03 7C 03 7D 03"
      " 90 83 91 0A 92 03 93 05 94 02 E0 83 E1 02 E2 02 E3 02 E4 02 F0 01"
      " 50 83 51 02 F1 82 56 01 B0 09"
      " 00");
}

constexpr unsigned char kSirenOn[] = {0x36};

// ---- Discarding ------------------------------------------------------------------

TEST(NullStore, AcceptsAndDiscardsEverything) {
  SimulatedFiles files;
  CapturedLog log;
  DataStoreNull store;
  EXPECT_EQ(store.Type(), DATA_STORE_NULL);
  EXPECT_EQ(store.WorkBufferSize(), 8192);
  ASSERT_EQ(store.Open(), 1);
  EXPECT_NE(store.WorkBuffer(), nullptr);
  EXPECT_EQ(store.WriteData(kSirenOn, 1, 5), 1);
  EXPECT_EQ(store.WriteData(nullptr, -1, 5), 1);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_EQ(store.WorkBuffer(), nullptr);
  EXPECT_TRUE(log.Has(128, "DataStore.cc", "Closedone"));
  EXPECT_TRUE(files.Operations().empty());
}

TEST(NullStore, CannotBeRead) {
  CapturedLog log;
  DataStoreNull store;
  unsigned char buffer[16];
  int bytes_read = -1;
  long next = -1;
  EXPECT_EQ(store.ReadDataIntoBuffer(0, buffer, 16, bytes_read, next), 0);
  EXPECT_TRUE(log.Has(2, "DataStore.cc", "Error calling ReadDataIntoBuffer"));
  EXPECT_EQ(store.InitialReadLocation(), 0);
}

TEST(Stores, NumberThemselvesAndSizeTheirWorkBuffersByKind) {
  unsigned char byte;
  const DataStoreNormal ring("r");
  const DataStoreFlatRead flat_read("f");
  const DataStoreFlatMessage message(&byte, 1, false);
  const DataStoreFlatWrite flat_write("f");
  EXPECT_EQ(static_cast<int>(ring.Type()), 0);
  EXPECT_EQ(static_cast<int>(flat_read.Type()), 1);
  EXPECT_EQ(static_cast<int>(message.Type()), 2);
  EXPECT_EQ(static_cast<int>(DataStoreNull().Type()), 3);
  EXPECT_EQ(static_cast<int>(flat_write.Type()), 4);
  EXPECT_EQ(ring.WorkBufferSize(), 4096);
  EXPECT_EQ(flat_read.WorkBufferSize(), 8192);
  EXPECT_EQ(message.WorkBufferSize(), 8192);
  EXPECT_EQ(flat_write.WorkBufferSize(), 8192);
}

TEST(Stores, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<DataStoreFlatRead>);
  EXPECT_FALSE(std::is_copy_constructible_v<DataStoreFlatWrite>);
  EXPECT_FALSE(std::is_copy_constructible_v<DataStoreFlatMessage>);
  EXPECT_FALSE(std::is_copy_constructible_v<DataStoreNull>);
  EXPECT_FALSE(std::is_copy_assignable_v<DataStoreFlatWrite>);
}

// ---- Memory buffer ---------------------------------------------------------------

constexpr char kNoRoom[] = "Did not leave enough room in buffer for the write";

TEST(FlatMessage, BeginsWithMagicAndDictionaryWhenAsked) {
  CapturedLog log;
  Bytes buffer(200, 0xEE);
  DataStoreFlatMessage store(buffer.data(), 200, true);
  ASSERT_EQ(store.Open(), 1);
  EXPECT_EQ(store.BytesWritten(), 147);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 147), Magic() + Dictionary());
  EXPECT_EQ(buffer[147], 0xEE);
}

TEST(FlatMessage, BeginsEmptyWhenNotAsked) {
  CapturedLog log;
  Bytes buffer(200, 0xEE);
  DataStoreFlatMessage store(buffer.data(), 200, false);
  ASSERT_EQ(store.Open(), 1);
  EXPECT_EQ(store.BytesWritten(), 0);
  EXPECT_EQ(store.WriteData(kSirenOn, 1, 5), 1);
  EXPECT_EQ(buffer[0], 0x36);
}

TEST(FlatMessage, With100BytesAndHeaderTakesTheMagicAndRefusesTheDictionary) {
  CapturedLog log;
  Bytes buffer(100, 0xEE);
  DataStoreFlatMessage store(buffer.data(), 100, true);
  EXPECT_EQ(store.Open(), 1);
  EXPECT_EQ(store.BytesWritten(), 4);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 5), Magic() + B("EE"));
  EXPECT_EQ(log.Count(1, "DataStoreFlatMessage.cc", kNoRoom), 1);
}

TEST(FlatMessage, APacketThatFitsExactlyIsTakenAndOneByteMoreIsNot) {
  CapturedLog log;
  Bytes buffer(10, 0xEE);
  DataStoreFlatMessage store(buffer.data(), 9, false);
  ASSERT_EQ(store.Open(), 1);
  const Bytes packet = PacketAt(1, 9);
  EXPECT_EQ(store.WriteData(packet.data(), 9, 1), 1);
  EXPECT_EQ(store.WriteData(packet.data(), 1, 1), 0);
  EXPECT_TRUE(log.Has(1, "DataStoreFlatMessage.cc", kNoRoom));
  EXPECT_EQ(buffer, packet + B("EE"));
  EXPECT_EQ(store.BytesWritten(), 9);
}

TEST(FlatMessage, CloseDoesNotFlush) {
  CapturedLog log;
  Bytes buffer(100);
  DataStoreFlatMessage store(buffer.data(), 100, false);
  ASSERT_EQ(store.Open(), 1);
  store.AddToCurrPacket(kSirenOn, 1, 2);
  EXPECT_EQ(store.Close(), 1);
  EXPECT_EQ(store.BytesWritten(), 0);
}

TEST(FlatMessage, WriteBuffersBringsWhatIsPending) {
  CapturedLog log;
  Bytes buffer(100);
  DataStoreFlatMessage store(buffer.data(), 100, false);
  ASSERT_EQ(store.Open(), 1);
  store.InitCurrentSystemTick(0x01020304);
  store.AddToCurrPacket(kSirenOn, 1, 2);
  store.WriteBuffers();
  EXPECT_EQ(store.BytesWritten(), 8);
  EXPECT_EQ(Bytes(buffer.begin(), buffer.begin() + 7), B("80 04 03 02 01 01 36"));
}

TEST(FlatMessage, LengthsBelow1WriteNothing) {
  CapturedLog log;
  Bytes buffer(10, 0xEE);
  DataStoreFlatMessage store(buffer.data(), 10, false);
  ASSERT_EQ(store.Open(), 1);
  EXPECT_EQ(store.WriteData(buffer.data(), 0, 1), 1);
  EXPECT_EQ(store.WriteData(buffer.data(), -1, 1), 1);
  EXPECT_EQ(store.BytesWritten(), 0);
  EXPECT_EQ(store.WriteData(PacketAt(1, 10).data(), 10, 1), 1);
}

TEST(FlatMessage, APacketThatIsNotThereTakesNoRoom) {
  CapturedLog log;
  Bytes buffer(10, 0xEE);
  DataStoreFlatMessage store(buffer.data(), 10, false);
  ASSERT_EQ(store.Open(), 1);
  EXPECT_EQ(store.WriteData(nullptr, 5, 1), 1);
  EXPECT_EQ(store.BytesWritten(), 0);
  EXPECT_EQ(buffer, Bytes(10, 0xEE));
}

TEST(FlatMessage, WithoutABufferRefusesEveryPacket) {
  CapturedLog log;
  DataStoreFlatMessage store(nullptr, 100, true);
  EXPECT_EQ(store.Open(), 1);
  EXPECT_EQ(store.BytesWritten(), 0);
  EXPECT_EQ(log.Count(1, "DataStoreFlatMessage.cc", kNoRoom), 2);
}

TEST(FlatMessage, RefusesAlikeWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  DataStoreFlatMessage store(nullptr, 100, false);
  EXPECT_EQ(store.Open(), 1);
  EXPECT_EQ(store.WriteData(kSirenOn, 1, 1), 0);
  EXPECT_TRUE(quiet.Entries().empty());
}

// ---- Flat file written -----------------------------------------------------------

class FlatWrite : public ::testing::Test {
 protected:
  FlatWrite() { files_.MakeDirectory("/m"); }
  ~FlatWrite() override { EXPECT_EQ(files_.Misuse(), ""); }

  void Open() {
    ASSERT_EQ(store_.Open(), 1);
    files_.ClearOperations();
    log_.Clear();
  }
  int Write(const Bytes& data) {
    return store_.WriteData(data.data(), static_cast<int>(data.size()), 1);
  }
  bool Logged(unsigned int level, const std::string& text) const {
    return log_.Has(level, "DataStoreFlatWrite.cc", text);
  }

  SimulatedFiles files_;
  CapturedLog log_;
  DataStoreFlatWrite store_{"/m/f"};
};

TEST_F(FlatWrite, ANewPathGetsExactly147BytesBeforeAnyPacket) {
  ASSERT_EQ(store_.Open(), 1);
  EXPECT_EQ(files_.Content("/m/f"), Magic() + Dictionary());
  EXPECT_EQ(files_.Size("/m/f"), 147);
  EXPECT_EQ(files_.Mode("/m/f"), 0660U);
}

TEST_F(FlatWrite, TheSamePathOpenedAgainGetsNoHeaderAndAppends) {
  Open();
  ASSERT_EQ(Write(PacketAt(1)), 1);
  store_.Close();
  log_.Clear();
  ASSERT_EQ(store_.Open(), 1);
  EXPECT_TRUE(Logged(32, "Not writing to the beginning of file /m/f but instead at pos 247"));
  ASSERT_EQ(Write(PacketAt(2)), 1);
  EXPECT_EQ(files_.Content("/m/f"), Magic() + Dictionary() + PacketAt(1) + PacketAt(2));
}

TEST_F(FlatWrite, AFileWithoutTheMagicIsAppendedToAllTheSame) {
  files_.PutFile("/m/f", B("01 02 03"));
  Open();
  ASSERT_EQ(Write(B("84")), 1);
  EXPECT_EQ(files_.Content("/m/f"), B("01 02 03 84"));
}

TEST_F(FlatWrite, AnEmptyFileGetsTheHeader) {
  files_.PutFile("/m/f", {});
  Open();
  EXPECT_EQ(files_.Size("/m/f"), 147);
}

TEST_F(FlatWrite, ThePathIsOpenedForReadingAndWritingWithoutTruncation) {
  ASSERT_EQ(store_.Open(), 1);
  const Operation& open = files_.Operations()[0];
  EXPECT_EQ(open.flags, O_RDWR | O_CREAT | O_CLOEXEC);
  EXPECT_EQ(open.mode, 0660U);
}

TEST_F(FlatWrite, APathThatCannotBeOpenedFailsWithItsPercentSign) {
  files_.FailOnce(FileOp::kOpen, "/m/f", EACCES);
  EXPECT_EQ(store_.Open(), 0);
  EXPECT_TRUE(Logged(2, "Could not open %s /m/f for write 13Permission denied"));
  EXPECT_EQ(store_.WorkBuffer(), nullptr);
  EXPECT_EQ(files_.OpenDescriptors(), 0);
  EXPECT_EQ(store_.Open(), 1);
}

TEST_F(FlatWrite, AFailedSeekFailsTheOpen) {
  files_.FailOnce(FileOp::kLseek, "/m/f", ESPIPE);
  EXPECT_EQ(store_.Open(), 0);
  EXPECT_TRUE(Logged(2, "Error seeking to end of file (/m/f) 29Illegal seek"));
  EXPECT_EQ(store_.WorkBuffer(), nullptr);
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(FlatWrite, AFailedSeekFailsTheWrite) {
  Open();
  files_.FailOnce(FileOp::kLseek, "/m/f", ESPIPE);
  EXPECT_EQ(Write(B("84")), 0);
  EXPECT_TRUE(Logged(2, "Error seeking to end of file (/m/f) 29Illegal seek"));
  EXPECT_EQ(files_.Size("/m/f"), 147);
}

TEST_F(FlatWrite, LengthsBelow1SucceedAtOnceAfterTheSeek) {
  Open();
  EXPECT_EQ(store_.WriteData(kSirenOn, 0, 1), 1);
  EXPECT_EQ(store_.WriteData(kSirenOn, -1, 1), 1);
  EXPECT_EQ(files_.Count(FileOp::kLseek), 2);
  EXPECT_EQ(files_.Count(FileOp::kWrite), 0);
}

TEST_F(FlatWrite, APacketThatIsNotThereSucceedsAtOnce) {
  Open();
  EXPECT_EQ(store_.WriteData(nullptr, 5, 1), 1);
  EXPECT_EQ(files_.Count(FileOp::kWrite), 0);
}

TEST_F(FlatWrite, EveryWriteIsTraced) {
  Open();
  Write(PacketAt(1));
  EXPECT_TRUE(Logged(128, "wrote 100 bytes to flat file"));
}

TEST_F(FlatWrite, AfterAShortWriteTheSameBytesAreOfferedAgainFromTheirBeginning) {
  Open();
  files_.LimitTo(2, FileOp::kWrite, "/m/f", 1);
  EXPECT_EQ(Write(B("11 22 33 44 55")), 1);
  const Bytes content = files_.Content("/m/f");
  EXPECT_EQ(Bytes(content.begin() + 147, content.end()), B("11 22 11 22 33"));
  EXPECT_TRUE(Logged(128, "wrote 2 bytes to flat file"));
  EXPECT_TRUE(Logged(128, "wrote 3 bytes to flat file"));
}

TEST_F(FlatWrite, AWriteThatMovesNothingIsTriedAgainAfterATenthOfASecond) {
  Open();
  files_.LimitTo(0, FileOp::kWrite, "/m/f", 2);
  EXPECT_EQ(Write(B("84")), 1);
  EXPECT_TRUE(Logged(128, "wrote 0 bytes to flat file"));
  int pauses = 0;
  for (const Operation& operation : files_.Operations()) {
    if (operation.op != FileOp::kUsleep) continue;
    ++pauses;
    EXPECT_EQ(operation.count, 100000U);
  }
  EXPECT_EQ(pauses, 2);
  EXPECT_EQ(files_.Size("/m/f"), 148);
}

TEST_F(FlatWrite, WritesThatMoveNothingForEverEndInTheWriteFailure) {
  Open();
  files_.LimitTo(0, FileOp::kWrite, "/m/f", -1);
  EXPECT_EQ(Write(B("84")), 0);
  EXPECT_TRUE(Logged(2, "Error writing to file (/m/f) 5Input/output error"));
}

TEST_F(FlatWrite, AFailedWriteIsLogged) {
  Open();
  files_.FailOnce(FileOp::kWrite, "/m/f", ENOSPC);
  EXPECT_EQ(Write(B("84")), 0);
  EXPECT_TRUE(Logged(128, "wrote -1 bytes to flat file"));
  EXPECT_TRUE(Logged(2, "Error writing to file (/m/f) 28No space left on device"));
}

TEST_F(FlatWrite, AHeaderThatCannotBeWrittenDoesNotFailTheOpen) {
  files_.FailOnce(FileOp::kWrite, "/m/f", ENOSPC);
  EXPECT_EQ(store_.Open(), 1);
  EXPECT_EQ(files_.Content("/m/f"), Dictionary());
}

TEST_F(FlatWrite, TellsWhetherEverythingWasWritten) {
  const auto wrote_everything = [&](const auto& disturb) {
    files_.PutFile("/m/f", {});
    DataStoreFlatWrite store("/m/f");
    EXPECT_EQ(store.Open(), 1);
    disturb();
    store.AddToCurrPacket(B("56").data(), 1, 1);
    store.Close();
    return store.WroteEverything();
  };
  EXPECT_TRUE(wrote_everything([] {}));
  EXPECT_TRUE(wrote_everything([&] { files_.LimitTo(0, FileOp::kWrite, "/m/f", 1); }));
  EXPECT_FALSE(wrote_everything([&] { files_.LimitTo(2, FileOp::kWrite, "/m/f", 1); }));
  EXPECT_FALSE(wrote_everything([&] { files_.FailOnce(FileOp::kWrite, "/m/f", ENOSPC); }));
  EXPECT_FALSE(wrote_everything([&] { files_.FailOnce(FileOp::kLseek, "/m/f", EIO); }));
  EXPECT_FALSE(wrote_everything([&] { files_.FailOnce(FileOp::kClose, "/m/f", EIO); }));
}

TEST_F(FlatWrite, InterruptedCallsAreRepeated) {
  for (const FileOp op : {FileOp::kOpen, FileOp::kLseek, FileOp::kWrite, FileOp::kClose})
    files_.FailOnce(op, "/m/f", EINTR);
  ASSERT_EQ(store_.Open(), 1);
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_EQ(files_.Content("/m/f"), Magic() + Dictionary());
  EXPECT_TRUE(log_.Texts(2).empty());
}

TEST_F(FlatWrite, CloseFlushesWhatIsPending) {
  Open();
  store_.InitCurrentSystemTick(0x01020304);
  store_.AddToCurrPacket(kSirenOn, 1, 2);
  EXPECT_EQ(store_.Close(), 1);
  Bytes packet = B("80 04 03 02 01 01 36");
  packet.push_back(ReferenceCrc(packet, 0, 7));
  EXPECT_EQ(files_.Content("/m/f"), Magic() + Dictionary() + packet);
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(FlatWrite, AFailedCloseIsLogged) {
  Open();
  files_.FailOnce(FileOp::kClose, "/m/f", EIO);
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_TRUE(Logged(2, "close failed: 5"));
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_EQ(files_.Count(FileOp::kClose), 1);
}

TEST_F(FlatWrite, AClosedStoreRefusesPacketsWithoutSystemCalls) {
  EXPECT_EQ(Write(B("84")), 0);
  EXPECT_TRUE(Logged(2, "Error seeking to end of file (/m/f) 9Bad file descriptor"));
  Open();
  store_.Close();
  files_.ClearOperations();
  EXPECT_EQ(Write(B("84")), 0);
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(FlatWrite, ASecondOpenIsRefusedAndTheFirstOneGoesOn) {
  Open();
  EXPECT_EQ(store_.Open(), 0);
  EXPECT_EQ(files_.OpenDescriptors(), 1);
  EXPECT_EQ(Write(B("84")), 1);
  EXPECT_EQ(files_.Size("/m/f"), 148);
}

TEST_F(FlatWrite, ADescriptorOfZeroIsMovedUp) {
  files_.FreeDescriptor(0);
  Open();
  EXPECT_EQ(Write(B("84")), 1);
  EXPECT_EQ(files_.Operations().back().fd, 3);
  EXPECT_EQ(files_.OpenDescriptors(), 1);
}

TEST_F(FlatWrite, DestroyingAnOpenStoreClosesItsFileWithoutFlushing) {
  {
    DataStoreFlatWrite scoped("/m/f");
    ASSERT_EQ(scoped.Open(), 1);
    scoped.AddToCurrPacket(kSirenOn, 1, 2);
  }
  EXPECT_EQ(files_.OpenDescriptors(), 0);
  EXPECT_EQ(files_.Size("/m/f"), 147);
}

TEST_F(FlatWrite, CannotBeRead) {
  Open();
  unsigned char buffer[16];
  int bytes_read = -1;
  long next = -1;
  EXPECT_EQ(store_.ReadDataIntoBuffer(0, buffer, 16, bytes_read, next), 0);
  EXPECT_TRUE(log_.Has(2, "DataStore.cc", "Error calling ReadDataIntoBuffer"));
}

TEST_F(FlatWrite, FailsAlikeWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  files_.FailOnce(FileOp::kOpen, "/m/f", EACCES);
  EXPECT_EQ(store_.Open(), 0);
  files_.PutFile("/m/f", B("84"));  // appended to
  ASSERT_EQ(store_.Open(), 1);
  files_.FailOnce(FileOp::kLseek, "/m/f", ESPIPE);
  EXPECT_EQ(Write(B("84")), 0);
  files_.FailOnce(FileOp::kWrite, "/m/f", ENOSPC);
  EXPECT_EQ(Write(B("84")), 0);
  files_.FailOnce(FileOp::kClose, "/m/f", EIO);
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_FALSE(store_.WroteEverything());
  EXPECT_EQ(files_.Content("/m/f"), B("84"));
  EXPECT_TRUE(quiet.Entries().empty());
}

// ---- Flat file read --------------------------------------------------------------

class FlatRead : public ::testing::Test {
 protected:
  FlatRead() : buffer_(8192, 0xEE) { files_.MakeDirectory("/m"); }
  ~FlatRead() override { EXPECT_EQ(files_.Misuse(), ""); }

  // What Open printed.
  std::string OpenAndListen(int expected = 1) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(store_.Open(), expected);
    return testing::internal::GetCapturedStdout();
  }
  void OpenFile(const Bytes& content) {
    files_.PutFile("/m/f", content);
    OpenAndListen();
    files_.ClearOperations();
    log_.Clear();
  }
  int Read(long position, int room = 8192) {
    return store_.ReadDataIntoBuffer(position, buffer_.data(), room, bytes_read_, next_);
  }
  Bytes ReadBytes() const { return Bytes(buffer_.begin(), buffer_.begin() + bytes_read_); }
  static Bytes Part(const Bytes& bytes, std::size_t from, std::size_t to) {
    return Bytes(bytes.begin() + static_cast<long>(from), bytes.begin() + static_cast<long>(to));
  }
  // Bytes that tell where they lie.
  static Bytes Pattern(std::size_t count) {
    Bytes bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(i / 16 + i);
    return bytes;
  }
  bool Logged(unsigned int level, const std::string& text) const {
    return log_.Has(level, "DataStoreFlatRead.cc", text);
  }

  SimulatedFiles files_;
  CapturedLog log_;
  DataStoreFlatRead store_{"/m/f"};
  Bytes buffer_;
  int bytes_read_ = -5;
  long next_ = -5;
};

TEST_F(FlatRead, OpenPrintsTheMagicInBothCases) {
  files_.PutFile("/m/f", Magic());
  EXPECT_EQ(OpenAndListen(), "[Magic # (0x665d5331)]\n");
  EXPECT_TRUE(Logged(128, "Opening file for read /m/f"));
}

TEST_F(FlatRead, OpenPrintsThatThereIsNoMagic) {
  for (const Bytes& content : {B(""), B("66 5D 53"), B("66 5D 53 32"), Repeat(0, 5000)}) {
    files_.PutFile("/m/f", content);
    EXPECT_EQ(OpenAndListen(), "No valid magic # found\n");
    store_.Close();
  }
}

TEST_F(FlatRead, AMissingFileFailsTheOpen) {
  EXPECT_EQ(OpenAndListen(0), "");
  EXPECT_TRUE(Logged(2, "Could not open /m/f for read 2No such file or directory"));
  EXPECT_EQ(store_.WorkBuffer(), nullptr);
}

TEST_F(FlatRead, AFailedSeekBackFailsTheOpen) {
  files_.PutFile("/m/f", B("00 00 00 00"));
  files_.FailOnce(FileOp::kLseek, "/m/f", EIO);
  EXPECT_EQ(OpenAndListen(0), "No valid magic # found\n");
  EXPECT_TRUE(Logged(2, "Error seeking into file /m/f - 5Input/output error"));
  EXPECT_EQ(files_.OpenDescriptors(), 0);
}

TEST_F(FlatRead, TheFileIsOpenedReadOnly) {
  files_.PutFile("/m/f", Magic());
  OpenAndListen();
  EXPECT_EQ(files_.Operations()[0].flags, O_RDONLY | O_CLOEXEC);
}

TEST_F(FlatRead, NothingCanBeWritten) {
  OpenFile(Magic());
  EXPECT_EQ(store_.WriteData(kSirenOn, 1, 1), 0);
  EXPECT_TRUE(Logged(2, "Got no place to write"));
}

TEST_F(FlatRead, TheFirstBlockIsReadBehindItsMagic) {
  const Bytes content = Magic() + Pattern(10000);
  OpenFile(content);
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 4, 4096));
  EXPECT_EQ(next_, 4096);
}

TEST_F(FlatRead, LaterBlocksAreReadWholeUpToTheEnd) {
  const Bytes content = Magic() + Pattern(10000);
  OpenFile(content);
  Read(0);
  EXPECT_EQ(Read(4096), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 4096, 8192));
  EXPECT_EQ(next_, 8192);
  EXPECT_EQ(Read(8192), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 8192, 10004));
  EXPECT_EQ(next_, 10004);
  EXPECT_EQ(Read(10004), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 10004);
}

TEST_F(FlatRead, APositionInsideABlockReadsTheBlockFromItsBeginning) {
  const Bytes content = Magic() + Pattern(10000);
  OpenFile(content);
  EXPECT_EQ(Read(100), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 4, 4096));
  EXPECT_EQ(Read(5000), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 4096, 8192));
}

// Where the block of the position would begin there is no file any more. The
// position then stays as it was.
TEST_F(FlatRead, APositionBehindAFileThatEndsWithABlockGivesNothing) {
  OpenFile(Magic() + Pattern(8188));
  EXPECT_EQ(Read(8193), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, -5);
  EXPECT_EQ(files_.Count(FileOp::kRead), 0);
}

TEST_F(FlatRead, AFileOfExactlyTheMagicGivesNothingAndPosition4) {
  OpenFile(Magic());
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 4);
}

TEST_F(FlatRead, AnEmptyFileGivesNothingAtItsEnd) {
  OpenFile({});
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 0);
}

TEST_F(FlatRead, ABufferSmallerThan4092BytesIsRefusedWithoutReading) {
  OpenFile(Magic() + Pattern(10000));
  EXPECT_EQ(Read(0, 4091), 0);
  EXPECT_EQ(buffer_[0], 0xEE);
  EXPECT_THAT(files_.Trace({FileOp::kRead}), ElementsAre("read /m/f 4@0"));  // the magic
  EXPECT_EQ(Read(0, 4092), 1);
  EXPECT_EQ(Read(4096, 4095), 0);
  EXPECT_EQ(Read(4096, 4096), 1);
}

TEST_F(FlatRead, ANullBufferIsRefused) {
  OpenFile(Magic() + Pattern(10000));
  EXPECT_EQ(store_.ReadDataIntoBuffer(4096, nullptr, 8192, bytes_read_, next_), 0);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(files_.Count(FileOp::kRead), 0);
}

TEST_F(FlatRead, AFileWithoutMagicIsReadWithoutTheFirst7BytesOfEveryBlock) {
  const Bytes content = Pattern(10000);
  OpenFile(content);
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 7, 4096));
  EXPECT_EQ(next_, 4096);
  EXPECT_EQ(Read(4096), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 4096 + 7, 8192));
  EXPECT_EQ(Read(8192, 4089), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 8192 + 7, 10000));
  EXPECT_EQ(next_, 10000);
}

TEST_F(FlatRead, AClusterFileIsReadAsAPacketStream) {
  const Bytes first = ClusterImage(1, PacketAt(1) + PacketAt(2));
  OpenFile(first + ClusterImage(3, PacketAt(3)));
  EXPECT_EQ(Read(4096), 1);
  EXPECT_EQ(Part(ReadBytes(), 0, 100), PacketAt(3));
}

TEST_F(FlatRead, AFileShorterThanTheMagicIsAReadError) {
  OpenFile(B("66 5D 53"));
  EXPECT_EQ(Read(0), 0);
  ASSERT_EQ(log_.Texts(2).size(), 1U);
  EXPECT_EQ(log_.Texts(2)[0].find("ReadDataIntoBuffer: Error reading file /m/f, errno: "), 0U);
}

TEST_F(FlatRead, AFileThatEndsWhileItIsReadGivesNothing) {
  OpenFile(Magic() + Pattern(100));
  files_.LimitTo(0, FileOp::kRead, "/m/f", 1);
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(bytes_read_, 0);
  EXPECT_EQ(next_, 104);
}

TEST_F(FlatRead, FailedSeeksAndReadsAreLoggedWithTheOperationsName) {
  OpenFile(Magic() + Pattern(10000));
  for (const int seek : {1, 2, 3}) {  // to the end, to the magic, behind it
    log_.Clear();
    files_.FailOnce(FileOp::kLseek, "/m/f", EIO, seek);
    EXPECT_EQ(Read(0), 0) << seek;
    EXPECT_THAT(log_.Texts(2), ElementsAre("ReadDataIntoBuffer: Error seeking into file /m/f, "
                                           "errno: 5, strerror: Input/output error"));
  }
  files_.FailOnce(FileOp::kRead, "/m/f", EISDIR);
  EXPECT_EQ(Read(0), 0);
  files_.FailOnce(FileOp::kRead, "/m/f", EIO);
  EXPECT_EQ(Read(4096), 0);
  EXPECT_THAT(log_.Texts(2),
              ElementsAre("ReadDataIntoBuffer: Error seeking into file /m/f, errno: 5, strerror: "
                          "Input/output error",
                          "ReadDataIntoBuffer: Error reading file /m/f, errno: 21, strerror: Is a "
                          "directory",
                          "ReadDataIntoBuffer: Error reading file /m/f, errno: 5, strerror: "
                          "Input/output error"));
}

TEST_F(FlatRead, InterruptedReadsAreRepeated) {
  OpenFile(Magic() + Pattern(100));
  files_.FailOnce(FileOp::kRead, "/m/f", EINTR, 2);
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(bytes_read_, 100);
}

TEST_F(FlatRead, CloseReturnsTheResultOfClose) {
  OpenFile(Magic());
  EXPECT_EQ(store_.Close(), 0);
  EXPECT_THAT(files_.Trace({FileOp::kFsync, FileOp::kClose}),
              ElementsAre("fsync /m/f", "close /m/f"));
  OpenAndListen();
  files_.FailOnce(FileOp::kClose, "/m/f", EIO);
  EXPECT_EQ(store_.Close(), -1);
}

TEST_F(FlatRead, ClosingAClosedOrFreshStoreReturns1WithoutSystemCalls) {
  EXPECT_EQ(store_.Close(), 1);
  OpenFile(Magic());
  store_.Close();
  files_.ClearOperations();
  EXPECT_EQ(store_.Close(), 1);
  EXPECT_TRUE(files_.Operations().empty());
}

TEST_F(FlatRead, AClosedStoreRefusesReadsWithoutSystemCalls) {
  EXPECT_EQ(Read(0), 0);
  EXPECT_TRUE(Logged(2,
                     "ReadDataIntoBuffer: Error seeking into file /m/f, errno: 9, strerror: Bad "
                     "file descriptor"));
  EXPECT_THAT(files_.Operations(), IsEmpty());
}

TEST_F(FlatRead, ASecondOpenIsRefusedAndTheFirstOneGoesOn) {
  OpenFile(Magic() + Pattern(100));
  EXPECT_EQ(OpenAndListen(0), "");
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(bytes_read_, 100);
}

// Whether there is a magic shows only when the first block is read.
TEST_F(FlatRead, ALaterBlockReadBeforeTheFirstOneIsTakenForACluster) {
  const Bytes content = Magic() + Pattern(10000);
  OpenFile(content);
  EXPECT_EQ(Read(4096), 1);
  EXPECT_EQ(ReadBytes(), Part(content, 4096 + 7, 8192));
}

TEST_F(FlatRead, ADescriptorOfZeroIsMovedUp) {
  files_.FreeDescriptor(0);
  OpenFile(Magic() + Pattern(100));
  EXPECT_EQ(Read(0), 1);
  EXPECT_EQ(files_.Operations().back().fd, 3);
}

TEST_F(FlatRead, ReadsFromTheBeginning) {
  OpenFile(Magic());
  EXPECT_EQ(store_.InitialReadLocation(), 0);
}

// Positions are of type long, which on the unit ends at 2 GiB.
class FilesOf3GB : public SimulatedFiles {
 public:
  off_t Lseek(int fd, off_t offset, int whence) override {
    return whence == SEEK_END ? off_t{3000000000} : SimulatedFiles::Lseek(fd, offset, whence);
  }
};

TEST(FlatReadOfAHugeFile, IsRefusedWhereALongDoesNotReachItsEnd) {
  constexpr bool kLongReaches = sizeof(long) > sizeof(std::int32_t);
  FilesOf3GB files;
  CapturedLog log;
  files.MakeDirectory("/m");
  files.PutFile("/m/f", Magic() + Bytes(100, 0x84));
  DataStoreFlatRead store("/m/f");
  testing::internal::CaptureStdout();
  ASSERT_EQ(store.Open(), 1);
  testing::internal::GetCapturedStdout();
  Bytes buffer(8192);
  int bytes_read = -5;
  long next = -5;
  EXPECT_EQ(store.ReadDataIntoBuffer(0, buffer.data(), 8192, bytes_read, next),
            kLongReaches ? 1 : 0);
  EXPECT_EQ(bytes_read, kLongReaches ? 100 : 0);
  EXPECT_EQ(log.Has(2, "DataStoreFlatRead.cc",
                    "ReadDataIntoBuffer: Error seeking into file /m/f, errno: 75, strerror: Value "
                    "too large for defined data type"),
            !kLongReaches);
}

TEST_F(FlatRead, FailsAlikeWithEveryMessageSwitchedOff) {
  const CapturedLog quiet(0);
  OpenAndListen(0);  // there is no file
  files_.PutFile("/m/f", Pattern(100));
  files_.FailOnce(FileOp::kLseek, "/m/f", ESPIPE);
  OpenAndListen(0);
  OpenAndListen(1);
  EXPECT_EQ(store_.WriteData(kSirenOn, 1, 1), 0);
  files_.FailOnce(FileOp::kRead, "/m/f", EIO);
  EXPECT_EQ(Read(0), 0);
  EXPECT_TRUE(quiet.Entries().empty());
}

}  // namespace
}  // namespace vmr

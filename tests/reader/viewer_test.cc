// Viewing flat files: which ticks are printed, and everything around them.
#include <fstream>
#include <new>

#include "backends/data_store_flat.h"
#include "tests/reader/viewing_fixture.h"
#include "tests/support/temp_dir.h"

namespace {
// How many large allocations that may fail still succeed; -1 all of them.
int allocations_left = -1;
}  // namespace

// The stores allocate their work buffers without throwing.
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (allocations_left == 0) return nullptr;
  if (allocations_left > 0) --allocations_left;
  try {
    return ::operator new[](size);
  } catch (...) {
    return nullptr;
  }
}

namespace vmr::test {
namespace {

using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;

const Bytes kMagic = B("66 5D 53 31");

// The siren goes on and off at ticks 100, 110, 120 and 130.
const Bytes kSirens = kMagic + WithCrc(B("80 64 00 00 00 01 36")) + WithCrc(B("81 6E 01 37")) +
                      WithCrc(B("81 78 01 36")) + WithCrc(B("81 82 01 37"));

constexpr char kTick100[] =
    "(hdr1) 4294967295 (01/01/1970 00:00:50) (01) [Tag=siren, TagNo=0x36, State=on]\n";
constexpr char kTick110[] =
    "(hdr2)   100 (01/01/1970 00:00:55) (01) [Tag=siren, TagNo=0x37, State=off]\n";
constexpr char kTick120[] =
    "(hdr2)   110 (01/01/1970 00:01:00) (01) [Tag=siren, TagNo=0x36, State=on]\n";
constexpr char kTick130[] =
    "(hdr2)   120 (01/01/1970 00:01:05) (01) [Tag=siren, TagNo=0x37, State=off]\n";

class Viewer : public ViewingTest {
 protected:
  std::string Write(const std::string& name, const Bytes& bytes) const {
    const std::string path = folder.Path(name);
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    return path;
  }

  Viewed ViewStream(const Bytes& stream, const ViewOptions& options = {}) {
    return ViewFile(Write("stream", stream), options);
  }

  // What is printed of the range behind the lines at the beginning.
  std::string ViewRange(const Bytes& stream, unsigned int start, unsigned int end) {
    ViewOptions range;
    range.start = start;
    range.end = end;
    const Viewed viewed = ViewStream(stream, range);
    EXPECT_TRUE(viewed.opened);
    EXPECT_EQ(viewed.err, "");
    const std::string head = "Expanded view = 0\nStart System Tick (" + std::to_string(start) +
                             ") End System Tick (" + std::to_string(end) +
                             ")\n[Magic # (0x665d5331)]\n";
    EXPECT_THAT(viewed.out, StartsWith(head));
    return viewed.out.substr(std::min(head.size(), viewed.out.size()));
  }

  TempDir folder;
};

// ---- Ranges ------------------------------------------------------------------

TEST_F(Viewer, TheWholeFileHasNoRangeLineAndEveryItem) {
  const Viewed viewed = ViewStream(kSirens);
  EXPECT_TRUE(viewed.opened);
  EXPECT_EQ(viewed.out, std::string("Expanded view = 0\n"
                                    "[Magic # (0x665d5331)]\n") +
                            kTick100 + kTick110 + kTick120 + kTick130);
  EXPECT_EQ(viewed.err, "");
}

TEST_F(Viewer, AGoodFileLogsNoErrorsAndNoWarnings) {
  ViewStream(kSirens);
  EXPECT_THAT(log.Texts(1), IsEmpty());
  EXPECT_THAT(log.Texts(2), IsEmpty());
  EXPECT_THAT(log.Texts(4), IsEmpty());
}

TEST_F(Viewer, AStartTickAfterTheLastRecordedPrintsOnlyTheHeaderLines) {
  ViewOptions late;
  late.start = 131;
  // The third line is the flat file's own.
  EXPECT_EQ(ViewStream(kSirens, late).out,
            "Expanded view = 0\n"
            "Start System Tick (131) End System Tick (4294967295)\n"
            "[Magic # (0x665d5331)]\n");
}

TEST_F(Viewer, AnEndTickAloneHasARangeLineToo) {
  ViewOptions early;
  early.end = 4294967294;
  EXPECT_THAT(ViewStream(kSirens, early).out,
              StartsWith("Expanded view = 0\n"
                         "Start System Tick (0) End System Tick (4294967294)\n"));
}

TEST_F(Viewer, TheFirstTickAboveTheEndIsPrintedBeforeTheListingStops) {
  // Deliberate: tick 120 is past the end and printed all the same.
  EXPECT_EQ(ViewRange(kSirens, 0, 115), std::string(kTick100) + kTick110 + kTick120);
  EXPECT_EQ(ViewRange(kSirens, 0, 119), std::string(kTick100) + kTick110 + kTick120);
}

TEST_F(Viewer, ATickAtTheEndIsNotPastIt) {
  EXPECT_EQ(ViewRange(kSirens, 0, 110), std::string(kTick100) + kTick110 + kTick120);
  EXPECT_EQ(ViewRange(kSirens, 0, 130), std::string(kTick100) + kTick110 + kTick120 + kTick130);
}

TEST_F(Viewer, TheFirstTickPrintedIsNotTestedForTheEnd) {
  // Deliberate: the end is looked at from the second tick on.
  EXPECT_EQ(ViewRange(kSirens, 0, 50), std::string(kTick100) + kTick110);
  EXPECT_EQ(ViewRange(kSirens, 110, 50), std::string(kTick110) + kTick120);
}

TEST_F(Viewer, PrintingBeginsAtTheStartTickOrTheFirstAfterIt) {
  EXPECT_EQ(ViewRange(kSirens, 110, 0xFFFFFFFF), std::string(kTick110) + kTick120 + kTick130);
  EXPECT_EQ(ViewRange(kSirens, 111, 0xFFFFFFFF), std::string(kTick120) + kTick130);
}

TEST_F(Viewer, AClockThatGoesBackDoesNotEndTheRangeOnceStarted) {
  const Bytes restarted = kSirens + WithCrc(B("80 01 00 00 00 01 56"));
  EXPECT_THAT(ViewRange(restarted, 130, 140),
              EndsWith("(hdr1)   130 (01/01/1970 00:00:00) (01) [Tag=Bookmark, TagNo=0x56]\n"));
}

TEST_F(Viewer, TheStateBeforeTheRangeIsRebuiltSilently) {
  const Bytes drive = kMagic + WithCrc(B("80 64 00 00 00 0A 91 00 29 23 00 00 5D 25 00 00")) +
                      WithCrc(B("81 6E 03 92 7F 81"));
  EXPECT_EQ(ViewRange(drive, 110, 0xFFFFFFFF),
            "(hdr2)   100 (01/01/1970 00:00:55) (03) [Tag=GpsRel8, TagNo=0x92, DeltaLat=127, "
            "DeltaLon=-127, Lat=N41:35.00, Lon=W93:36.59]\n");
}

TEST_F(Viewer, AnUndefinedTickIsPrintedWithTheWholeFile) {
  const Viewed viewed =
      ViewStream(kMagic + WithCrc(B("81 02 01 36")) + WithCrc(B("80 64 00 00 00 01 37")));
  EXPECT_EQ(viewed.out,
            "Expanded view = 0\n"
            "[Magic # (0x665d5331)]\n"
            "(hdr2) 4294967295 (01/19/2038 03:12:01) (01) [Tag=siren, TagNo=0x36, State=on]\n"
            "(hdr1) 4294967042 (01/01/1970 00:00:50) (01) [Tag=siren, TagNo=0x37, State=off]\n");
}

TEST_F(Viewer, AnUndefinedTickComesBeforeEveryStart) {
  const Bytes stream = kMagic + WithCrc(B("81 02 01 36")) + WithCrc(B("80 64 00 00 00 01 37"));
  EXPECT_EQ(ViewRange(stream, 1, 0xFFFFFFFF),
            "(hdr1) 4294967042 (01/01/1970 00:00:50) (01) [Tag=siren, TagNo=0x37, State=off]\n");
}

TEST_F(Viewer, AnUndefinedTickIsNeverPastTheEnd) {
  const Bytes stream = kMagic + WithCrc(B("81 02 01 36")) + WithCrc(B("81 04 01 36")) +
                       WithCrc(B("81 06 01 36")) + WithCrc(B("80 64 00 00 00 01 37")) +
                       WithCrc(B("81 6E 01 36"));
  EXPECT_EQ(CountOf(ViewRange(stream, 0, 10), "(hdr"), 4);
}

// ---- The end of the stream ---------------------------------------------------

TEST_F(Viewer, AnEndOfStreamItemStopsTheListingAfterItsTick) {
  const Bytes ended = kMagic + WithCrc(B("80 64 00 00 00 02 F0 36")) + WithContCrc(B("82 01 56")) +
                      WithCrc(B("81 6E 01 37"));
  EXPECT_EQ(ViewStream(ended).out,
            "Expanded view = 0\n"
            "[Magic # (0x665d5331)]\n"
            "(hdr1) 4294967295 (01/01/1970 00:00:50) (02) "
            "[Tag=EOS, TagNo=0xF0][Tag=siren, TagNo=0x36, State=on]\n"
            "(hdrCONT)   100 (01/01/1970 00:00:50) (01) [Tag=Bookmark, TagNo=0x56]\n");
}

TEST_F(Viewer, AnEndOfStreamBeforeTheRangeStopsTheListingToo) {
  const Bytes ended = kMagic + WithCrc(B("80 64 00 00 00 01 F0")) + WithCrc(B("81 6E 01 37"));
  EXPECT_EQ(ViewRange(ended, 110, 0xFFFFFFFF), "");
}

TEST_F(Viewer, AReaderViewsASecondFileAfterOneThatEndedEarly) {
  const std::string ended =
      Write("ended", kMagic + WithCrc(B("80 64 00 00 00 01 F0")) + WithCrc(B("81 6E 01 37")));
  const std::string sirens = Write("sirens", kSirens);
  ViewFile(ended);
  EXPECT_EQ(ViewFile(sirens).out, std::string("Expanded view = 0\n"
                                              "[Magic # (0x665d5331)]\n") +
                                      kTick100 + kTick110 + kTick120 + kTick130);
  EXPECT_EQ(ViewFile(sirens).out, ViewFile(sirens).out);
}

// ---- Files -------------------------------------------------------------------

TEST_F(Viewer, AMissingFileIsReportedOnStandardError) {
  const std::string path = folder.Path("none");
  const Viewed viewed = ViewFile(path);
  EXPECT_FALSE(viewed.opened);
  EXPECT_EQ(viewed.out, "Expanded view = 0\n");
  EXPECT_EQ(viewed.err, "Could not open input file " + path + "\n");
}

TEST_F(Viewer, TheRangeLineComesBeforeTheFileIsOpened) {
  ViewOptions range;
  range.start = 5;
  range.expanded = true;
  EXPECT_EQ(ViewFile(folder.Path("none"), range).out,
            "Expanded view = 1\n"
            "Start System Tick (5) End System Tick (4294967295)\n");
}

TEST_F(Viewer, ARingThatCannotBeOpenedIsReportedOnStandardError) {
  const std::string base = folder.Path("no/such/folder");
  ViewOptions ring;
  ring.ring = true;
  const Viewed viewed = ViewFile(base, ring);
  EXPECT_FALSE(viewed.opened);
  EXPECT_EQ(viewed.out, "Expanded view = 0\n");
  EXPECT_EQ(viewed.err, "Could not open input file " + base + "\n");
}

TEST_F(Viewer, AnOutputStoreThatCannotBeOpenedIsReportedOnStandardError) {
  const std::string path = Write("sirens", kSirens);
  allocations_left = 1;  // for the file's work buffer
  const Viewed viewed = ViewFile(path);
  allocations_left = -1;
  EXPECT_FALSE(viewed.opened);
  EXPECT_EQ(viewed.err, "Could not open output data store\n");
}

TEST_F(Viewer, AFileTooShortForTheMagicEndsTheListing) {
  const Viewed viewed = ViewStream(B("80 64"));
  EXPECT_TRUE(viewed.opened);
  EXPECT_EQ(viewed.out, "Expanded view = 0\nNo valid magic # found\n");
}

TEST_F(Viewer, AnEmptyFileIsViewedAsNothing) {
  const Viewed viewed = ViewStream({});
  EXPECT_TRUE(viewed.opened);
  EXPECT_EQ(viewed.out, "Expanded view = 0\nNo valid magic # found\n");
}

TEST_F(Viewer, ClustersAreViewedAsAFlatFileWithoutTheirHeaders) {
  Bytes first = B("AA 64 00 00 00 0F 00") + WithCrc(B("80 64 00 00 00 01 36"));
  Bytes second = B("BB 6E 00 00 00 0C 00") + WithCrc(B("81 6E 01 37"));
  first.resize(4096);
  second.resize(4096);
  EXPECT_EQ(ViewStream(first + second).out, std::string("Expanded view = 0\n"
                                                        "No valid magic # found\n") +
                                                kTick100 + kTick110);
}

TEST_F(Viewer, DamageIsSkippedAndTheListingGoesOn) {
  const Bytes damaged = kMagic + B("00 84 17") + WithCrc(B("80 64 00 00 00 01 36")) + B("FF FF") +
                        WithCrc(B("81 6E 01 37"));
  EXPECT_THAT(ViewStream(damaged).out, EndsWith(std::string(kTick100) + kTick110));
}

TEST_F(Viewer, AnIllegalItemDoesNotEndTheListing) {
  const Viewed viewed =
      ViewStream(kMagic + WithCrc(B("80 64 00 00 00 02 FF 36")) + WithCrc(B("81 6E 01 37")));
  EXPECT_TRUE(viewed.opened);
  EXPECT_THAT(viewed.out,
              EndsWith("(hdr1) 4294967295 (01/01/1970 00:00:50) (02) [Illegal payload tag 0xFF] \n"
                       "(hdr2)   100 (01/01/1970 00:00:55) (01) "
                       "[Tag=siren, TagNo=0x37, State=off]\n"));
  EXPECT_EQ(viewed.err, "");
}

TEST_F(Viewer, ARecordedFileBeginsWithItsDictionary) {
  const std::string path = folder.Path("recorded");
  DataStoreFlatWrite store(path);
  ASSERT_EQ(store.Open(), 1);
  store.InitCurrentSystemTick(100);
  store.ReportStateData(TAG_SIREN_ON, true, 0);
  store.Close();
  EXPECT_EQ(
      ViewFile(path).out,
      std::string("Expanded view = 0\n"
                  "[Magic # (0x665d5331)]\n"
                  "hdrDICT (70) 0x02-8,0x03-5,0x11-2V,0x05-2V,0x06-2V,0x07-2V,0x08-2V,0x09-3V,"
                  "0x10-2V,0x18-3,0x1A-1,0x20-2V,0x21-2,0x34-1,0x35-1,0x36-1,0x37-1,0x38-1,0x39-1,"
                  "0x3A-1,0x3B-1,0x3C-1,0x3D-1,0x3E-1,0x3F-1,0x44-1,0x45-1,0x46-1,0x47-1,0x40-1,"
                  "0x41-1,0x42-1,0x43-1,0x58-5V,0x59-4,0x54-3,0x55-2,0x60-4V,0x61-5,0x68-2,0x6F-2,"
                  "0x70-4V,0x71-2,0x72-2,0x73-2,0x74-2,0x75-2,0x76-2,0x78-3,0x79-3,0x7A-3,0x7B-3,"
                  "0x7C-3,0x7D-3,0x90-3V,0x91-10,0x92-3,0x93-5,0x94-2,0xE0-3V,0xE1-2,0xE2-2,0xE3-2,"
                  "0xE4-2,0xF0-1,0x50-3V,0x51-2,0xF1-2V,0x56-1,0xB0-9\n\n") +
          kTick100);
}

TEST_F(Viewer, ADictionaryBeforeTheRangeIsNotPrinted) {
  const Bytes stream =
      kMagic + B("83 01 02 08 00") + WithCrc(B("80 64 00 00 00 01 36")) + WithCrc(B("81 6E 01 37"));
  EXPECT_EQ(ViewRange(stream, 110, 0xFFFFFFFF), kTick110);
}

TEST_F(Viewer, ExpandedViewDumpsEveryHeaderAndItem) {
  ViewOptions expanded;
  expanded.expanded = true;
  const Bytes stream = kMagic + WithCrc(B("80 C8 00 00 00 09 E0 03 03 63 70 75 C0 01 01")) +
                       WithCrc(B("81 41 01 56"));
  EXPECT_EQ(ViewStream(stream, expanded).out,
            "Expanded view = 1\n"
            "[Magic # (0x665d5331)]\n"
            "(hdr1) 4294967295 (01/01/1970 00:01:40) (09) \n"
            "       hex:80 C8 00 00 00 09\n"
            " printable:                 \n"
            "[Tag=TempDesc, TagNo=0xE0, Id=3, desc='cpu']\n"
            "       hex:E0 03 03 63 70 75\n"
            " printable:         c  p  u \n"
            "[Tag=Button, TagNo=0xC0, Button=RECORD, Action=LONG PRESSED]\n"
            "       hex:C0 01 01\n"
            " printable:        \n"
            "\n"
            "(hdr2)   200 (01/01/1970 00:00:32) (01) \n"
            "       hex:81 41 01\n"
            " printable:   A    \n"
            "[Tag=Bookmark, TagNo=0x56]\n"
            "       hex:56\n"
            " printable:V \n"
            "\n");
}

// ---- Long files --------------------------------------------------------------

TEST_F(Viewer, EveryPacketOfAFileOfManyBlocksIsPrinted) {
  Bytes stream = kMagic + WithCrc(B("80 00 00 00 00 00"));
  for (int i = 0; i < 2000; ++i) stream = stream + WithCrc(B("81 02 05 36 37 36 37 36"));
  EXPECT_EQ(CountOf(ViewStream(stream).out, "(hdr2)     2 ("), 1999);
}

TEST_F(Viewer, TicksTooLargeForTheBufferArePrintedWhereverTheyLie) {
  Bytes tick = WithCrc(B("81 66 FF") + Filled(255, 0x37));
  for (unsigned char i = 0; i < 16; ++i) tick = tick + FullCont(0x36);
  for (std::size_t gap = 0; gap < 4400; gap += 61) {
    SCOPED_TRACE(gap);
    log.Clear();
    const Bytes stream = kMagic + Filled(gap, 0x84) + tick + tick;
    const Viewed viewed = ViewStream(stream);
    EXPECT_EQ(CountOf(viewed.out, "(hdr2)"), 2);
    EXPECT_EQ(CountOf(viewed.out, "(hdrCONT)"), 32);
  }
}

TEST_F(Viewer, WhatReadingRecordsAgainIsDiscardedBeforeItPilesUp) {
  Bytes stream = kMagic + WithCrc(B("80 00 00 00 00 00"));
  for (int i = 0; i < 5000; ++i) stream = stream + WithCrc(B("81 02 02 3A 3B"));
  ViewStream(stream);
  EXPECT_THAT(log.Texts(2), IsEmpty());  // nothing was dropped
}

}  // namespace
}  // namespace vmr::test

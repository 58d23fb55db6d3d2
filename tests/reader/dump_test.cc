// The dump of raw bytes.
#include "tests/reader/reader_fixture.h"

namespace vmr::test {
namespace {

std::string Dumped(const Bytes& bytes) {
  return Printed([&] { MetadataReader::DebugPrint(bytes.data(), static_cast<int>(bytes.size())); });
}

constexpr char kEmptyDump[] =
    "       hex:\n"
    " printable:\n";

TEST(Dump, ACountBelowOnePrintsBothLabelsAlone) {
  for (const int count : {0, -1})
    EXPECT_EQ(Printed([&] { MetadataReader::DebugPrint(B("41").data(), count); }), kEmptyDump);
}

TEST(Dump, NullIsRefusedAndLogged) {
  const CapturedLog log;
  for (const int count : {-1, 0, 1})
    EXPECT_EQ(Printed([&] { MetadataReader::DebugPrint(nullptr, count); }), "");
  const LogEntry refused{kLogError, "MetadataReader.cc", "Null value passed to DebugPrint"};
  EXPECT_THAT(log.Entries(), testing::ElementsAre(refused, refused, refused));
}

TEST(Dump, APrintableByteIsShownAsItself) {
  EXPECT_EQ(Dumped(B("41")),
            "       hex:41\n"
            " printable:A \n");
}

TEST(Dump, AByteThatIsNotPrintableIsTwoBlanks) {
  EXPECT_EQ(Dumped(B("80")),
            "       hex:80\n"
            " printable:  \n");
}

TEST(Dump, EightBytesAreOneGroupWithNothingBehindIt) {
  EXPECT_EQ(Dumped(B("41 42 43 44 0A 46 47 48")),
            "       hex:41 42 43 44 0A 46 47 48\n"
            " printable:A  B  C  D     F  G  H \n");
}

TEST(Dump, TheNinthByteStandsOneBlankFurther) {
  EXPECT_EQ(Dumped(B("41 42 43 44 45 46 47 48 FF")),
            "       hex:41 42 43 44 45 46 47 48  FF\n"
            " printable:A  B  C  D  E  F  G  H     \n");
}

TEST(Dump, SixteenBytesAreTwoGroups) {
  EXPECT_EQ(Dumped(B("30 31 32 33 34 35 36 37 38 39 3A 3B 3C 3D 3E 3F")),
            "       hex:30 31 32 33 34 35 36 37  38 39 3A 3B 3C 3D 3E 3F\n"
            " printable:0  1  2  3  4  5  6  7   8  9  :  ;  <  =  >  ? \n");
}

TEST(Dump, TheSeventeenthByteBeginsAThirdGroup) {
  EXPECT_EQ(Dumped(B("61 62 63 64 65 66 67 68 69 6A 6B 6C 6D 6E 6F 70 71")),
            "       hex:61 62 63 64 65 66 67 68  69 6A 6B 6C 6D 6E 6F 70  71\n"
            " printable:a  b  c  d  e  f  g  h   i  j  k  l  m  n  o  p   q \n");
}

TEST(Dump, OnlySevenBitGraphicsAndTheBlankArePrintable) {
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const std::string row = Dumped(Filled(1, static_cast<unsigned char>(byte)));
    const bool printable = byte >= 0x20 && byte <= 0x7E;
    const std::string cell(1, printable ? static_cast<char>(byte) : ' ');
    EXPECT_EQ(row.substr(row.find('\n')), "\n printable:" + cell + " \n");
  }
}

}  // namespace
}  // namespace vmr::test

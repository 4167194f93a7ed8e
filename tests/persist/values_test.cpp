#include <gtest/gtest.h>

#include <string>

#include "kxwcmn/core/dpoint.h"
#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/filepath.h"
#include "kxwcmn/core/length.h"
#include "kxwcmn/core/number.h"
#include "tests/support/failure.h"
#include "tests/support/streams.h"
#include "tests/testfolder.h"

namespace {

using namespace testing_kxw;

TEST(StoredValues, NumbersAndLengthsHaveTheirBytes) {
  KXNumber number;
  number.SetNumber(12, "AB");
  StringArchive out(kStoreBig, 64), little(kStoreLittle, 64);
  out << number << KXLength(1.5, 3, 300);
  EXPECT_EQ(out.Flushed(), Hex("0000000C 41420000 3FF8000000000000 00000003 4072C00000000000"));
  number.WriteArchive(little);
  EXPECT_EQ(little.Flushed(), Hex("0C000000 41420000"));
  // Four letters: the last is dropped. Unit -2 and resolution 0 leave what is there.
  StringArchive in(kLoadBig, 64,
                   Hex("00000007 41424344 4000000000000000 FFFFFFFE 0000000000000000"));
  KXLength length(1, 5, 72);
  in >> number >> length;
  KXNumber expected;
  expected.SetNumber(7, "ABC");
  EXPECT_TRUE(number == expected && length == KXLength(2, 5, 72));
  // A stream that ends early is a failure with a cache; without one, missing bytes are 0.
  const std::string cut = Hex("00000007 4100 ");
  StringArchive cached(kLoadBig, 64, cut), plain(kLoadBig, 0, cut);
  EXPECT_EQ(CodeOf([&] { cached >> number; }), kxw::kFailureBadArgument);
  EXPECT_TRUE(number == expected);
  plain >> number >> length;
  expected.SetNumber(7, "A");
  EXPECT_TRUE(number == expected && length == KXLength(0, 0, 72));
}

// Points and shadows after each step; 0.511 at 90 pixels a unit is 45.99, which is truncated.
TEST(DPoint, KeepsPointsAndShadows) {
  KXDPoint list;
  EXPECT_EQ(list.GetAngle() * 1000 + list.GetOpacity(), 5100);
  EXPECT_EQ(list.GetColor(), 9868950u);
  const auto at = [&list](int index) {
    tagPOINTD p{};
    tagPOINT shadow{};
    list.GetPoint(p, index);
    list.GetPoint(shadow, index);
    return std::to_string(p.x) + " " + std::to_string(shadow.x) + " " + std::to_string(shadow.y);
  };
  list.AddPoint(tagPOINTD{0.511, -0.999});
  EXPECT_EQ(at(0), "0.511000 45 -89");
  list.AddPoint(tagPOINT{7, 8});
  EXPECT_EQ(at(1), "0.000000 7 8");
  list.SetResolution(10);
  EXPECT_EQ(at(0), "0.511000 45 -89");
  list.Offset(tagPOINTD{1, 1}, -1);
  EXPECT_EQ(at(0) + "|" + at(1), "1.511000 15 0|1.000000 10 10");
  list.Offset(tagPOINT{2147483647, 1}, 0);
  EXPECT_EQ(at(0), "1.511000 -2147483634 1");
  list.Offset(tagPOINT{0, 1}, -1);
  EXPECT_EQ(at(0) + "|" + at(1), "1.511000 -2147483634 2|1.000000 10 11");
  list.AddPoint(tagPOINTD{3, 3});
  list.RemovePoint(0);
  EXPECT_EQ(at(0) + "|" + at(1), "1.000000 10 11|3.000000 30 30");
  list.AddPoint(tagPOINTD{4, 4});
  list.RemovePoint(9);
  list.RemovePoint(2147483647);
  EXPECT_EQ(list.GetCount(), 1);
  for (int i = 0; i < 20; ++i) list.AddPoint(tagPOINTD{1.0 * i, 0});
  EXPECT_EQ(list.GetCount(), 10);
  for (int outside : {-2, 10, -2147483647 - 1, 2147483647}) {
    list.SetPoint(tagPOINTD{}, outside);
    list.Offset(tagPOINT{}, outside);
    EXPECT_EQ(at(outside), "0.000000 0 0");
  }
  list.RemovePoint(-2);
  list.SetAngle(6);
  list.SetColor(7);
  KXDPoint copy(&list);
  list.RemovePoint(-1);
  list.RemovePoint(0);
  EXPECT_EQ(list.GetCount() + 100 * copy.GetCount(), 1000);
  EXPECT_EQ(at(9), "8.000000 80 0");  // emptied, not cleared
  list.AddPoint(tagPOINTD{9, 9});
  list.RemovePoint(0);  // what lies behind the end moves down too
  EXPECT_EQ(at(0), "0.000000 0 0");
  EXPECT_TRUE(copy.GetAngle() == 6 && copy.GetColor() == 7);
  copy.SetPoint(tagPOINTD{1.19, 1}, 9);
  list = copy;
  EXPECT_EQ(at(9), "1.190000 11 10");  // with the resolution
}

std::string Stored(const std::string& count, int points) {
  std::string bytes = Hex("57445046" + count);
  for (int i = 0; i < points; ++i) bytes += Hex("3FF0000000000000 4000000000000000");
  return bytes + Hex("0000002D");
}

TEST(DPoint, HasAFileOfItsOwn) {
  const TestFolder folder;
  const KXFilePath path(folder.Path("points").c_str());
  const auto write = [&folder](const std::string& bytes) { folder.WriteFile("points", bytes); };
  KXDPoint list, read;
  list.AddPoint(tagPOINTD{1, 2});
  list.SetAngle(45);
  list.SetOpacity(50);
  list.SetColor(0x11223344);
  list.Save(path, 0x41414141);
  const std::string bytes = folder.ReadFile("points");
  EXPECT_EQ(bytes, Stored("00000001", 1) + Hex("00000008 00000032 11223344"));
  read.Open(path);
  EXPECT_EQ(read.GetOpacity() + 1000 * read.GetAngle(), 45050);
  EXPECT_EQ(read.GetColor(), 0x11223344u);

  write(Stored("0000000C", 12));  // of the older form, with more points than the list holds
  read.Open(path);
  EXPECT_EQ(read.GetCount() * 1000 + read.GetOpacity(), 10100);
  EXPECT_EQ(read.GetColor(), 0x969696u);
  write(Stored("FFFFFFFF", 0));
  read.Open(path);
  EXPECT_EQ(read.GetCount(), 0);
  write(Stored("3B9ACA00", 12));  // a billion
  EXPECT_NE(CodeOf([&] { read.Open(path); }), 0);
  for (std::size_t cut = 0; cut < bytes.size(); ++cut) {
    write(bytes.substr(0, cut));
    const int code = CodeOf([&] { read.Open(path); });
    EXPECT_EQ(code == 0, cut == 28) << cut;  // where the older form ends
  }
  write(Hex("57445045") + bytes.substr(4));
  EXPECT_EQ(CodeOf([&] { read.Open(path); }), 0x2001000B);
}

}  // namespace

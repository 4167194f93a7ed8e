#include "kxwcmn/core/stringresource.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "tests/support/codepage.h"
#include "tests/testfolder.h"

namespace {

/// Adds a text as a resource; returns what the resource then has for the ids 0 to 20, a line each.
std::string Added(KXStringResource& resource, const std::string& text) {
  HRSRC__ block{text.data(), static_cast<DWORD>(text.size())};
  EXPECT_EQ(resource.AddResource(nullptr, &block), 1);
  std::string all;
  for (int id = 0; id <= 20; ++id) {
    KXString found;
    if (resource.LoadStringA(found, id)) all += std::to_string(id) + found.GetCStrPtr() + "\n";
  }
  return all;
}

std::string Texts(const std::string& text) {
  KXStringResource resource;
  return Added(resource, text);
}

TEST(StringResource, ReadsLines) {
  EXPECT_EQ(
      Texts("1 \"a\"\r\n\n \t2\t x\"b\" y\n//3 \"c\"\n4 \"d\" // \"e\"\n5 \"f\n6 g\"\n7\n8 \"\""),
      "1a\n2b\n4d\" // \"e\n8\n");
  EXPECT_EQ(Texts("1 \"a\"\n1 \"b\"\n-1 \"c\"\nx \"d\"\n65535 \"e\"\n99999999999999999999 \"f\""),
            "1a\n");
  EXPECT_EQ(Texts("12 \"a\\\"b\"\n13 \"\\\\n\\n\\r\\t\\x\\\""), "12a\\\"b\n13\\n\n\r\t\\x\\\n");
  EXPECT_EQ(Texts("\xEF\xBB\xBF\x31 \"a\""), "1a\n");
  EXPECT_EQ(Texts(std::string("1 \"a\"\n\0\n2 \"b\"\n", 15)), "1a\n");
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  EXPECT_EQ(Texts("1 \"\x83\\n\\n\x83\\\""), "1\x83\\n\n\x83\\\n");
}

TEST(StringResource, EarlierTablesCountFirst) {
  KXStringResource resource;
  Added(resource, "1 \"a\"\n2 \"b\"");
  const TestFolder folder;
  folder.WriteFile("texts", "2 \"c\"\n3 \"d\"");
  EXPECT_EQ(resource.AddTextFile(folder.Path("missing").c_str()), 0);
  EXPECT_EQ(resource.AddTextFile(folder.Path("texts").c_str()), 1);
  EXPECT_EQ(Added(resource, ""), "1a\n2b\n3d\n");
  EXPECT_EQ(resource.AddResource(nullptr, nullptr), 0);
  KXString text("x");
  EXPECT_EQ(resource.LoadStringA(text, 65535), 0);
  EXPECT_STREQ(text, "x");
  EXPECT_EQ(resource.LoadStringA(text, 9), 0);
  EXPECT_STREQ(text, "");
  char buffer[5] = "####";
  Added(resource, "4 \"long\"");
  EXPECT_EQ(resource.LoadStringA(buffer, 2, 4), 1);
  EXPECT_STREQ(buffer, "lo##");
  EXPECT_EQ(resource.LoadStringA(buffer, 4, 1), 1);
  EXPECT_EQ(std::memcmp(buffer, "a\0\0\0", 5), 0);

  HRSRC__ block{"7 \"all\"", 7};
  kxGetStringResource().AddResource(nullptr, &block);
  EXPECT_EQ(text.LoadStringA(7, 65535), 1);
  EXPECT_STREQ(text, "all");
}

}  // namespace

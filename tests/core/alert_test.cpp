#include "kxwcmn/core/alert.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include "kxwcmn/core/exception.h"
#include "kxwcmn/core/string.h"
#include "kxwcmn/core/stringresource.h"
#include "kxwcmn/platform/error.h"
#include "kxwcmn/platform/host.h"
#include "kxwcmn/platform/module.h"
#include "tests/support/codepage.h"

namespace {

constexpr UINT kOfCode = 0xFFFFFFFFu;

/// An alert id's fields.
UINT Id(UINT inserts, UINT place, UINT second, UINT number) {
  return inserts << 25 | place << 22 | second << 16 | number;
}

std::string Message(UINT id, int code = 0, const char* s1 = "", const char* s2 = "",
                    const char* s3 = "", const char* s4 = "") {
  KXAlert alert;
  alert.SetAlertID(id, code, s1, s2, s3, s4, "");
  KXString text;
  alert.GetAlertMessage(text);
  return text.GetCStrPtr();
}

TEST(Alert, CodesHaveTheLibrarysOrTheHostsWords) {
  EXPECT_EQ(Message(kOfCode, 0x20010009), "That file already exists!");  // crossed, and meant
  EXPECT_EQ(Message(kOfCode, 0x2001000A), "Non-full color image cannot be opened!");
  EXPECT_EQ(Message(kOfCode, 0x6001138C), "DDR not connected!");
  EXPECT_EQ(Message(kOfCode, kxw::kErrorNotEnoughMemory), std::strerror(ENOMEM));
  EXPECT_EQ(Message(kOfCode, 0x20010005), "");
  EXPECT_EQ(Message(kOfCode, kxw::kFailureAborted), "");
  kxw::SetLanguage(kxw::kLanguageJapanese);
  const ScopedCodePage japanese(kxw::kCodePageJapanese);
  EXPECT_EQ(Message(kOfCode, 0x60011389).substr(0, 4), "\x83\x8C\x83\x43");
  kxw::SetLanguage(kxw::kLanguageOfHost);
  try {
    kxThrowError(kxw::kFailureBadArgument);
  } catch (const KXException& failure) {
    KXString text;
    failure.GetAlertMessage(text);
    EXPECT_STREQ(text, "Incorrect parameter!");
  }
}

TEST(Alert, IdsNameAMessageAndItsTexts) {
  const std::string texts = "207 \"%s-%s-%s %d%%\"\n208 \"" + std::string(800, 'x') + "\"";
  HRSRC__ block{texts.data(), static_cast<DWORD>(texts.size())};
  kxGetStringResource().AddResource(nullptr, &block);
  EXPECT_EQ(Message(Id(0, 2, 0, 207), 0, "a"), "%s-%s-%s %d%%");
  EXPECT_EQ(Message(Id(2, 2, 0, 207), 0, "a", "%s", "c"), "a-%s- %d%");
  EXPECT_EQ(Message(Id(3, 2, 0, 207), 0, "a", "b", "c", "d"), "a-b-c %d%");
  EXPECT_EQ(Message(Id(0, 2, 0, 208)), std::string(767, 'x'));
  EXPECT_EQ(Message(Id(1, 1, 0, 102), 0, "Cut"), "Cut is read-only.");
  EXPECT_EQ(Message(Id(0, 1, 0, 99)), "");
  kxw::HostProcedures procedures;
  procedures.loadString = [](HINSTANCE module, UINT id, UINT second, std::string* text) {
    *text = std::to_string(id) + " " + std::to_string(second);
    return module == kxwGetInstanceHandle();
  };
  kxw::SetHostProcedures(procedures);
  EXPECT_EQ(Message(Id(0, 3, 9, 65535)), "65535 9");
  kxw::SetHostProcedures({});
}

TEST(Alert, TheTitleIsTheProgramUnlessSet) {
  KXString title;
  KXAlert::GetTitleText(title);
  EXPECT_STREQ(title, "core_tests");
  KXAlert::SetTitleText("Paint");
  KXAlert::GetTitleText(title);
  EXPECT_STREQ(title, "Paint");
  KXAlert::SetTitleText("");
}

}  // namespace

#include "kxwcmn/core/exception.h"

#include <gtest/gtest.h>

#include <string>

namespace {

template <class Raise>
KXException Caught(Raise raise) {
  try {
    raise();
  } catch (const KXException& failure) {
    return failure;
  }
  return {};
}

TEST(Exception, ACodeWithoutAlertIsItsOwnAlert) {
  KXException failure = Caught([] { kxThrowError(8); });
  EXPECT_STREQ(failure.GetFile(), "kxexception");
  EXPECT_EQ(failure.GetLine(), 203);
  EXPECT_EQ(static_cast<int>(failure), 8);
  EXPECT_EQ(static_cast<unsigned int>(failure.GetAlert()), 8u);
  EXPECT_TRUE(failure.GetAlert().IsErrorCode());

  failure = Caught([] { kxThrowError(8, 0x04000005, "a", nullptr, "c"); });
  EXPECT_EQ(static_cast<unsigned int>(failure.GetAlert()), 0x04000005u);
  EXPECT_FALSE(failure.GetAlert().IsErrorCode());
  EXPECT_STREQ(failure.GetAlert().GetInsert(0), "a");
  EXPECT_STREQ(failure.GetAlert().GetInsert(1), "");
  EXPECT_STREQ(failure.GetAlert().GetInsert(2), "c");
}

TEST(Exception, CarriesAnAlertAsItStands) {
  KXAlert alert;
  alert.SetAlertID(7, 8, "text", "", "", "", "");
  KXException failure = Caught([&] { kxThrowError(8, alert); });
  EXPECT_EQ(failure.GetLine(), 209);
  EXPECT_EQ(static_cast<unsigned int>(failure.GetAlert()), 7u);
  EXPECT_STREQ(failure.GetAlert().GetInsert(0), "text");
}

TEST(Exception, AnAbortShowsNothing) {
  KXException failure = Caught([] { kxThrowError(kxw::kFailureAborted, 5, "a"); });
  EXPECT_EQ(failure.GetErrorCode(), 0x20010004);
  EXPECT_EQ(static_cast<unsigned int>(failure.GetAlert()), 0u);
  EXPECT_FALSE(failure.GetAlert().IsErrorCode());
  EXPECT_STREQ(failure.GetAlert().GetInsert(0), "");
}

TEST(Exception, LongTextsAreCut) {
  const std::string text(1000, 'x');
  KXException failure(text.c_str(), 1, 8, 0xFFFFFFFFu, text.c_str(), "", "", "", "last");
  EXPECT_EQ(std::string(failure.GetFile()), text.substr(0, 259));
  EXPECT_EQ(std::string(failure.GetAlert().GetInsert(0)), text.substr(0, 255));
  EXPECT_STREQ(failure.GetAlert().GetInsert(4), "last");
  EXPECT_STREQ(failure.GetAlert().GetInsert(5), "");
}

}  // namespace

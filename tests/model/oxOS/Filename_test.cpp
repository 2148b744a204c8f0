// File names: narrow paths pass through, wide paths become UTF-8 with invalid
// code points replaced.

#include "oxOS/Filename.h"

#include <gtest/gtest.h>

#include <string>

using oxOS::Filename;

TEST(Filename, widePathsBecomeUtf8AndNarrowPathsPassThrough)
{
    EXPECT_EQ(Filename("m\xC3\xBC.obj").asMultibyte(), "m\xC3\xBC.obj");
    EXPECT_TRUE(Filename(static_cast<const wchar_t*>(nullptr)).empty());
    // u-umlaut (2 bytes), euro sign (3 bytes), U+1F600 (4 bytes, a pair in UTF-16).
    std::wstring wide = L"m\u00FC\u20AC";
    if (sizeof(wchar_t) == 2)
        wide += {wchar_t(0xD83D), wchar_t(0xDE00)};
    else
        wide += wchar_t(0x1F600);
    EXPECT_EQ(Filename(wide.c_str()).asMultibyte(Filename::UTF8),
              "m\xC3\xBC\xE2\x82\xAC\xF0\x9F\x98\x80");
    const std::wstring lone = {L'a', wchar_t(0xD800), L'b'};  // unpaired surrogate
    EXPECT_EQ(Filename(lone).str(),
              "a\xEF\xBF\xBD"
              "b");
}

// CString: formatting of any length replaces the content; ordering as a key.

#include "oxString/CString.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

using oxString::CString;

TEST(CString, formatOfAnyLengthReplacesContent)
{
    CString s("old text");
    EXPECT_STREQ(s.format("%d vertices: %f s\n", 4, 0.5).c_str(), "4 vertices: 0.500000 s\n");
    const std::string part(700, 'a');
    s.format("%s-%s-%d", part.c_str(), part.c_str(), 12345);
    EXPECT_EQ(s.str(), part + "-" + part + "-12345");
    EXPECT_EQ(s.length(), 2 * 700 + 7u);
    for (size_t n : {511u, 512u, 513u})  // around the first-pass buffer size
        EXPECT_EQ(CString().format("%s", std::string(n, 'q').c_str()).length(), n);
}

TEST(CString, ordersAndAppendsLikeStdString)
{
    std::map<CString, int> counts;
    counts["edge"] += 2;
    counts[CString(std::string("edge"))] += 1;
    counts["a"] = 0;
    EXPECT_EQ(counts.size(), 2u);
    EXPECT_EQ(counts.begin()->first, CString("a"));
    EXPECT_EQ(counts["edge"], 3);
    CString s(static_cast<const char*>(nullptr));
    s += "mesh";
    s += CString("Area");
    s += ':';
    EXPECT_EQ(s.str(), "meshArea:");
}

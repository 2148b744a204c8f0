// NVector: the fixed summation order of dot, the norm's empty and NaN cases, aliasing in the
// combined update, and indices outside the vector.

#include <oxGeom/SparseMatrix.h>

#include <gtest/gtest.h>

#include <cmath>

using oxGeom::NVector;

TEST(NVector, dotSumsFromLastIndexDown)
{
    // Summed upwards, 1 is lost against 1e16; summed from the end, the large terms cancel first.
    NVector a(3), ones(3);
    a[0] = 1.0;
    a[1] = 1e16;
    a[2] = -1e16;
    for (int i = 0; i < 3; ++i)
        ones[i] = 1.0;
    EXPECT_EQ(a.dot(ones), 1.0);
    EXPECT_EQ(NVector(0).dot(ones), 0.0);
    EXPECT_EQ(a.dot(NVector(1)), 0.0);  // a shorter operand reads as zeros
}

TEST(NVector, normAndUpdateEdgeCases)
{
    NVector v(4);
    EXPECT_EQ(NVector().infinityNorm(), 0.0);
    v[1] = -7.0;
    v[3] = 3.0;
    EXPECT_EQ(v.infinityNorm(), 7.0);
    v[2] = std::nan("");
    EXPECT_TRUE(std::isnan(v.infinityNorm()));
    v[2] = 1.0;

    // this = a + s c with this as both operands.
    v.setToVectorPlusScalarTimesVector(v, 2.0, v);
    EXPECT_EQ(v[0], 0.0);
    EXPECT_EQ(v[1], -21.0);
    EXPECT_EQ(v[3], 9.0);

    NVector copy(9);
    copy = v;
    copy = copy;
    EXPECT_EQ(copy.size(), 4);
    EXPECT_EQ(copy[1], -21.0);

    // Outside the vector: reads give 0.0, writes are lost, memory is never touched.
    const NVector& constV = v;
    EXPECT_EQ(constV[-1], 0.0);
    EXPECT_EQ(constV[4], 0.0);
    v[4] = 5.0;
    EXPECT_EQ(v[4], 0.0);
    EXPECT_EQ(v.size(), 4);
    EXPECT_EQ(NVector(-3).size(), 0);
}

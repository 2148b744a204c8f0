#pragma once
// The whole linear-algebra layer in one include.

#include "oxLinear/AffineMatrix.h"
#include "oxLinear/Angle.h"
#include "oxLinear/Line.h"
#include "oxLinear/Plane.h"
#include "oxLinear/Point.h"
#include "oxLinear/Point2.h"
#include "oxLinear/ProjMatrix.h"
#include "oxLinear/Range.h"
#include "oxLinear/Tolerance.h"

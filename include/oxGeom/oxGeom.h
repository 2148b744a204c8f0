#pragma once
// The whole public interface of Trelm in one include: the foundation layer,
// the mesh model types and every oxGeom algorithm family.

#include <ox/Reference.h>
#include <ox/containers.h>
#include <oxLinear/AffineMatrix.h>
#include <oxLinear/Angle.h>
#include <oxLinear/Line.h>
#include <oxLinear/Plane.h>
#include <oxLinear/Point.h>
#include <oxLinear/Point2.h>
#include <oxLinear/ProjMatrix.h>
#include <oxLinear/Range.h>
#include <oxLinear/Tolerance.h>
#include <oxLinear/oxLinear.h>
#include <oxString/CString.h>
#include <oxOS/AppOutput.h>
#include <oxOS/DebugChannel.h>
#include <oxOS/Filename.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/BitField32.h>
#include <oxUtil/Ordering.h>
#include <oxUtil/Progress.h>
#include <oxUtil/ThreadPool.h>
#include <oxUtil/ThreadedAlg.h>
#include <oxRTB/Signal.h>

#include <oxGeom/ArrayAllocator.h>
#include <oxGeom/ArrayOfSets.h>
#include <oxGeom/BitVector.h>
#include <oxGeom/BoundingBox.h>
#include <oxGeom/CompactMesh.h>
#include <oxGeom/MeshAdjTris.h>
#include <oxGeom/MeshAdjVertices.h>
#include <oxGeom/MeshAttributes.h>
#include <oxGeom/MeshBoundaries.h>
#include <oxGeom/MeshCoord.h>
#include <oxGeom/MeshElements.h>
#include <oxGeom/MeshModification.h>
#include <oxGeom/MeshPlacement.h>
#include <oxGeom/PointMesh.h>
#include <oxGeom/Remap.h>
#include <oxGeom/TopoMesh.h>
#include <oxGeom/debugChannel.h>

#include <oxGeom/meshArea.h>
#include <oxGeom/meshBoundingBox.h>
#include <oxGeom/meshTransform.h>

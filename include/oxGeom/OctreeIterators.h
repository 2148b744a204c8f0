#pragma once
// Iterators over the leaves of an Octree or Quadtree: by frustum, box, ray or
// sphere (depth-first, nearest children first), every leaf, every leaf by
// increasing distance from a point, and quadtree leaves by a 2-D box.
//
// Common protocol: valid() is true while there is a current leaf; get() returns
// it (a copy); next() advances; reset(...) restarts with a new query. After
// construction with a query, or after reset, the iterator already stands on its
// first leaf, or is not valid if there is none:
//
//     for (OctreeBBoxIntersectIt it(octree, box); it.valid(); it.next())
//         use(it.get());
//
// get() on an iterator that is not valid returns a default iterator (no node,
// empty box). Queries are held by pointer: the frustum, box, ray or sphere must
// outlive the iterator and stay unchanged while it is used (overloads taking
// temporaries are deleted). The tree must outlive the iterator.
//
// Thread safety: an iterator is used by one thread at a time; any number of
// iterators may walk one tree at once.

#include <oxGeom/BoundingBox.h>
#include <oxGeom/Frustum.h>
#include <oxGeom/Octree.h>
#include <oxGeom/Quadtree.h>
#include <oxGeom/Ray.h>
#include <oxLinear/Point.h>

#include <memory>
#include <vector>

namespace oxGeom
{
/// A ball: centre and radius. A plain value.
struct Sphere
{
    Sphere() = default;
    Sphere(const oxLinear::Point& c, double r) : center(c), radius(r) {}

    oxLinear::Point center;
    double radius = 0.0;
};

/// True when the box meets the closed ball: BoundingBox::distance from the
/// centre (rounded to a float point) is at most the radius. An empty box or a
/// negative radius gives false. Thread-safe; O(1).
bool intersects(const BoundingBox& box, const Sphere& sphere);

/// Leaves whose box meets a frustum (`intersects(BoundingBox, Frustum)`, a
/// conservative test), depth-first with children ordered along the frustum's
/// view vector (front to back).
///
/// Construction allocates the iterator's state once (a stack of
/// 8 * (depth + 1) entries); reset and next never allocate. Cost per leaf:
/// O(8 * depth) box tests at most. Not copyable.
class OctreeIntersectIt
{
public:
    /// No query: not valid until reset.
    explicit OctreeIntersectIt(const Octree& octree);
    OctreeIntersectIt(const Octree& octree, const Frustum& frustum);
    OctreeIntersectIt(const Octree&, const Frustum&&) = delete;
    ~OctreeIntersectIt();
    OctreeIntersectIt(const OctreeIntersectIt&) = delete;
    OctreeIntersectIt& operator=(const OctreeIntersectIt&) = delete;

    void reset(const Frustum& frustum);
    void reset(const Frustum&&) = delete;
    bool valid() const;
    OctreeIterator get() const;
    void next();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Leaves whose box meets a box (BoundingBox::intersects, closed: touching
/// faces count), depth-first with children ordered along +x.
/// Allocation, cost and copying as for OctreeIntersectIt.
class OctreeBBoxIntersectIt
{
public:
    /// No query: not valid until reset.
    explicit OctreeBBoxIntersectIt(const Octree& octree);
    OctreeBBoxIntersectIt(const Octree& octree, const BoundingBox& box);
    OctreeBBoxIntersectIt(const Octree&, const BoundingBox&&) = delete;
    ~OctreeBBoxIntersectIt();
    OctreeBBoxIntersectIt(const OctreeBBoxIntersectIt&) = delete;
    OctreeBBoxIntersectIt& operator=(const OctreeBBoxIntersectIt&) = delete;

    /// An empty box yields nothing.
    void reset(const BoundingBox& box);
    void reset(const BoundingBox&&) = delete;
    bool valid() const;
    OctreeIterator get() const;
    void next();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Leaves that a ray passes through (Ray::intersects(box, 0, largest float):
/// boxes behind the origin are skipped, there is no far limit), depth-first
/// with children ordered along the ray's direction, so leaves come front to
/// back. Allocation, cost and copying as for OctreeIntersectIt.
class OctreeRayIntersectIt
{
public:
    /// No query: not valid until reset.
    explicit OctreeRayIntersectIt(const Octree& octree);
    OctreeRayIntersectIt(const Octree& octree, const Ray& ray);
    OctreeRayIntersectIt(const Octree&, const Ray&&) = delete;
    ~OctreeRayIntersectIt();
    OctreeRayIntersectIt(const OctreeRayIntersectIt&) = delete;
    OctreeRayIntersectIt& operator=(const OctreeRayIntersectIt&) = delete;

    void reset(const Ray& ray);
    void reset(const Ray&&) = delete;
    bool valid() const;
    OctreeIterator get() const;
    void next();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Leaves whose box meets a ball (`intersects(BoundingBox, Sphere)`),
/// depth-first with children ordered along +x.
/// Allocation, cost and copying as for OctreeIntersectIt.
class OctreeSphereIntersectIt
{
public:
    /// No query: not valid until reset.
    explicit OctreeSphereIntersectIt(const Octree& octree);
    OctreeSphereIntersectIt(const Octree& octree, const Sphere& sphere);
    OctreeSphereIntersectIt(const Octree&, const Sphere&&) = delete;
    ~OctreeSphereIntersectIt();
    OctreeSphereIntersectIt(const OctreeSphereIntersectIt&) = delete;
    OctreeSphereIntersectIt& operator=(const OctreeSphereIntersectIt&) = delete;

    void reset(const Sphere& sphere);
    void reset(const Sphere&&) = delete;
    bool valid() const;
    OctreeIterator get() const;
    void next();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Every leaf exactly once, depth-first with child slot 7 taken first (so
/// leaf numbers come in descending order). Copyable: copies continue
/// independently from the same leaf.
/// Cost: O(number of nodes) for a whole walk; the stack is reserved to
/// 8 * (depth + 1) entries on reset.
class OctreeLeafIterator
{
public:
    /// Stands on the first leaf of `octree` (not valid for an octree without nodes).
    explicit OctreeLeafIterator(const Octree& octree);

    void reset(const Octree& octree);
    bool valid() const { return !m_stack.empty(); }
    OctreeIterator get() const { return m_stack.empty() ? OctreeIterator() : m_stack.back(); }
    void next();

private:
    std::vector<OctreeIterator> m_stack;
};

/// Every leaf by increasing distance of its box from a point (best-first
/// search over a min-heap of squared distances). Equal distances: a new entry
/// rises in the heap only past entries with a strictly larger distance.
/// Callers stop the walk themselves, typically once getDistance2() exceeds
/// the best squared distance found so far.
///
/// The state (point and heap) is created on the first reset and reused by
/// later ones. Cost: O(log heap) per node visited. Not copyable.
class OctreeClosestIt
{
public:
    /// No query: not valid until reset.
    OctreeClosestIt();
    OctreeClosestIt(const Octree& octree, const oxLinear::Point& point);
    ~OctreeClosestIt();
    OctreeClosestIt(const OctreeClosestIt&) = delete;
    OctreeClosestIt& operator=(const OctreeClosestIt&) = delete;

    /// Restarts from the root of `octree` (which must outlive the iterator) for
    /// the point (copied).
    void reset(const Octree& octree, const oxLinear::Point& point);
    bool valid() const;
    OctreeIterator get() const;
    /// Squared distance from the point (rounded to floats) to the current
    /// leaf's box: 0 when the point lies in it. 1.7976931348623157e308 (the
    /// largest double) when not valid.
    double getDistance2() const;
    void next();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

/// Quadtree leaves whose box meets a box on x and y
/// (BoundingBox::intersects2D), depth-first in slot order 0, 1, 2, 3.
/// The path is kept in a state reused across resets. Not copyable.
class QuadtreeIntersectIt
{
public:
    /// No query: not valid until reset.
    QuadtreeIntersectIt();
    QuadtreeIntersectIt(const Quadtree& quadtree, const BoundingBox& box);
    QuadtreeIntersectIt(const Quadtree&, const BoundingBox&&) = delete;
    ~QuadtreeIntersectIt();
    QuadtreeIntersectIt(const QuadtreeIntersectIt&) = delete;
    QuadtreeIntersectIt& operator=(const QuadtreeIntersectIt&) = delete;

    void reset(const Quadtree& quadtree, const BoundingBox& box);
    void reset(const Quadtree&, const BoundingBox&&) = delete;
    bool valid() const;
    /// The current leaf; a default QuadtreeIterator when not valid.
    QuadtreeIterator get() const;
    void next();

private:
    struct State;
    std::unique_ptr<State> m_state;
};
}  // namespace oxGeom

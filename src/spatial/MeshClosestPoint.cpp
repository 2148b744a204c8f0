// MeshClosestPoint: nearest point of a mesh by a depth-first walk over the octree cells, nearer
// cell first, pruned by the best distance found so far; a leaf's box bounds every triangle it
// lists, and per-triangle visit stamps make each triangle projected once per query without
// clearing anything between queries. Queries are bound by memory traffic and by projections,
// so each leaf keeps (built on its first visit) a byte-quantised box per listed triangle, and a
// triangle reaches the projection only when its box, its plane and its distance say it could win.
// Based on: Roussopoulos, Kelley and Vincent, "Nearest Neighbor Queries" (1995).

#include <oxGeom/meshClosestPoint.h>

#include "occupiedNodes.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <memory>
#include <vector>

namespace oxGeom
{
namespace
{
// The largest coordinate magnitude of the octree's root box (0 for an empty octree): the size
// that a projected point's rounding error is proportional to.
double coordinateScale(const Octree& octree)
{
    const BoundingBox& box = octree.getBounds();
    if (!box.isValid())
        return 0.0;
    double scale = 0.0;
    for (int i = 0; i < 6; ++i)
        scale = std::max(scale, std::fabs(static_cast<double>(box[i])));
    return scale;
}

// The squared distance from a float point to a box, inline, with BoundingBox::distance2's
// arithmetic: a cell's distance is exactly the one OctreeClosestIt reports for it.
float boxDistance2(const float* box, const oxLinear::PointFlt& point)
{
    if (!(box[0] <= box[3] && box[1] <= box[4] && box[2] <= box[5]))
        return FLT_MAX;
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double p = point[axis];
        const double gap = std::max(
            {static_cast<double>(box[axis]) - p, p - static_cast<double>(box[axis + 3]), 0.0});
        sum += gap * gap;
    }
    return sum > FLT_MAX ? FLT_MAX : static_cast<float>(sum);
}

// The occupied-node flags of one octree and list set, rebuilt when either changes.
class OccupiedNodes
{
public:
    void follow(const Octree& octree, const OctreeTris& tris)
    {
        const std::vector<int>& nodes = octree.getNodes();
        if (nodes.data() == m_nodes && nodes.size() == m_flags.size() &&
            tris.getData().getData() == m_listings && tris.getNumLeaves() == m_numLeaves)
            return;
        m_nodes = nodes.data();
        m_listings = tris.getData().getData();
        m_numLeaves = tris.getNumLeaves();
        detail::markOccupiedNodes(octree, tris, m_flags);
    }

    const std::uint8_t* flags() const { return m_flags.data(); }

private:
    const int* m_nodes = nullptr;
    const int* m_listings = nullptr;
    int m_numLeaves = -1;
    std::vector<std::uint8_t> m_flags;
};

// Octree leaves near a point, depth first: of a node's children the nearest box is taken first,
// then the others in slot order; a node is opened only while its box is nearer than the
// caller's current limit (the best squared distance so far), and subtrees without triangles
// are never entered. Every leaf nearer than the final limit is yielded, so the nearest triangle
// is always met, with no heap and no sorting.
class NearFirstWalk
{
public:
    // `leafRecords` (optional) holds one record of `recordSize` bytes per leaf, and
    // `leafOffsets` one int per leaf: a leaf's record and offset are asked for from memory as
    // soon as the leaf is pushed, so that they arrive while the walk goes on.
    void reset(const Octree& octree, const std::uint8_t* occupied, const oxLinear::Point& point,
               const void* leafRecords = nullptr, std::size_t recordSize = 0,
               const int* leafOffsets = nullptr)
    {
        m_nodes = octree.getNodes().data();
        m_occupied = occupied;
        m_leafRecords = static_cast<const char*>(leafRecords);
        m_recordSize = recordSize;
        m_leafOffsets = leafOffsets;
        m_point = oxLinear::PointFlt(point);
        m_stack.clear();
        m_stack.reserve(8 * static_cast<std::size_t>(octree.getMaxDepth() + 1));
        const OctreeIterator root = octree.getRoot();
        if (!root.valid() || !occupied[root.getNodeIndex()])
            return;
        Entry entry{0.0f, root.getNodeIndex(), {}};
        std::copy(root.getBox().m_box, root.getBox().m_box + 6, entry.box);
        entry.distance2 = boxDistance2(entry.box, m_point);
        m_stack.push_back(entry);
    }

    // Moves to the next leaf whose box is nearer than sqrt(limit2); false when none is left.
    bool next(double limit2, int& leaf)
    {
        while (!m_stack.empty())
        {
            const Entry entry = m_stack.back();
            m_stack.pop_back();
            if (entry.distance2 >= limit2)
                continue;
            const int firstChild = m_nodes[entry.node];
            if (firstChild < 0)
            {
                leaf = -1 - firstChild;
                return true;
            }
            pushChildren(entry, firstChild, limit2);
        }
        return false;
    }

private:
    struct Entry
    {
        float distance2;
        int node;
        float box[6];
    };

    // Pushes the occupied children nearer than the limit: the others in descending slot order,
    // then the nearest (the lowest slot among equals), so that it is taken next.
    void pushChildren(const Entry& parent, int firstChild, double limit2)
    {
        // Per axis, the split and the squared gaps from the point to the lower and upper half:
        // a child's distance is the sum of its three halves' gaps, as boxDistance2 would give.
        float split[3];
        double gap2[3][2];
        for (int axis = 0; axis < 3; ++axis)
        {
            const float low = parent.box[axis], high = parent.box[axis + 3];
            split[axis] = Octree::splitValue(low, high);
            const double p = m_point[axis];
            const double lowerGap =
                std::max({static_cast<double>(low) - p, p - static_cast<double>(split[axis]), 0.0});
            const double upperGap = std::max(
                {static_cast<double>(split[axis]) - p, p - static_cast<double>(high), 0.0});
            gap2[axis][0] = lowerGap * lowerGap;
            gap2[axis][1] = upperGap * upperGap;
        }
        float distance2[8];
        int nearest = -1;
        for (int slot = 0; slot < 8; ++slot)
        {
            const int node = firstChild + slot;
            distance2[slot] = FLT_MAX;
            if (m_nodes[node] == Octree::absentNode || !m_occupied[node])
                continue;
            const double sum =
                gap2[0][slot & 1] + gap2[1][(slot >> 1) & 1] + gap2[2][(slot >> 2) & 1];
            distance2[slot] = sum > FLT_MAX ? FLT_MAX : static_cast<float>(sum);
            if (distance2[slot] < limit2 && (nearest < 0 || distance2[slot] < distance2[nearest]))
                nearest = slot;
        }
        if (nearest < 0)
            return;
        for (int slot = 7; slot >= 0; --slot)
            if (slot != nearest && distance2[slot] < limit2)
                pushChild(parent, firstChild, slot, split, distance2[slot]);
        pushChild(parent, firstChild, nearest, split, distance2[nearest]);
    }

    void pushChild(const Entry& parent, int firstChild, int slot, const float* split,
                   float distance2)
    {
        Entry child{distance2, firstChild + slot, {}};
        for (int axis = 0; axis < 3; ++axis)
        {
            const bool upper = (slot >> axis) & 1;
            child.box[axis] = upper ? split[axis] : parent.box[axis];
            child.box[axis + 3] = upper ? parent.box[axis + 3] : split[axis];
        }
        m_stack.push_back(child);
        const int value = m_nodes[child.node];
        if (value < 0 && m_leafRecords && m_leafOffsets)
        {
            const std::size_t leaf = static_cast<std::size_t>(-1 - value);
            prefetch(m_leafRecords + leaf * m_recordSize);
            prefetch(m_leafOffsets + leaf);
        }
    }

    static void prefetch(const void* address)
    {
#if defined(__GNUC__) || defined(__clang__)
        __builtin_prefetch(address);
#else
        (void)address;
#endif
    }

    const int* m_nodes = nullptr;
    const std::uint8_t* m_occupied = nullptr;
    const char* m_leafRecords = nullptr;
    std::size_t m_recordSize = 0;
    const int* m_leafOffsets = nullptr;
    oxLinear::PointFlt m_point;
    std::vector<Entry> m_stack;
};

// The box of one triangle from its float corners.
struct TriangleBox
{
    TriangleBox(const float* vertices, const int* corners)
    {
        const float* a = vertices + 3 * static_cast<long long>(corners[0]);
        const float* b = vertices + 3 * static_cast<long long>(corners[1]);
        const float* c = vertices + 3 * static_cast<long long>(corners[2]);
        for (int axis = 0; axis < 3; ++axis)
        {
            low[axis] = std::min(std::min(a[axis], b[axis]), c[axis]);
            high[axis] = std::max(std::max(a[axis], b[axis]), c[axis]);
        }
    }
    float low[3], high[3];
};

// Squared distance from p to the box of a triangle; a lower bound of the triangle's distance.
double triangleBoxDistance2(const TriangleBox& box, const oxLinear::Point& p)
{
    double sum = 0.0;
    for (int axis = 0; axis < 3; ++axis)
    {
        const double gap =
            std::max(std::max(box.low[axis] - p[axis], p[axis] - box.high[axis]), 0.0);
        sum += gap * gap;
    }
    return sum;
}

// Per leaf, the boxes of its listed triangles quantised to bytes within the leaf's frame (the
// box of all those triangles, which may reach beyond the leaf): six bytes per listing, read in
// list order. Quantising rounds outwards, checked against the very expression that decodes
// it, so a decoded box always holds the triangle and its distance stays a lower bound. The
// frame also keeps the leaf's slab along its mean triangle normal: a point's gap to that slab
// bounds the distance to every triangle of the leaf, and rejects at once the leaves of a curved
// surface that a point inside or outside it only grazes with their boxes. Leaves are quantised
// on their first visit, so a few queries cost no more than without it.
class ListingBoxes
{
public:
    static constexpr int bytesPerListing = 6;

    enum class State : std::uint8_t
    {
        unbuilt,
        quantised,
        direct  // no finite frame (bad input): test triangle boxes from the mesh instead
    };
    struct Frame
    {
        float origin[3];
        float step[3];            // value of one quantum per axis; 0 on a flat axis
        float normal[3];          // the slab's direction, of unit length up to float rounding
        float slabLow, slabHigh;  // the triangles' extent along `normal`, rounded outwards
        State state;
    };

    // Drops everything when `tris` is not the list set the boxes were built for.
    void follow(const OctreeTris& tris)
    {
        const ArrayOfSets& sets = tris.getData();
        if (sets.getData() == m_listings && sets.getTotalSize() == m_numListings &&
            sets.getNumSets() == static_cast<int>(m_frames.size()))
            return;
        m_listings = sets.getData();
        m_numListings = sets.getTotalSize();
        // Uninitialised on purpose: a leaf's bytes are written when it is first visited.
        m_bytes.reset(
            new std::uint8_t[bytesPerListing * static_cast<std::size_t>(m_numListings) + 1]);
        m_frames.assign(static_cast<std::size_t>(sets.getNumSets()), Frame{});
    }

    const Frame& frame(const OctreeTris& tris, int leaf, const float* vertices,
                       const int* triangles, int numTriangles)
    {
        Frame& frame = m_frames[static_cast<std::size_t>(leaf)];
        if (frame.state == State::unbuilt)
            build(tris, leaf, vertices, triangles, numTriangles, frame);
        return frame;
    }

    const Frame* frames() const { return m_frames.data(); }

    const std::uint8_t* bytes(const OctreeTris& tris, int leaf) const
    {
        return m_bytes.get() +
               bytesPerListing * static_cast<std::size_t>(tris.getData().getOffsets()[leaf]);
    }

    // Decoding: coordinate = origin + q * step, in double.
    static double decode(float origin, float step, int q)
    {
        return static_cast<double>(origin) + q * static_cast<double>(step);
    }

    // A point's coordinate along the slab's direction.
    static double alongNormal(const Frame& frame, const double* point)
    {
        return frame.normal[0] * point[0] + frame.normal[1] * point[1] + frame.normal[2] * point[2];
    }

private:
    static bool inRange(int t, int count)
    {
        return static_cast<unsigned>(t) < static_cast<unsigned>(count);
    }

    // Two passes over the leaf's triangles: the frame box and the normal, then the quantised
    // boxes and the slab along that normal.
    void build(const OctreeTris& tris, int leaf, const float* vertices, const int* triangles,
               int numTriangles, Frame& frame)
    {
        const int count = tris.numTris(leaf);
        const int* list = tris.firstTri(leaf);
        float low[3] = {FLT_MAX, FLT_MAX, FLT_MAX}, high[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
        double normal[3] = {0.0, 0.0, 0.0};
        for (int k = 0; k < count; ++k)
        {
            if (!inRange(list[k], numTriangles))
                continue;
            const TriangleBox box(vertices, triangles + 3 * static_cast<long long>(list[k]));
            for (int axis = 0; axis < 3; ++axis)
            {
                low[axis] = std::min(low[axis], box.low[axis]);
                high[axis] = std::max(high[axis], box.high[axis]);
            }
            addNormal(vertices, triangles + 3 * static_cast<long long>(list[k]), normal);
        }
        setNormal(normal, frame);
        frame.state = State::quantised;
        for (int axis = 0; axis < 3; ++axis)
        {
            // Written so that NaN fails too.
            if (!(low[axis] <= high[axis]) || !std::isfinite(low[axis]) ||
                !std::isfinite(high[axis]))
            {
                frame.state = State::direct;
                return;
            }
            frame.origin[axis] = low[axis];
            frame.step[axis] = quantum(low[axis], high[axis]);
        }
        double slabLow = HUGE_VAL, slabHigh = -HUGE_VAL;
        std::uint8_t* out =
            m_bytes.get() +
            bytesPerListing * static_cast<std::size_t>(tris.getData().getOffsets()[leaf]);
        for (int k = 0; k < count; ++k, out += bytesPerListing)
        {
            if (!inRange(list[k], numTriangles))
            {
                // Never skipped by its box: the query loop drops the bad index itself.
                std::fill(out, out + 3, std::uint8_t(0));
                std::fill(out + 3, out + 6, std::uint8_t(255));
                continue;
            }
            const int* corner = triangles + 3 * static_cast<long long>(list[k]);
            const TriangleBox box(vertices, corner);
            for (int axis = 0; axis < 3; ++axis)
            {
                out[axis] = quantiseDown(box.low[axis], frame.origin[axis], frame.step[axis]);
                out[axis + 3] = quantiseUp(box.high[axis], frame.origin[axis], frame.step[axis]);
            }
            for (int c = 0; c < 3; ++c)
            {
                const float* x = vertices + 3 * static_cast<long long>(corner[c]);
                const double point[3] = {x[0], x[1], x[2]};
                const double along = alongNormal(frame, point);
                slabLow = std::min(slabLow, along);
                slabHigh = std::max(slabHigh, along);
            }
        }
        frame.slabLow = roundDown(slabLow);
        frame.slabHigh = roundUp(slabHigh);
        if (!(frame.slabLow <= frame.slabHigh))
            frame.state = State::direct;
    }

    // Adds the triangle's normal (twice its area) to `sum`, turned to agree with the sum so
    // far, so that a patch's normal comes out whatever the triangles' winding.
    static void addNormal(const float* vertices, const int* corner, double* sum)
    {
        const float* a = vertices + 3 * static_cast<long long>(corner[0]);
        const float* b = vertices + 3 * static_cast<long long>(corner[1]);
        const float* c = vertices + 3 * static_cast<long long>(corner[2]);
        const double u[3] = {double(b[0]) - a[0], double(b[1]) - a[1], double(b[2]) - a[2]};
        const double v[3] = {double(c[0]) - a[0], double(c[1]) - a[1], double(c[2]) - a[2]};
        const double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                             u[0] * v[1] - u[1] * v[0]};
        const double sign = n[0] * sum[0] + n[1] * sum[1] + n[2] * sum[2] < 0.0 ? -1.0 : 1.0;
        for (int axis = 0; axis < 3; ++axis)
            sum[axis] += sign * n[axis];
    }

    // The slab's direction: the summed normal made unit, or z when it vanishes. Any direction
    // gives a valid bound; a flat patch's normal gives the tightest.
    static void setNormal(const double* sum, Frame& frame)
    {
        const double length = std::sqrt(sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]);
        const bool usable = length > 0.0 && std::isfinite(length);
        for (int axis = 0; axis < 3; ++axis)
            frame.normal[axis] = usable ? static_cast<float>(sum[axis] / length) : axis == 2;
    }

    // The nearest float at or below / at or above a double.
    static float roundDown(double value)
    {
        float f = static_cast<float>(value);
        return f > value ? std::nextafter(f, -HUGE_VALF) : f;
    }
    static float roundUp(double value)
    {
        float f = static_cast<float>(value);
        return f < value ? std::nextafter(f, HUGE_VALF) : f;
    }

    // The smallest float step whose 255th multiple reaches `high` from `low` when decoded.
    static float quantum(float low, float high)
    {
        if (!(high > low))
            return 0.0f;
        float step = static_cast<float>((static_cast<double>(high) - low) / 255.0);
        while (decode(low, step, 255) < high)
            step = std::nextafter(step, FLT_MAX);
        return step;
    }

    static std::uint8_t quantiseDown(float value, float origin, float step)
    {
        if (step == 0.0f)
            return 0;
        int q = static_cast<int>(std::floor((static_cast<double>(value) - origin) / step));
        q = std::min(std::max(q, 0), 255);
        while (q > 0 && decode(origin, step, q) > value)
            --q;
        return static_cast<std::uint8_t>(q);
    }

    static std::uint8_t quantiseUp(float value, float origin, float step)
    {
        if (step == 0.0f)
            return 0;
        int q = static_cast<int>(std::ceil((static_cast<double>(value) - origin) / step));
        q = std::min(std::max(q, 0), 255);
        while (q < 255 && decode(origin, step, q) < value)
            ++q;
        return static_cast<std::uint8_t>(q);
    }

    const int* m_listings = nullptr;
    int m_numListings = -1;
    std::unique_ptr<std::uint8_t[]> m_bytes;
    std::vector<Frame> m_frames;
};
}  // namespace

// The shared query state. Held by pointer so that copies of a MeshClosestPoint can share it.
struct MeshClosestPoint::Context
{
    explicit Context(int numTriangles) { resetMarks(numTriangles); }

    void resetMarks(int numTriangles)
    {
        marks.assign(static_cast<std::size_t>(numTriangles > 0 ? numTriangles : 0), 0u);
        stamp = 1;
    }

    // Moves to the next stamp. 4294967295 is never used as a stamp: when the stamp reaches it,
    // every mark is zeroed and counting restarts at 1, so an old mark can never equal a new stamp.
    void advanceStamp()
    {
        ++stamp;
        if (stamp == 4294967295u)
        {
            std::fill(marks.begin(), marks.end(), 0u);
            stamp = 1;
        }
    }

    std::vector<std::uint32_t> marks;
    std::uint32_t stamp = 1;
    OccupiedNodes occupied;
    NearFirstWalk walk;
    ListingBoxes boxes;
    std::vector<double> bounds;
};

MeshClosestPoint::MeshClosestPoint(const CompactMesh& mesh, const Octree& octree,
                                   const OctreeTris& tris)
    : m_mesh(mesh),
      m_octree(octree),
      m_tris(tris),
      m_context(new Context(mesh.getNumTriangles())),
      m_ownsContext(true),
      m_scale(coordinateScale(octree))
{
}

MeshClosestPoint::MeshClosestPoint(const MeshClosestPoint& other)
    : m_mesh(other.m_mesh),
      m_octree(other.m_octree),
      m_tris(other.m_tris),
      m_context(other.m_context),
      m_ownsContext(false),
      m_scale(other.m_scale)
{
}

MeshClosestPoint::~MeshClosestPoint()
{
    if (m_ownsContext)
        delete m_context;
}

std::uint32_t MeshClosestPoint::stamp() const
{
    return m_context->stamp;
}

void MeshClosestPoint::setStamp(std::uint32_t value)
{
    m_context->stamp = value == 0 ? 1u : value;
}

namespace
{
// The squared box distance beyond which a triangle is skipped: the best distance plus a slack
// far above the rounding of a projected point (about 1e-16 of the coordinates' magnitude), so
// a skipped triangle could never have been strictly nearer. Infinite while nothing is found.
double skipBound2(double best2, double slack)
{
    if (best2 == DBL_MAX)
        return HUGE_VAL;
    const double bound = std::sqrt(best2) + slack;
    return bound * bound;
}

// One query's running state and its per-leaf triangle loops.
//
// A triangle is skipped, without being marked, when its box lies beyond the best answer by more
// than the slack: it cannot beat the best now nor any later one (the best only shrinks), so
// meeting it again in another leaf changes nothing but time.
//
// Within a leaf the triangle with the nearest box is projected first, so that the best answer
// is small before the others are tested. Equal distances are still resolved as in list order:
// a candidate also replaces an equally near best found earlier in the same leaf at a later list
// position. Answers are therefore exactly those of projecting every listed triangle once, in
// walk and list order, and keeping the first of the nearest.
struct Search
{
    const float* vertices;
    const int* triangles;
    int numTriangles;
    std::uint32_t* marks;
    std::uint32_t stamp;
    oxLinear::Point p;
    double slack;
    MeshCoord* out;
    std::vector<double>& bounds;  // scratch: the box distances of one leaf's listings
    double best2 = DBL_MAX;
    double skip2 = skipBound2(DBL_MAX, 0.0);
    int leafSerial = 0;       // leaves processed so far
    int bestLeafSerial = -1;  // leaf in which the best answer was found
    int bestPosition = -1;    // and its position in that leaf's list

    bool isTriangle(int t) const
    {
        return static_cast<unsigned>(t) < static_cast<unsigned>(numTriangles);
    }

    // Projects triangle t (listed at `position` of the current leaf) unless seen in this query.
    void visit(int t, int position)
    {
        // The filters come before the mark: a triangle they reject may be tested again from
        // another leaf, which is cheaper than reading a mark for every candidate.
        if (cannotWin(triangles + 3 * static_cast<long long>(t)) || marks[t] == stamp)
            return;
        marks[t] = stamp;
        const MeshCoord candidate = meshTriClosestPt(vertices, triangles, t, p);
        if (!candidate.valid())
            return;
        const double d2 = oxLinear::distance2(p, candidate.evaluate(vertices, triangles));
        const bool earlierTie =
            d2 == best2 && bestLeafSerial == leafSerial && position < bestPosition;
        if (d2 < best2 || earlierTie)
        {
            best2 = d2;
            skip2 = skipBound2(best2, slack);
            bestLeafSerial = leafSerial;
            bestPosition = position;
            if (out)
                *out = candidate;
        }
    }

    // True when the triangle lies beyond the best answer by more than the slack: first by the
    // distance to its plane, then by its exact distance (computed here in double, the same
    // region walk as MeshCoord::project). Only near-winners reach the projection proper, whose
    // numbers decide the answer.
    bool cannotWin(const int* corners) const
    {
        if (skip2 == HUGE_VAL)
            return false;
        double a[3], ab[3], ac[3], ap[3];
        for (int axis = 0; axis < 3; ++axis)
        {
            a[axis] = vertices[3 * static_cast<long long>(corners[0]) + axis];
            ab[axis] = vertices[3 * static_cast<long long>(corners[1]) + axis] - a[axis];
            ac[axis] = vertices[3 * static_cast<long long>(corners[2]) + axis] - a[axis];
            ap[axis] = p[axis] - a[axis];
        }
        const double normal[3] = {ab[1] * ac[2] - ab[2] * ac[1], ab[2] * ac[0] - ab[0] * ac[2],
                                  ab[0] * ac[1] - ab[1] * ac[0]};
        const double height = dot(normal, ap);
        const double normal2 = dot(normal, normal);
        // Written so that a degenerate (or NaN) triangle is never rejected here.
        if (height * height > skip2 * normal2)
            return true;
        return triangleDistance2(ab, ac, ap) > skip2;
    }

    static double dot(const double* u, const double* v)
    {
        return u[0] * v[0] + u[1] * v[1] + u[2] * v[2];
    }

    // Squared distance from p to the triangle a + s ab + t ac, with ap = p - a: the nearest
    // point by the vertex, edge and face regions.
    static double triangleDistance2(const double* ab, const double* ac, const double* ap)
    {
        const double d1 = dot(ab, ap), d2 = dot(ac, ap);
        if (d1 <= 0.0 && d2 <= 0.0)
            return dot(ap, ap);
        double bp[3], cp[3];
        for (int axis = 0; axis < 3; ++axis)
        {
            bp[axis] = ap[axis] - ab[axis];
            cp[axis] = ap[axis] - ac[axis];
        }
        const double d3 = dot(ab, bp), d4 = dot(ac, bp);
        if (d3 >= 0.0 && d4 <= d3)
            return dot(bp, bp);
        const double vc = d1 * d4 - d3 * d2;
        if (vc <= 0.0 && d1 >= 0.0 && d3 <= 0.0)
            return offsetDistance2(ap, ab, d1 / (d1 - d3), ac, 0.0);
        const double d5 = dot(ab, cp), d6 = dot(ac, cp);
        if (d6 >= 0.0 && d5 <= d6)
            return dot(cp, cp);
        const double vb = d5 * d2 - d1 * d6;
        if (vb <= 0.0 && d2 >= 0.0 && d6 <= 0.0)
            return offsetDistance2(ap, ab, 0.0, ac, d2 / (d2 - d6));
        const double va = d3 * d6 - d5 * d4;
        if (va <= 0.0 && (d4 - d3) >= 0.0 && (d5 - d6) >= 0.0)
        {
            const double w = (d4 - d3) / ((d4 - d3) + (d5 - d6));
            return offsetDistance2(bp, ac, w, ab, -w);  // b + w (c - b), seen from p
        }
        const double denominator = 1.0 / (va + vb + vc);
        return offsetDistance2(ap, ab, vb * denominator, ac, vc * denominator);
    }

    // |from - (s u + t v)|^2: the squared distance from p to a + s u + t v when from = p - a.
    static double offsetDistance2(const double* from, const double* u, double s, const double* v,
                                  double t)
    {
        double sum = 0.0;
        for (int axis = 0; axis < 3; ++axis)
        {
            const double d = from[axis] - s * u[axis] - t * v[axis];
            sum += d * d;
        }
        return sum;
    }

    void quantisedLeaf(const ListingBoxes::Frame& frame, const std::uint8_t* bytes, const int* list,
                       int count)
    {
        ++leafSerial;
        // The whole leaf first: its frame box and its slab along the normal. The normal's
        // length differs from 1 by float rounding only, far inside the slack.
        const double point[3] = {p[0], p[1], p[2]};
        const double along = ListingBoxes::alongNormal(frame, point);
        const double slabGap =
            std::max(std::max(frame.slabLow - along, along - frame.slabHigh), 0.0);
        double relative[3], step[3];
        double frameSum = 0.0;
        for (int axis = 0; axis < 3; ++axis)
        {
            relative[axis] = point[axis] - frame.origin[axis];
            step[axis] = frame.step[axis];
            const double extent = ListingBoxes::decode(0.0f, frame.step[axis], 255);
            const double gap = std::max(std::max(-relative[axis], relative[axis] - extent), 0.0);
            frameSum += gap * gap;
        }
        if (frameSum > skip2 || slabGap * slabGap > skip2)
            return;
        if (bounds.size() < static_cast<std::size_t>(count))
            bounds.resize(static_cast<std::size_t>(count));
        double* bound = bounds.data();
        int first = 0;
        for (int k = 0; k < count; ++k, bytes += ListingBoxes::bytesPerListing)
        {
            double sum = 0.0;
            for (int axis = 0; axis < 3; ++axis)
            {
                const double gap = std::max(std::max(bytes[axis] * step[axis] - relative[axis],
                                                     relative[axis] - bytes[axis + 3] * step[axis]),
                                            0.0);
                sum += gap * gap;
            }
            bound[k] = sum;
            if (sum < bound[first])
                first = k;
        }
        if (count <= 0 || bound[first] > skip2)
            return;
        if (isTriangle(list[first]))
            visit(list[first], first);
        for (int k = 0; k < count; ++k)
            if (k != first && bound[k] <= skip2 && isTriangle(list[k]))
                visit(list[k], k);
    }

    void directLeaf(const int* list, int count)
    {
        ++leafSerial;
        for (int k = 0; k < count; ++k)
        {
            const int t = list[k];
            if (!isTriangle(t) ||
                triangleBoxDistance2(
                    TriangleBox(vertices, triangles + 3 * static_cast<long long>(t)), p) > skip2)
                continue;
            visit(t, k);
        }
    }
};
}  // namespace

double MeshClosestPoint::compute(const oxLinear::Point& p, MeshCoord* out)
{
    Context& context = *m_context;
    const int numTriangles = m_mesh.getNumTriangles();
    if (context.marks.size() != static_cast<std::size_t>(numTriangles > 0 ? numTriangles : 0))
        context.resetMarks(numTriangles);
    context.occupied.follow(m_octree, m_tris);
    context.boxes.follow(m_tris);

    Search search{m_mesh.getVerticesRaw(),
                  m_mesh.getTrianglesRaw(),
                  numTriangles,
                  context.marks.data(),
                  context.stamp,
                  p,
                  1e-7 * (m_scale + std::max({std::fabs(p[0]), std::fabs(p[1]), std::fabs(p[2])})),
                  out,
                  context.bounds};
    NearFirstWalk& walk = context.walk;
    walk.reset(m_octree, context.occupied.flags(), p, context.boxes.frames(),
               sizeof(ListingBoxes::Frame), m_tris.getData().getOffsets());
    int leaf = -1;
    while (walk.next(search.best2, leaf))
    {
        const int count = m_tris.numTris(leaf);
        const ListingBoxes::Frame& frame =
            context.boxes.frame(m_tris, leaf, search.vertices, search.triangles, numTriangles);
        if (frame.state == ListingBoxes::State::quantised)
            search.quantisedLeaf(frame, context.boxes.bytes(m_tris, leaf), m_tris.firstTri(leaf),
                                 count);
        else
            search.directLeaf(m_tris.firstTri(leaf), count);
    }
    context.advanceStamp();
    return std::sqrt(search.best2);
}
}  // namespace oxGeom

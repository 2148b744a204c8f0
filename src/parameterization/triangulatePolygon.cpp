// Ear-clipping triangulation of a simple 3-D polygon. The corners are projected on the plane
// of the polygon's vector area, which also fixes the winding, so ears are the strictly convex
// corners whose triangle holds no other corner; only reflex and straight corners can lie in an
// ear, so only they are tested. Based on: Meisters 1975 (two ears theorem); Newell's normal.

#include <oxGeom/triangulatePolygon.h>

#include <oxGeom/debugChannel.h>
#include <oxLinear/Tolerance.h>
#include <oxOS/StopWatch.h>

#include <algorithm>
#include <cmath>

namespace oxGeom
{
namespace
{
struct PlanePoint
{
    double x = 0.0;
    double y = 0.0;
};

// Twice the signed area of (a, b, c): positive when they turn counter-clockwise.
double orient(const PlanePoint& a, const PlanePoint& b, const PlanePoint& c)
{
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

enum class CornerKind
{
    Convex,
    Straight,
    Reflex
};

oxLinear::Point centroidOf(const ox::vector<oxLinear::Point>& polygon)
{
    double sum[3] = {0.0, 0.0, 0.0};
    for (const oxLinear::Point& p : polygon)
        for (int k = 0; k < 3; ++k)
            sum[k] += p[k];
    const double n = static_cast<double>(polygon.size());
    return oxLinear::Point(sum[0] / n, sum[1] / n, sum[2] / n);
}

// The vector area (Newell's normal), taken about the centroid so that far-off polygons do not
// lose their digits. When it vanishes (collinear corners, or areas that cancel) any direction
// perpendicular to the polygon's spread will do: the triangles then have no area to keep.
oxLinear::Vector planeNormalOf(const ox::vector<oxLinear::Point>& polygon,
                               const oxLinear::Point& centre)
{
    oxLinear::Vector normal;
    const std::size_t n = polygon.size();
    for (std::size_t i = 0; i < n; ++i)
        normal += oxLinear::cross(polygon[i] - centre, polygon[(i + 1) % n] - centre);
    double spread2 = 0.0;
    oxLinear::Vector spread;
    for (const oxLinear::Point& p : polygon)
        if ((p - polygon[0]).length2() > spread2)
        {
            spread = p - polygon[0];
            spread2 = spread.length2();
        }
    if (normal.length() > oxLinear::epsilonTol * spread2)
        return normal.normalized();
    return spread.orthogonalVector();
}

class EarClipper
{
public:
    EarClipper(const ox::vector<oxLinear::Point>& polygon, ox::vector<int>& indices,
               oxUtil::Progress& progress)
        : m_count(static_cast<int>(polygon.size())),
          m_points(polygon.size()),
          m_prev(polygon.size()),
          m_next(polygon.size()),
          m_kind(polygon.size()),
          m_indices(indices),
          m_progress(progress)
    {
        project(polygon);
        for (int i = 0; i < m_count; ++i)
        {
            m_prev[i] = (i + m_count - 1) % m_count;
            m_next[i] = (i + 1) % m_count;
        }
        for (int i = 0; i < m_count; ++i)
        {
            m_kind[i] = classify(i);
            if (m_kind[i] != CornerKind::Convex)
                m_blockers.push_back(i);
        }
    }

    CornerKind kindOf(int i) const { return m_kind[i]; }

    // Cuts ears until three corners are left. Returns false when cancelled.
    bool run()
    {
        const int total = m_count - 2;
        int remaining = m_count;
        int cursor = 0;
        int triesSinceEar = 0;
        while (remaining > 3)
        {
            if ((total - (remaining - 2)) % 64 == 0 && triesSinceEar == 0)
            {
                if (m_progress.cancelled())
                    return false;
                m_progress.set(static_cast<double>(total - (remaining - 2)) / total);
            }
            if (m_kind[cursor] == CornerKind::Convex && isEar(cursor))
            {
                cursor = clip(cursor);
                --remaining;
                triesSinceEar = 0;
                continue;
            }
            cursor = m_next[cursor];
            if (++triesSinceEar >= remaining)
            {
                // No clean ear in a whole round: the polygon is not simple in its plane (or
                // rounding hides its ears). Cutting the most convex corner still ends the walk.
                cursor = clip(mostConvexCorner(cursor, remaining));
                --remaining;
                triesSinceEar = 0;
            }
        }
        emit(m_prev[cursor], cursor, m_next[cursor]);
        m_progress.set(1.0);
        return true;
    }

private:
    void project(const ox::vector<oxLinear::Point>& polygon)
    {
        const oxLinear::Point centre = centroidOf(polygon);
        const oxLinear::Vector normal = planeNormalOf(polygon, centre);
        // u x v = normal, so a polygon winding counter-clockwise about its normal has positive
        // area in (u, v).
        const oxLinear::Vector u = normal.orthogonalVector();
        const oxLinear::Vector v = oxLinear::cross(normal, u);
        double extent = 0.0;
        for (int i = 0; i < m_count; ++i)
        {
            const oxLinear::Vector d = polygon[i] - centre;
            m_points[i].x = oxLinear::dot(d, u);
            m_points[i].y = oxLinear::dot(d, v);
            extent = std::max({extent, std::fabs(m_points[i].x), std::fabs(m_points[i].y)});
        }
        // Areas below this are rounding noise of the projection.
        m_areaTol = oxLinear::epsilonTol * extent * extent;
    }

    // Convex or reflex when the turn's sine clears parallelTol; straight otherwise, which
    // includes corners on a zero-length edge and turns back on the same line.
    CornerKind classify(int i) const
    {
        const PlanePoint& a = m_points[m_prev[i]];
        const PlanePoint& b = m_points[i];
        const PlanePoint& c = m_points[m_next[i]];
        const double lengths = std::hypot(b.x - a.x, b.y - a.y) * std::hypot(c.x - b.x, c.y - b.y);
        const double turn = orient(a, b, c);
        if (turn > oxLinear::parallelTol * lengths && turn > m_areaTol)
            return CornerKind::Convex;
        if (turn < -oxLinear::parallelTol * lengths && turn < -m_areaTol)
            return CornerKind::Reflex;
        return CornerKind::Straight;
    }

    bool insideOrOn(const PlanePoint& a, const PlanePoint& b, const PlanePoint& c,
                    const PlanePoint& p) const
    {
        return orient(a, b, p) >= -m_areaTol && orient(b, c, p) >= -m_areaTol &&
               orient(c, a, p) >= -m_areaTol;
    }

    // A corner touching the ear, even on its border, would leave the rest of the polygon
    // pinched or crossed, so touching blocks the ear too. Removed and since-convex corners are
    // dropped from the blocker list as they are met.
    bool isEar(int i)
    {
        const int before = m_prev[i];
        const int after = m_next[i];
        const PlanePoint& a = m_points[before];
        const PlanePoint& b = m_points[i];
        const PlanePoint& c = m_points[after];
        std::size_t kept = 0;
        bool blocked = false;
        for (std::size_t k = 0; k < m_blockers.size(); ++k)
        {
            const int j = m_blockers[k];
            if (isRemoved(j) || m_kind[j] == CornerKind::Convex)
                continue;
            m_blockers[kept++] = j;
            if (!blocked && j != before && j != after && j != i && insideOrOn(a, b, c, m_points[j]))
                blocked = true;
        }
        m_blockers.resize(kept);
        return !blocked;
    }

    int mostConvexCorner(int start, int remaining) const
    {
        int best = start;
        double bestSine = -2.0;
        for (int k = 0, i = start; k < remaining; ++k, i = m_next[i])
        {
            const PlanePoint& a = m_points[m_prev[i]];
            const PlanePoint& b = m_points[i];
            const PlanePoint& c = m_points[m_next[i]];
            const double lengths =
                std::hypot(b.x - a.x, b.y - a.y) * std::hypot(c.x - b.x, c.y - b.y);
            const double sine = lengths > 0.0 ? orient(a, b, c) / lengths : 0.0;
            if (sine > bestSine)
            {
                bestSine = sine;
                best = i;
            }
        }
        return best;
    }

    // Emits the ear at i, unlinks i and reclassifies its neighbours; returns the corner after i.
    int clip(int i)
    {
        const int before = m_prev[i];
        const int after = m_next[i];
        emit(before, i, after);
        m_next[before] = after;
        m_prev[after] = before;
        m_prev[i] = m_next[i] = -1;
        m_kind[before] = classify(before);
        m_kind[after] = classify(after);
        return after;
    }

    bool isRemoved(int i) const { return m_next[i] < 0; }

    void emit(int a, int b, int c)
    {
        m_indices.push_back(a);
        m_indices.push_back(b);
        m_indices.push_back(c);
    }

    int m_count;
    ox::vector<PlanePoint> m_points;
    ox::vector<int> m_prev;
    ox::vector<int> m_next;
    ox::vector<CornerKind> m_kind;
    ox::vector<int> m_blockers;  // corners that were reflex or straight when last looked at
    double m_areaTol = 0.0;
    ox::vector<int>& m_indices;
    oxUtil::Progress& m_progress;
};
}  // namespace

bool triangulatePolygon(const ox::vector<oxLinear::Point>& polygon, ox::vector<int>& indices,
                        BitVector& reflex, oxUtil::Progress& progress)
{
    oxOS::StopWatch watch;
    watch.start();
    const int n = static_cast<int>(polygon.size());
    indices.clear();
    reflex.resize(n);
    reflex.clearBits();
    if (n < 3)
    {
        debugChannel().print("triangulatePolygon: %d vertices, 0 triangles: %f s\n", n,
                             watch.stop());
        return false;
    }
    indices.reserve(3 * static_cast<std::size_t>(n - 2));
    EarClipper clipper(polygon, indices, progress);
    for (int i = 0; i < n; ++i)
        if (clipper.kindOf(i) == CornerKind::Reflex)
            reflex.setBit(i);
    const bool done = clipper.run();
    if (!done)
        indices.clear();
    debugChannel().print("triangulatePolygon: %d vertices, %d triangles: %f s\n", n,
                         static_cast<int>(indices.size() / 3), watch.stop());
    return done;
}

bool triangulatePolygon(const ox::vector<oxLinear::Point>& polygon, ox::vector<int>& indices)
{
    BitVector reflex;
    oxUtil::Progress progress;
    return triangulatePolygon(polygon, indices, reflex, progress);
}
}  // namespace oxGeom

// meshCompact: welds exactly equal vertices. Sorting one array of vertex indices
// by the key (two-way parallel sort) and walking it once numbers the runs of equal
// keys; each channel then moves through one scratch array, each index via the map.

#include <oxGeom/meshCompact.h>

#include <oxGeom/MeshModification.h>
#include <oxGeom/debugChannel.h>
#include <oxOS/StopWatch.h>
#include <oxUtil/SMPSort.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <vector>

namespace oxGeom
{
namespace
{
// -1, 0 or 1 by the first of `Count` components that differs, each widened to
// double; an equal or unordered (NaN) pair passes the decision to the next one.
template <int Count>
int compareComponents(const float* a, const float* b)
{
    for (int k = 0; k < Count; ++k)
    {
        const double x = a[k];
        const double y = b[k];
        if (x < y)
            return -1;
        if (x > y)
            return 1;
    }
    return 0;
}

// Floating-point == on every component; a NaN makes the pair unequal.
template <int Count>
bool componentsEqual(const float* a, const float* b)
{
    for (int k = 0; k < Count; ++k)
        if (!(a[k] == b[k]))
            return false;
    return true;
}

template <int Count>
bool anyNaN(const float* a)
{
    for (int k = 0; k < Count; ++k)
        if (a[k] != a[k])
            return true;
    return false;
}

// The three vertex keys. Each is a strict less-than over vertex indices for the
// sort, plus the == test of the run walk and the NaN screen over the same
// components (x, y, z[, nx, ny, nz[, u, v]]).
class VertexCompare
{
public:
    explicit VertexCompare(const float* positions) : m_positions(positions) {}

    bool operator()(int a, int b) const
    {
        return compareComponents<3>(position(a), position(b)) < 0;
    }
    bool equal(int a, int b) const { return componentsEqual<3>(position(a), position(b)); }
    bool hasNaN(int a) const { return anyNaN<3>(position(a)); }

private:
    const float* position(int i) const { return m_positions + 3 * std::ptrdiff_t(i); }

    const float* m_positions;
};

class VertexNormalCompare
{
public:
    VertexNormalCompare(const float* positions, const float* normals)
        : m_positions(positions), m_normals(normals)
    {
    }

    bool operator()(int a, int b) const
    {
        const int byPosition = compareComponents<3>(position(a), position(b));
        if (byPosition != 0)
            return byPosition < 0;
        return compareComponents<3>(normal(a), normal(b)) < 0;
    }
    bool equal(int a, int b) const
    {
        return componentsEqual<3>(position(a), position(b)) &&
               componentsEqual<3>(normal(a), normal(b));
    }
    bool hasNaN(int a) const { return anyNaN<3>(position(a)) || anyNaN<3>(normal(a)); }

private:
    const float* position(int i) const { return m_positions + 3 * std::ptrdiff_t(i); }
    const float* normal(int i) const { return m_normals + 3 * std::ptrdiff_t(i); }

    const float* m_positions;
    const float* m_normals;
};

class VertexNormalUVCompare
{
public:
    VertexNormalUVCompare(const float* positions, const float* normals, const float* uvs)
        : m_positions(positions), m_normals(normals), m_uvs(uvs)
    {
    }

    int compare(int a, int b) const
    {
        int order = compareComponents<3>(position(a), position(b));
        if (order == 0)
            order = compareComponents<3>(normal(a), normal(b));
        if (order == 0)
            order = compareComponents<2>(uv(a), uv(b));
        return order;
    }
    bool operator()(int a, int b) const { return compare(a, b) < 0; }
    bool equal(int a, int b) const
    {
        return componentsEqual<3>(position(a), position(b)) &&
               componentsEqual<3>(normal(a), normal(b)) && componentsEqual<2>(uv(a), uv(b));
    }
    bool hasNaN(int a) const
    {
        return anyNaN<3>(position(a)) || anyNaN<3>(normal(a)) || anyNaN<2>(uv(a));
    }

private:
    const float* position(int i) const { return m_positions + 3 * std::ptrdiff_t(i); }
    const float* normal(int i) const { return m_normals + 3 * std::ptrdiff_t(i); }
    const float* uv(int i) const { return m_uvs + 2 * std::ptrdiff_t(i); }

    const float* m_positions;
    const float* m_normals;
    const float* m_uvs;
};

// The arrays that take part in the weld: normals only when they were supplied
// (computed normals never keep vertices apart), UVs only together with them.
struct WeldKey
{
    const float* positions;
    const float* normals;  // null: positions only
    const float* uvs;      // null: no UVs in the key
};

WeldKey weldKeyOf(const CompactMesh& mesh)
{
    WeldKey key{mesh.getVerticesRaw(), nullptr, nullptr};
    if (mesh.getNormalsRaw() && !mesh.getNormalsComputed())
    {
        key.normals = mesh.getNormalsRaw();
        key.uvs = mesh.getUVsRaw();
    }
    return key;
}

// Fills `order` with 0 .. n-1, those with a NaN in the key moved to the end
// (in ascending index order); returns how many come before them.
// A NaN compares as a tie with everything, which is no strict weak order: left
// in the sort it could keep equal vertices apart and make the result depend on
// the thread count. Outside the sort such vertices only end up last, and the
// walk never welds them since == fails on NaN.
template <class Compare>
int orderNaNLast(const Compare& compare, int* order, int n)
{
    std::vector<int> withNaN;
    int sortable = 0;
    for (int i = 0; i < n; ++i)
    {
        if (compare.hasNaN(i))
            withNaN.push_back(i);
        else
            order[sortable++] = i;
    }
    std::copy(withNaN.begin(), withNaN.end(), order + sortable);
    return sortable;
}

template <class Compare>
void sortByKey(const Compare& compare, int* order, int n)
{
    const int sortable = orderNaNLast(compare, order, n);
    oxUtil::smpSort(order, order + sortable, compare);
}

void sortByKey(const WeldKey& key, int* order, int n)
{
    if (!key.normals)
        sortByKey(VertexCompare(key.positions), order, n);
    else if (!key.uvs)
        sortByKey(VertexNormalCompare(key.positions, key.normals), order, n);
    else
        sortByKey(VertexNormalUVCompare(key.positions, key.normals, key.uvs), order, n);
}

// Walks the sorted order and gives each run of equal keys one new index, in
// sorted order; returns the number of runs. Each entry is compared with the
// first member of its run: a welded entry is overwritten by its predecessor,
// which already holds that first member.
template <class Compare>
int numberRuns(const Compare& compare, int* order, int n, int* newIndex)
{
    if (n == 0)
        return 0;
    newIndex[order[0]] = 0;
    int count = 1;
    for (int i = 1; i < n; ++i)
    {
        const int a = order[i];
        const int b = order[i - 1];
        if (compare.equal(a, b))
        {
            newIndex[a] = count - 1;
            order[i] = b;
        }
        else
        {
            newIndex[a] = count++;
        }
    }
    return count;
}

int numberRuns(const WeldKey& key, int* order, int n, int* newIndex)
{
    if (!key.normals)
        return numberRuns(VertexCompare(key.positions), order, n, newIndex);
    if (!key.uvs)
        return numberRuns(VertexNormalCompare(key.positions, key.normals), order, n, newIndex);
    return numberRuns(VertexNormalUVCompare(key.positions, key.normals, key.uvs), order, n,
                      newIndex);
}

// Moves element i of `values` (Components floats each, n elements) to slot
// newIndex[i], through one scratch array and one bulk copy back. Ascending i
// means the highest old index of a welded group is written last and its bits
// survive. Only the `count` new slots are copied back: the rest of the array
// is cut off by the vertex resize that follows.
template <int Components>
void moveToNewSlots(float* values, const int* newIndex, int n, int count)
{
    const std::size_t elementBytes = sizeof(float) * Components;
    std::unique_ptr<float[]> scratch(new float[std::size_t(count) * Components]);
    for (int i = 0; i < n; ++i)
        std::memcpy(scratch.get() + std::size_t(newIndex[i]) * Components,
                    values + std::size_t(i) * Components, elementBytes);
    std::memcpy(values, scratch.get(), elementBytes * std::size_t(count));
}

// Writes the weld into the mesh (count < n new vertices) and announces it.
void applyWeld(CompactMesh& mesh, const WeldKey& key, Remap& vertexMap, int count,
               oxOS::StopWatch& watch)
{
    const int n = mesh.getNumVertices();
    const int* newIndex = vertexMap.getData();
    vertexMap.setRangeSize(count);
    MeshRemap remap(&vertexMap, nullptr);
    MeshModification modification(&mesh, MeshModification::Topology, &remap);

    moveToNewSlots<3>(mesh.getVerticesRaw(), newIndex, n, count);
    debugChannel().print("  remapped vertices: %f s\n", watch.clear());
    if (key.normals)
    {
        moveToNewSlots<3>(mesh.getNormalsRaw(), newIndex, n, count);
        modification.normalsModified();
        debugChannel().print("  remapped normals: %f s\n", watch.clear());
    }
    if (mesh.getUVsRaw())
    {
        moveToNewSlots<2>(mesh.getUVsRaw(), newIndex, n, count);
        modification.uvsModified();
    }
    if (mesh.getNumTriStrips() > 0)
    {
        vertexMap(mesh.getTriStripPoints(), mesh.getNumTriStripPoints());
        modification.stripsAndFansModified();
    }
    if (mesh.getNumTriFans() > 0)
    {
        vertexMap(mesh.getTriFanPoints(), mesh.getNumTriFanPoints());
        modification.stripsAndFansModified();
    }
    mesh.resizeVertexArray(count);
    // Degenerate triangles stay; no position changed, so triangle normals hold.
    vertexMap(mesh.getTrianglesRaw(), 3 * mesh.getNumTriangles());
    modification.triangleNormalsValid();
    mesh.modified(modification);
    debugChannel().print("  remapped triangles: %f s\n", watch.clear());
}
}  // namespace

void meshCompact(CompactMesh& mesh, oxUtil::Progress& progress, Remap& vertexMap)
{
    const int n = mesh.getNumVertices();
    debugChannel().print("meshCompact: %d vertices, %d triangles\n", n, mesh.getNumTriangles());
    oxOS::StopWatch watch;
    watch.start();

    const WeldKey key = weldKeyOf(mesh);
    std::unique_ptr<int[]> order(new int[std::size_t(n)]);
    vertexMap.resize(n, n);

    oxUtil::Progress phase;
    progress.subPhase(0.8, phase);
    sortByKey(key, order.get(), n);
    phase.set(1.0);
    debugChannel().print("  sorted vertices: %f s\n", watch.clear());

    progress.subPhase(0.2, phase);
    const int count = numberRuns(key, order.get(), n, vertexMap.getData());
    phase.set(1.0);
    debugChannel().print("  initialized remap: %f s\n", watch.clear());
    order.reset();

    // Nothing welded (this includes the empty mesh): the mesh stays as it is.
    if (count == n)
    {
        vertexMap.setSequential();
        return;
    }
    applyWeld(mesh, key, vertexMap, count, watch);
}

void meshCompact(CompactMesh& mesh, oxUtil::Progress& progress)
{
    Remap vertexMap;
    meshCompact(mesh, progress, vertexMap);
}
}  // namespace oxGeom

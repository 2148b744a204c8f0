// Welding of a destination mesh and placed source meshes into one mesh. One k-d
// tree over the merged positions finds, for each placed vertex, a stored vertex
// inside its tolerance box, so a vertex is only ever compared with its near
// neighbours; vertices are inserted in 100 interleaved passes so that the first
// vertices stored are spread over the whole mesh rather than along its first rows.

#include <oxGeom/MeshMerge.h>

#include <oxGeom/KDTree.h>
#include <oxGeom/MeshModification.h>
#include <oxGeom/debugChannel.h>
#include <oxLinear/AffineMatrix.h>
#include <oxLinear/Tolerance.h>
#include <oxOS/StopWatch.h>

#include <cmath>
#include <list>
#include <vector>

namespace oxGeom
{
namespace
{
constexpr int insertPasses = 100;
// Shares of the vertex work: inserting (with its search) weighs three fifths,
// remapping two fifths.
constexpr double insertShare = 3.0 / 5.0;
constexpr double remapShare = 2.0 / 5.0;

// One mesh taking part in the merge, as it is when the merge starts.
struct MergeInput
{
    const CompactMesh* mesh = nullptr;
    int numVertices = 0;
    int numTriangles = 0;
    bool transform = false;  // false: the stored coordinates are used as they are
    double matrix[4][3] = {};

    MergeInput(const CompactMesh* m, const oxLinear::AffineMatrixFlt& placement) : mesh(m)
    {
        if (!mesh)
            return;
        numVertices = mesh->getNumVertices();
        numTriangles = mesh->getNumTriangles();
        transform = !oxLinear::equivalent(placement, oxLinear::AffineMatrixFlt(1.0f),
                                          oxLinear::epsilonTolFlt);
        for (int row = 0; row < 4; ++row)
            for (int column = 0; column < 3; ++column)
                matrix[row][column] = placement[row][column];
    }

    // p * M with every sum formed in double, the same arithmetic as meshTransform.
    void place(const float* p, float q[3]) const
    {
        if (!transform)
        {
            q[0] = p[0];
            q[1] = p[1];
            q[2] = p[2];
            return;
        }
        const double x = p[0], y = p[1], z = p[2];
        for (int c = 0; c < 3; ++c)
            q[c] = static_cast<float>(x * matrix[0][c] + y * matrix[1][c] + z * matrix[2][c] +
                                      matrix[3][c]);
    }
};

float sanitizedTolerance(float tolerance)
{
    return tolerance >= 0.0f ? tolerance : 0.0f;  // NaN and negative weld equal points only
}

// A triangle corner through its mesh's vertex map; a corner outside the mesh's
// vertex range maps to 0 like a vertex whose search missed.
int mapCorner(const std::vector<int>& map, int corner)
{
    return corner >= 0 && corner < static_cast<int>(map.size()) ? map[corner] : 0;
}
}  // namespace

class MeshMergeImpl
{
public:
    MeshMergeImpl(CompactMesh& destination, const ox::list<MeshPlacement>& sources, float tolerance)
        : m_destination(destination), m_sources(sources), m_tolerance(sanitizedTolerance(tolerance))
    {
        takeInputs();
    }

    void merge(oxUtil::Progress& progress);

private:
    void takeInputs();
    void mergeVertices(oxUtil::Progress& progress);
    void insertMesh(const MergeInput& input, oxUtil::Progress& phase);
    void remapMesh(const MergeInput& input, oxUtil::Progress& phase);
    void mergeTriangles();
    void renumberDestinationPrimitives(MeshModification& modification);
    void toleranceBox(const float q[3], BoundingBox& box) const
    {
        for (int a = 0; a < 3; ++a)
        {
            box[a] = q[a] - m_tolerance;
            box[a + 3] = q[a] + m_tolerance;
        }
    }

    CompactMesh& m_destination;
    const ox::list<MeshPlacement>& m_sources;
    float m_tolerance;
    int m_totalVertices = 0;
    int m_totalTriangles = 0;
    std::vector<MergeInput> m_inputs;  // the destination first, then the sources in list order
    std::list<std::vector<int>> m_vertexMaps;  // one per input, in input order

    // State of the vertex merge: the merged positions and the tree over them.
    std::vector<float> m_positions;
    KDTree m_tree;
    int m_mergedCount = 0;
};

void MeshMergeImpl::takeInputs()
{
    m_inputs.clear();
    m_inputs.emplace_back(&m_destination, oxLinear::AffineMatrixFlt(1.0f));
    for (const MeshPlacement& placement : m_sources)
        m_inputs.emplace_back(placement.mesh, placement.matrix);
    m_totalVertices = 0;
    m_totalTriangles = 0;
    for (const MergeInput& input : m_inputs)
    {
        m_totalVertices += input.numVertices;
        m_totalTriangles += input.numTriangles;
    }
}

void MeshMergeImpl::merge(oxUtil::Progress& progress)
{
    debugChannel().print("MeshMerge:  %d source meshes\n", static_cast<int>(m_sources.size()));
    oxOS::StopWatch watch;
    watch.start();
    takeInputs();

    mergeVertices(progress);
    debugChannel().print("  mergeVertices: %f s\n", watch.clear());

    m_destination.resizeTriangleArray(m_totalTriangles);
    mergeTriangles();
    debugChannel().print("  mergeTriangles: %f s\n", watch.clear());

    MeshModification modification(&m_destination, MeshModification::Topology, nullptr);
    renumberDestinationPrimitives(modification);
    m_vertexMaps.clear();
    m_destination.modified(modification);
}

void MeshMergeImpl::mergeVertices(oxUtil::Progress& progress)
{
    const int total = m_totalVertices;
    m_tree = KDTree(total);
    m_positions.assign(3 * static_cast<std::size_t>(total), 0.0f);
    m_mergedCount = 0;
    const double insertWeight = total > 0 ? insertShare / total : 0.0;
    const double remapWeight = total > 0 ? remapShare / total : 0.0;

    oxOS::StopWatch watch;
    watch.start();
    for (std::size_t i = 0; i < m_inputs.size(); ++i)
    {
        oxUtil::Progress phase;
        progress.subPhase(m_inputs[i].numVertices * insertWeight, phase);
        insertMesh(m_inputs[i], phase);
        debugChannel().print(i == 0 ? "    mergeVertices: inserted dest: %g s\n"
                                    : "    mergeVertices:  insert a src: %g s\n",
                             watch.clear());
    }
    for (std::size_t i = 0; i < m_inputs.size(); ++i)
    {
        oxUtil::Progress phase;
        progress.subPhase(m_inputs[i].numVertices * remapWeight, phase);
        remapMesh(m_inputs[i], phase);
        debugChannel().print(i == 0 ? "    mergeVertices:  remapped dest: %g s\n"
                                    : "    mergeVertices:  remapped a src: %g s\n",
                             watch.clear());
    }

    m_destination.copyVertices(m_mergedCount, m_positions.data());
    m_tree = KDTree();
    std::vector<float>().swap(m_positions);
}

// Stores each placed vertex that finds no stored vertex in its tolerance box.
// The vertices are taken in passes p = 0 .. 99 over p, p + 100, p + 200, ...:
// a mesh's vertex order usually follows its surface, and taking every hundredth
// vertex first spreads the representatives (and the tree's early splits) over
// the whole mesh.
void MeshMergeImpl::insertMesh(const MergeInput& input, oxUtil::Progress& phase)
{
    const int n = input.numVertices;
    const float* vertices = n > 0 ? input.mesh->getVerticesRaw() : nullptr;
    BoundingBox box;
    for (int pass = 0; pass < insertPasses; ++pass)
    {
        for (int i = pass; i < n; i += insertPasses)
        {
            float* q = &m_positions[3 * static_cast<std::size_t>(m_mergedCount)];
            input.place(vertices + 3 * static_cast<std::size_t>(i), q);
            toleranceBox(q, box);
            if (m_tree.search(m_positions.data(), box) < 0)
            {
                m_tree.insert(m_positions.data(), m_mergedCount);
                ++m_mergedCount;
            }
        }
        phase.set(static_cast<double>(pass + 1) / insertPasses);
    }
}

// Maps every vertex, in index order, to the stored vertex its box finds. The
// search returns the smallest stored index in the box, so this is the vertex
// the insertion pass welded it to (or stored it as). A miss, which only a NaN
// coordinate can cause, maps to vertex 0.
void MeshMergeImpl::remapMesh(const MergeInput& input, oxUtil::Progress& phase)
{
    const int n = input.numVertices;
    m_vertexMaps.emplace_back(static_cast<std::size_t>(n));
    std::vector<int>& map = m_vertexMaps.back();
    const float* vertices = n > 0 ? input.mesh->getVerticesRaw() : nullptr;
    const int step = n / 100;
    BoundingBox box;
    for (int i = 0; i < n; ++i)
    {
        float q[3];
        input.place(vertices + 3 * static_cast<std::size_t>(i), q);
        toleranceBox(q, box);
        const int found = m_tree.search(m_positions.data(), box);
        map[i] = found >= 0 ? found : 0;
        if (step != 0 && (i + 1) % step == 0)
            phase.set(static_cast<double>(i + 1) / n);
    }
}

// The destination's triangles keep the front of the array and the sources'
// follow in list order. The sources are copied first and the destination's
// triangles renumbered in place last, so that a source that is the destination
// itself still reads its original corners.
void MeshMergeImpl::mergeTriangles()
{
    int* out = m_destination.getTrianglesRaw();
    auto map = m_vertexMaps.begin();
    std::size_t offset = 3 * static_cast<std::size_t>(m_inputs[0].numTriangles);
    for (std::size_t i = 1; i < m_inputs.size(); ++i)
    {
        ++map;
        const MergeInput& input = m_inputs[i];
        const int* in = input.numTriangles > 0 ? input.mesh->getTrianglesRaw() : nullptr;
        const std::size_t corners = 3 * static_cast<std::size_t>(input.numTriangles);
        for (std::size_t c = 0; c < corners; ++c)
            out[offset + c] = mapCorner(*map, in[c]);
        offset += corners;
    }
    const std::vector<int>& destinationMap = m_vertexMaps.front();
    const std::size_t corners = 3 * static_cast<std::size_t>(m_inputs[0].numTriangles);
    for (std::size_t c = 0; c < corners; ++c)
        out[c] = mapCorner(destinationMap, out[c]);
}

// The destination's strips, fans, lines and line strips index its vertices as
// well; they follow the renumbering, so they keep naming the same positions and
// never point past the welded vertex array.
void MeshMergeImpl::renumberDestinationPrimitives(MeshModification& modification)
{
    const std::vector<int>& map = m_vertexMaps.front();
    auto renumber = [&map](int* indices, int count)
    {
        for (int i = 0; i < count; ++i)
            indices[i] = mapCorner(map, indices[i]);
        return count > 0;
    };
    CompactMesh& mesh = m_destination;
    const bool strips = renumber(mesh.getTriStripPoints(), mesh.getNumTriStripPoints());
    const bool fans = renumber(mesh.getTriFanPoints(), mesh.getNumTriFanPoints());
    if (strips || fans)
        modification.stripsAndFansModified();
    if (renumber(reinterpret_cast<int*>(mesh.getLines()), 2 * mesh.getNumLines()))
        modification.linesModified();
    if (renumber(mesh.getLineStripPoints(), mesh.getNumLineStripPoints()))
        modification.lineStripsModified();
}

MeshMerge::MeshMerge(CompactMesh& destination, const ox::list<MeshPlacement>& sources,
                     float tolerance)
    : m_impl(new MeshMergeImpl(destination, sources, tolerance))
{
}

MeshMerge::~MeshMerge() = default;

void MeshMerge::merge(oxUtil::Progress& progress)
{
    m_impl->merge(progress);
}
}  // namespace oxGeom

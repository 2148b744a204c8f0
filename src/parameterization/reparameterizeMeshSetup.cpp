// Disk parameterization, the solve: each free vertex's two rows of the conformal system are
// assembled from its triangles (and the triangles closing inner holes), then the system is
// solved by preconditioned conjugate gradients from the projected positions. Cotangent
// weights give the Dirichlet part, the +-1 terms the signed area, which cancels inside and
// survives only along the boundary. Based on: Lévy et al. 2002; Desbrun, Meyer, Alliez 2002.

#include <oxGeom/reparameterizeMesh.h>

#include <oxGeom/ConjugateGradient.h>
#include <oxLinear/Tolerance.h>
#include <oxOS/AppOutput.h>

#include <cmath>

namespace oxGeom
{
namespace
{
// Progress and cancellation are polled every this many vertices during assembly and
// read-back: often enough to stay responsive, rarely enough to cost nothing beside the work.
constexpr int vertexPollInterval = 64;
}  // namespace

int reparameterizeMesh::freeIndexOf(int vertex) const
{
    return static_cast<unsigned>(vertex) < m_freeIndex.size() ? m_freeIndex[vertex] : -1;
}

void reparameterizeMesh::indexHoleTriangles(const ox::vector<triIndices>& holeTriangles)
{
    const int numVertices = m_copy.getNumVertices();
    m_holeStarts.assign(static_cast<std::size_t>(numVertices) + 1, 0);
    for (const triIndices& t : holeTriangles)
        for (int v : t.vertices)
            if (static_cast<unsigned>(v) < static_cast<unsigned>(numVertices))
                ++m_holeStarts[v + 1];
    for (int v = 0; v < numVertices; ++v)
        m_holeStarts[v + 1] += m_holeStarts[v];
    m_holeTriangles.assign(static_cast<std::size_t>(m_holeStarts[numVertices]), 0);
    ox::vector<int> fill(m_holeStarts.begin(), m_holeStarts.end() - 1);
    for (std::size_t t = 0; t < holeTriangles.size(); ++t)
        for (int v : holeTriangles[t].vertices)
            if (static_cast<unsigned>(v) < static_cast<unsigned>(numVertices))
                m_holeTriangles[fill[v]++] = static_cast<int>(t);
}

void reparameterizeMesh::doCG(ox::vector<oxLinear::Point2>& uvs, const int& pinned0,
                              const int& pinned1, ox::vector<oxLinear::Point>& points,
                              FreeIndexMap& map, ox::vector<triIndices>& holeTriangles,
                              oxUtil::Progress& progress)
{
    const int numVertices = m_copy.getNumVertices();
    const int n = 2 * numVertices - 4;
    NVector b(n), x0(n);
    ConjugateGradient cg(n);
    const ox::Reference<MeshAdjTris> adj = m_cache.getAdjTris(m_copy);
    indexHoleTriangles(holeTriangles);

    {
        oxUtil::Progress assembly;
        progress.subPhase(0.1, assembly);
        for (int i = 0; i < numVertices; ++i)
        {
            if (i % vertexPollInterval == 0)
            {
                assembly.set(static_cast<double>(i) / numVertices);
                if (assembly.cancelled())
                    return;
            }
            if (i == pinned0 || i == pinned1)
                continue;
            const int f = freeIndexOf(i);
            x0[2 * f] = points[i].x();
            x0[2 * f + 1] = points[i].y();
            setupVertexCG(*adj, cg, b, i, map, points, holeTriangles);
        }
        assembly.set(1.0);
    }

    {
        oxUtil::Progress solve;
        progress.subPhase(0.8, solve);
        if (cg.A().isMMatrix())
            cg.initIncompleteCholeskyPreconditioner();
        else
            cg.initDiagonalPreconditioner();
        cg.initialize(b, x0);
        for (int it = 0; it < n; ++it)
        {
            if (solve.cancelled())
                return;
            if (it % 100 == 0)
                solve.set(static_cast<double>(it) / n);
            if (n > 100 && it % (n / 20) == 0)
                m_output->info("Parameterization %5.1f%% complete\n",
                               static_cast<float>(it) / static_cast<float>(n) * 90.0f + 5.0f);
            const ConjugateGradient::Status status =
                cg.iterate(oxLinear::epsilonTol, oxLinear::epsilonTol);
            if (status.isDone())
            {
                // A breakdown (codes 3, 4, -1) is reported and the current x used: it is the
                // best point reached along directions the matrix still tells apart.
                m_output->info("Parameterization: CG finished, code = %d\n",
                               static_cast<int>(status.code()));
                solve.set(1.0);
                break;
            }
        }
    }

    oxUtil::Progress readBack;
    progress.subPhase(0.1, readBack);
    const NVector& x = cg.x();
    uvs.reserve(uvs.size() + static_cast<std::size_t>(numVertices));
    for (int i = 0; i < numVertices; ++i)
    {
        if (i % vertexPollInterval == 0)
        {
            readBack.set(static_cast<double>(i) / numVertices);
            if (readBack.cancelled())
                return;
        }
        const int f = freeIndexOf(i);
        if (f < 0)
            uvs.emplace_back(points[i].x(), points[i].y());
        else
            uvs.emplace_back(x[2 * f], x[2 * f + 1]);
    }
    readBack.set(1.0);
}

void reparameterizeMesh::addToRow(ox::vector<SparseElement>& row, int column, double value)
{
    for (auto entry = row.rbegin(); entry != row.rend(); ++entry)
        if (entry->column == column)
        {
            entry->value += value;
            return;
        }
    row.emplace_back(column, value);
}

// Writes the row without the entries that summed to exactly zero. Inside the mesh every +-1
// coupling term meets its opposite from the neighbouring triangle, so about half of a row
// would otherwise be stored zeros that each solver step multiplies for nothing. The other
// entries keep their order, so every product, and the solve, is the same to the last bit.
// (Only the incomplete Cholesky factor, which small systems without a border edge between
// free vertices get, sees the difference: its pattern is the stored entries'.)
void reparameterizeMesh::writeRow(ox::vector<SparseElement>& row, SparseMatrix& matrix, int index)
{
    for (const SparseElement& entry : row)
        if (entry.value != 0.0)
            matrix.addToElement(index, entry.column, entry.value);
    row.clear();
}

void reparameterizeMesh::setupVertexCG(const MeshAdjTris& adj, ConjugateGradient& cg, NVector& b,
                                       int vertex, FreeIndexMap& map,
                                       const ox::vector<oxLinear::Point>& points,
                                       ox::vector<triIndices>& holeTriangles)
{
    (void)map;  // looked up through its flat copy m_freeIndex, built alongside it
    const int fi = freeIndexOf(vertex);
    const int* corners = m_copy.getTrianglesRaw();
    const int* around = adj.triIndices(vertex);
    for (int a = 0; a < adj.numTris(vertex); ++a)
    {
        const int* t = corners + 3 * around[a];
        const int k = t[0] == vertex ? 0 : (t[1] == vertex ? 1 : 2);
        const int j = t[(k + 1) % 3], other = t[(k + 2) % 3];
        setupTriangle(cg, b, fi, freeIndexOf(j), freeIndexOf(other), points[vertex], points[j],
                      points[other]);
    }
    for (int h = m_holeStarts[vertex]; h < m_holeStarts[vertex + 1]; ++h)
    {
        const triIndices& t = holeTriangles[m_holeTriangles[h]];
        const int k = t.vertices[0] == vertex ? 0 : (t.vertices[1] == vertex ? 1 : 2);
        const int j = (k + 1) % 3, other = (k + 2) % 3;
        setupTriangle(cg, b, t.free[k], t.free[j], t.free[other], points[vertex],
                      points[t.vertices[j]], points[t.vertices[other]]);
    }
    // A vertex on no triangle with area has empty rows, which would make the system singular
    // and poison every unknown: it keeps its projected position instead.
    if (m_rowU.empty())
    {
        addToRow(m_rowU, 2 * fi, 1.0);
        addToRow(m_rowV, 2 * fi + 1, 1.0);
        b[2 * fi] = points[vertex].x();
        b[2 * fi + 1] = points[vertex].y();
    }
    writeRow(m_rowU, cg.A(), 2 * fi);
    writeRow(m_rowV, cg.A(), 2 * fi + 1);
}

// Adds one triangle's terms to the rows of free vertex i held in m_rowU / m_rowV, which
// setupVertexCG writes into cg's matrix once the vertex is complete.
void reparameterizeMesh::setupTriangle(ConjugateGradient& cg, NVector& b, const int& i,
                                       const int& j, const int& k, const oxLinear::Point& Pi,
                                       const oxLinear::Point& Pj, const oxLinear::Point& Pk)
{
    (void)cg;
    const oxLinear::Vector cK = oxLinear::cross(Pi - Pk, Pj - Pk);
    const oxLinear::Vector cJ = oxLinear::cross(Pi - Pj, Pk - Pj);
    const double areaK = cK.length(), areaJ = cJ.length();
    if (std::fabs(areaJ) < oxLinear::epsilonTol || std::fabs(areaK) < oxLinear::epsilonTol)
        return;
    // Cotangents of the angles at k and at j.
    const double wK = oxLinear::dot(Pi - Pk, Pj - Pk) / areaK;
    const double wJ = oxLinear::dot(Pi - Pj, Pk - Pj) / areaJ;
    const int u = 2 * i, v = 2 * i + 1;
    addToRow(m_rowU, u, wJ + wK);
    addToRow(m_rowV, v, wJ + wK);
    if (j >= 0)
    {
        if (std::fabs(wK) >= oxLinear::epsilonTol)
        {
            addToRow(m_rowU, 2 * j, -wK);
            addToRow(m_rowV, 2 * j + 1, -wK);
        }
        addToRow(m_rowU, 2 * j + 1, -1.0);
        addToRow(m_rowV, 2 * j, 1.0);
    }
    else
    {
        b[u] += Pj.x() * wK + Pj.y();
        b[v] += Pj.y() * wK - Pj.x();
    }
    if (k >= 0)
    {
        if (std::fabs(wJ) >= oxLinear::epsilonTol)
        {
            addToRow(m_rowU, 2 * k, -wJ);
            addToRow(m_rowV, 2 * k + 1, -wJ);
        }
        addToRow(m_rowU, 2 * k + 1, 1.0);
        addToRow(m_rowV, 2 * k, -1.0);
    }
    else
    {
        b[u] += Pk.x() * wJ - Pk.y();
        b[v] += wJ * Pk.y() + Pk.x();
    }
}
}  // namespace oxGeom

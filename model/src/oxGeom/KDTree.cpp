// A scapegoat k-d tree of point indices: plain insertion down to a leaf, and a
// median rebuild of the smallest unbalanced subtree whenever a leaf lands deeper
// than log base 1/alpha of the size, so any insertion order keeps searches
// logarithmic. Based on: Bentley 1975 (k-d trees); Galperin and Rivest 1993
// (scapegoat trees).

#include <oxGeom/KDTree.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <limits>

namespace oxGeom
{
namespace
{
// Weight balance of the scapegoat rule: a subtree is rebuilt when one child
// holds more than this share of it. 0.7 keeps the height within 1.94 log2 n
// while rebuilding rarely; lower values rebuild more for little search gain.
constexpr double balance = 0.7;

// Height bound for 2^31 points: log(2^31) / log(1 / 0.7) = 60.2, so an insertion
// path and the search stack (one pending sibling per level) never exceed this.
constexpr int maxPathLength = 72;

constexpr float infinity = std::numeric_limits<float>::infinity();

// Splits compare keys, not raw coordinates: NaN sorts as +infinity, so the
// ordering is strict and weak and a NaN point always descends to the upper side.
float keyOf(float coordinate)
{
    return std::isnan(coordinate) ? infinity : coordinate;
}

bool insideBox(const float* p, const float* box)
{
    return box[0] <= p[0] && p[0] <= box[3] && box[1] <= p[1] && p[1] <= box[4] && box[2] <= p[2] &&
           p[2] <= box[5];
}

// The first size n at which the depth limit floor(log_{1/balance} n) reaches
// `limit` + 1.
int sizeForLimit(int limit)
{
    const double size = std::ceil(std::pow(1.0 / balance, limit + 1) - 1e-9);
    return size >= static_cast<double>(INT_MAX) ? INT_MAX : static_cast<int>(size);
}

}  // namespace

KDTree::KDTree(int capacity)
{
    m_nodes.reserve(static_cast<std::size_t>(std::max(capacity, 0)));
    clear();
}

void KDTree::clear()
{
    m_nodes.clear();
    m_root = -1;
    m_depthLimit = 0;
    m_depthLimitNextSize = sizeForLimit(0);
}

int KDTree::newNode(const float* positions, int index, int axis)
{
    Node node;
    node.axis = axis;
    node.split = keyOf(positions[3 * static_cast<std::size_t>(index) + axis]);
    node.point = index;
    node.child[0] = node.child[1] = -1;
    node.minPoint = index;
    m_nodes.push_back(node);
    return static_cast<int>(m_nodes.size()) - 1;
}

// A new leaf splits on the axis along which it lies farthest from its parent:
// that is the direction in which its neighbourhood is known to extend. When the
// two coincide (or differ only in NaN) the parent's axis is cycled.
int KDTree::chooseLeafAxis(const float* positions, int index, int parent) const
{
    const float* p = positions + 3 * static_cast<std::size_t>(index);
    const float* q = positions + 3 * static_cast<std::size_t>(m_nodes[parent].point);
    int best = (m_nodes[parent].axis + 1) % 3;
    float bestDistance = 0.0f;
    for (int axis = 0; axis < 3; ++axis)
    {
        const float distance = std::fabs(p[axis] - q[axis]);
        if (distance > bestDistance)  // false for NaN
        {
            bestDistance = distance;
            best = axis;
        }
    }
    return best;
}

void KDTree::insert(const float* positions, int index)
{
    if (!positions || index < 0)
        return;
    if (m_root < 0)
    {
        m_root = newNode(positions, index, 0);
        return;
    }
    const float* p = positions + 3 * static_cast<std::size_t>(index);
    int path[maxPathLength];
    int depth = 0;
    int node = m_root;
    for (;;)
    {
        path[depth++] = node;
        Node& current = m_nodes[node];
        if (index < current.minPoint)  // never true when indices grow, so no write
            current.minPoint = index;
        const int side = p[current.axis] < current.split ? 0 : 1;  // NaN goes up
        if (current.child[side] < 0)
            break;
        node = current.child[side];
    }
    const int parent = path[depth - 1];
    const int side = p[m_nodes[parent].axis] < m_nodes[parent].split ? 0 : 1;
    const int leaf = newNode(positions, index, chooseLeafAxis(positions, index, parent));
    m_nodes[parent].child[side] = leaf;
    path[depth] = leaf;  // depth = number of edges from the root to the leaf

    while (size() >= m_depthLimitNextSize && m_depthLimitNextSize < INT_MAX)
    {
        ++m_depthLimit;
        m_depthLimitNextSize = sizeForLimit(m_depthLimit);
    }
    if (depth > m_depthLimit)
        rebuildAfterDeepInsert(positions, path, depth);
}

int KDTree::countSubtree(int node) const
{
    if (node < 0)
        return 0;
    int stack[maxPathLength];
    int top = 0;
    int count = 0;
    stack[top++] = node;
    while (top > 0)
    {
        const Node& current = m_nodes[stack[--top]];
        ++count;
        for (int child : current.child)
            if (child >= 0)
                stack[top++] = child;
    }
    return count;
}

// Walks up from the new leaf, sizing each ancestor from the size below it and
// its other child, to the first ancestor whose child on the path outweighs the
// balance share; that subtree is rebuilt around medians. One such ancestor
// exists whenever the leaf is deeper than log_{1/balance} n.
void KDTree::rebuildAfterDeepInsert(const float* positions, const int* path, int depth)
{
    int belowSize = 1;
    for (int level = depth - 1; level >= 0; --level)
    {
        const Node& ancestor = m_nodes[path[level]];
        const int sibling =
            ancestor.child[0] == path[level + 1] ? ancestor.child[1] : ancestor.child[0];
        const int subtreeSize = 1 + belowSize + countSubtree(sibling);
        if (belowSize > balance * subtreeSize || level == 0)
        {
            collectSubtree(path[level], m_scratch);
            const int root =
                rebuild(positions, m_scratch.data(), static_cast<int>(m_scratch.size()));
            if (level == 0)
                m_root = root;
            else
            {
                Node& parent = m_nodes[path[level - 1]];
                parent.child[parent.child[0] == path[level] ? 0 : 1] = root;
            }
            return;
        }
        belowSize = subtreeSize;
    }
}

void KDTree::collectSubtree(int node, std::vector<KeyedNode>& out) const
{
    out.clear();
    out.push_back({0.0f, node});
    for (std::size_t i = 0; i < out.size(); ++i)
        for (int child : m_nodes[out[i].node].child)
            if (child >= 0)
                out.push_back({0.0f, child});
}

// Rebuilds the nodes `items[0 .. count)` into a balanced subtree and returns
// its root: the median along the widest axis of the subtree's points becomes the
// root, the points below and above it the two halves. Equal keys may fall on
// either side, which the search allows for (it descends into a side whenever
// the box reaches the split, inclusive). Cost O(count log count).
int KDTree::rebuild(const float* positions, KeyedNode* items, int count)
{
    if (count <= 0)
        return -1;
    float lower[3] = {infinity, infinity, infinity};
    float upper[3] = {-infinity, -infinity, -infinity};
    for (int i = 0; i < count; ++i)
    {
        const float* p = positions + 3 * static_cast<std::size_t>(m_nodes[items[i].node].point);
        for (int a = 0; a < 3; ++a)
        {
            lower[a] = std::min(lower[a], p[a]);  // NaN coordinates leave the extent alone
            upper[a] = std::max(upper[a], p[a]);
        }
    }
    int axis = 0;
    float widest = -1.0f;
    for (int a = 0; a < 3; ++a)
    {
        const float extent = upper[a] - lower[a];
        if (extent > widest)  // false for NaN (an axis of infinities only)
        {
            widest = extent;
            axis = a;
        }
    }

    for (int i = 0; i < count; ++i)
    {
        const int point = m_nodes[items[i].node].point;
        items[i].key = keyOf(positions[3 * static_cast<std::size_t>(point) + axis]);
    }
    const int middle = count / 2;
    std::nth_element(items, items + middle, items + count,
                     [](const KeyedNode& a, const KeyedNode& b) { return a.key < b.key; });

    const int root = items[middle].node;
    const float split = items[middle].key;
    const int below = rebuild(positions, items, middle);
    const int above = rebuild(positions, items + middle + 1, count - middle - 1);
    Node& node = m_nodes[root];
    node.axis = axis;
    node.split = split;
    node.child[0] = below;
    node.child[1] = above;
    node.minPoint = node.point;
    for (int child : node.child)
        if (child >= 0)
            node.minPoint = std::min(node.minPoint, m_nodes[child].minPoint);
    return root;
}

int KDTree::search(const float* positions, const BoundingBox& box) const
{
    if (!positions || m_root < 0)
        return -1;
    const float* b = box.data();
    for (int a = 0; a < 3; ++a)
        if (!(b[a] <= b[a + 3]))  // empty or NaN
            return -1;

    int best = INT_MAX;
    int stack[maxPathLength + 1];
    int top = 0;
    stack[top++] = m_root;
    while (top > 0)
    {
        const Node& node = m_nodes[stack[--top]];
        if (node.minPoint >= best)
            continue;
        if (node.point < best && insideBox(positions + 3 * static_cast<std::size_t>(node.point), b))
            best = node.point;
        // Inclusive on both sides: equal keys may sit on either side of a
        // rebuilt split.
        if (node.child[1] >= 0 && b[node.axis + 3] >= node.split)
            stack[top++] = node.child[1];
        if (node.child[0] >= 0 && b[node.axis] <= node.split)
            stack[top++] = node.child[0];
    }
    return best == INT_MAX ? -1 : best;
}

int KDTree::height() const
{
    if (m_root < 0)
        return 0;
    int tallest = 0;
    std::vector<std::pair<int, int>> stack{{m_root, 1}};
    while (!stack.empty())
    {
        const std::pair<int, int> entry = stack.back();
        stack.pop_back();
        tallest = std::max(tallest, entry.second);
        for (int child : m_nodes[entry.first].child)
            if (child >= 0)
                stack.push_back({child, entry.second + 1});
    }
    return tallest;
}
}  // namespace oxGeom

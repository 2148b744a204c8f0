// A scapegoat k-d tree of points: plain insertion down to a leaf, and a median
// rebuild of the smallest unbalanced subtree whenever a leaf lands deeper than
// log base 1/alpha of the size, so any insertion order keeps searches
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

// Height bound for 2^29 points: log(2^29) / log(1 / 0.7) = 56.4, so an insertion
// path and the search stack (one pending sibling per level) never exceed this.
constexpr int maxPathLength = 72;

// Point indices share an int with the split axis (2 bits).
constexpr int indexLimit = 1 << 29;

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

// The axis along which `p` lies farthest from `q`: a new leaf splits there,
// the direction in which its neighbourhood is known to extend. When the two
// coincide (or differ only in NaN) `fallback` is used.
int farthestAxis(const float* p, const float* q, int fallback)
{
    int best = fallback;
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

// Appends a leaf for point `index`; it splits along the axis on which it lies
// farthest from its parent's point (the root starts on x).
int KDTree::addLeaf(const float* positions, int index, int parent)
{
    const float* p = positions + 3 * static_cast<std::size_t>(index);
    int axis = 0;
    if (parent >= 0)
    {
        const Node& up = m_nodes[parent];
        axis = farthestAxis(p, positions + 3 * static_cast<std::size_t>(up.point()),
                            (up.axis() + 1) % 3);
    }
    Node node;
    node.split = keyOf(p[axis]);
    node.child[0] = node.child[1] = -1;
    node.pointAndAxis = index * 4 + axis;
    m_nodes.push_back(node);
    return static_cast<int>(m_nodes.size()) - 1;
}

void KDTree::insert(const float* positions, int index)
{
    if (!positions || index < 0 || index >= indexLimit)
        return;
    if (m_root < 0)
    {
        m_root = addLeaf(positions, index, -1);
        return;
    }
    const float* p = positions + 3 * static_cast<std::size_t>(index);
    int path[maxPathLength];
    int depth = 0;
    int node = m_root;
    int side = 0;
    for (;;)
    {
        path[depth++] = node;
        const Node& current = m_nodes[node];
        side = p[current.axis()] < current.split ? 0 : 1;  // NaN goes up
        if (current.child[side] < 0)
            break;
        node = current.child[side];
    }
    const int leaf = addLeaf(positions, index, node);
    m_nodes[node].child[side] = leaf;
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
// balance share; that subtree is rebuilt around medians, into the same slots.
// One such ancestor exists whenever the leaf is deeper than log_{1/balance} n.
void KDTree::rebuildAfterDeepInsert(const float* positions, const int* path, int depth)
{
    int belowSize = 1;
    for (int level = depth - 1; level >= 0; --level)
    {
        const Node& ancestor = m_nodes[path[level]];
        const int sibling =
            ancestor.child[0] == path[level + 1] ? ancestor.child[1] : ancestor.child[0];
        const int subtreeSize = 1 + belowSize + countSubtree(sibling);
        if (!(belowSize > balance * subtreeSize || level == 0))
        {
            belowSize = subtreeSize;
            continue;
        }
        m_rebuildSlots.clear();
        m_rebuildSlots.push_back(path[level]);
        for (std::size_t i = 0; i < m_rebuildSlots.size(); ++i)
            for (int child : m_nodes[m_rebuildSlots[i]].child)
                if (child >= 0)
                    m_rebuildSlots.push_back(child);
        m_rebuildItems.clear();
        for (int slot : m_rebuildSlots)
        {
            const int point = m_nodes[slot].point();
            const float* p = positions + 3 * static_cast<std::size_t>(point);
            m_rebuildItems.push_back({{p[0], p[1], p[2]}, point});
        }
        std::sort(m_rebuildSlots.begin(), m_rebuildSlots.end());
        const int* slots = m_rebuildSlots.data();
        const int root =
            rebuild(m_rebuildItems.data(), static_cast<int>(m_rebuildItems.size()), slots);
        if (level == 0)
            m_root = root;
        else
        {
            Node& parent = m_nodes[path[level - 1]];
            parent.child[parent.child[0] == path[level] ? 0 : 1] = root;
        }
        return;
    }
}

// Rebuilds the points of `items[0 .. count)` into a balanced subtree and returns
// its root: the median along the widest axis of the points becomes the root,
// the points below and above it the two halves. Equal keys may fall on either
// side, which the search allows for (it descends into a side whenever the box
// reaches the split, inclusive). Nodes take the ascending `slots` in depth-first
// order, so a subtree occupies nearby memory. Cost O(count log count).
int KDTree::rebuild(Item* items, int count, const int*& slots)
{
    if (count <= 0)
        return -1;
    float lower[3] = {infinity, infinity, infinity};
    float upper[3] = {-infinity, -infinity, -infinity};
    for (int i = 0; i < count; ++i)
        for (int a = 0; a < 3; ++a)
        {
            // NaN coordinates leave the extent alone.
            lower[a] = std::min(lower[a], items[i].coordinates[a]);
            upper[a] = std::max(upper[a], items[i].coordinates[a]);
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

    const int middle = count / 2;
    std::nth_element(items, items + middle, items + count,
                     [axis](const Item& a, const Item& b)
                     { return keyOf(a.coordinates[axis]) < keyOf(b.coordinates[axis]); });
    const int slot = *slots++;
    const Item& median = items[middle];
    Node node;
    node.split = keyOf(median.coordinates[axis]);
    node.pointAndAxis = median.point * 4 + axis;
    node.child[0] = rebuild(items, middle, slots);
    node.child[1] = rebuild(items + middle + 1, count - middle - 1, slots);
    m_nodes[slot] = node;
    return slot;
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
        const int axis = node.axis();
        // Inclusive on both sides: equal keys may sit on either side of a
        // rebuilt split.
        const bool reachesBelow = b[axis] <= node.split;
        const bool reachesAbove = b[axis + 3] >= node.split;
        // The node's point lies on its split, so only a box reaching both
        // sides can hold it.
        if (reachesBelow && reachesAbove && node.point() < best &&
            insideBox(positions + 3 * static_cast<std::size_t>(node.point()), b))
            best = node.point();
        if (reachesAbove && node.child[1] >= 0)
            stack[top++] = node.child[1];
        if (reachesBelow && node.child[0] >= 0)
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

#pragma once
// The foundation's container names. They are the standard containers
// themselves, so a host passes its own std::vector, std::list, ... without a
// copy or a conversion.

#include <functional>
#include <list>
#include <map>
#include <set>
#include <vector>

namespace ox
{
template <class T, class Alloc = std::allocator<T>>
using vector = std::vector<T, Alloc>;

template <class T, class Alloc = std::allocator<T>>
using list = std::list<T, Alloc>;

template <class K, class V, class Compare = std::less<K>>
using map = std::map<K, V, Compare>;

template <class K, class Compare = std::less<K>>
using set = std::set<K, Compare>;

template <class T = void>
using less = std::less<T>;

/// A growable array; the same type as ox::vector.
template <class T>
using Array = std::vector<T>;
}  // namespace ox

#pragma once

#include <list>
#include <map>
#include <vector>

namespace zet {

/// Growable array.
template <class T>
using TArray = std::vector<T>;

/// Doubly linked list.
template <class T>
using TList = std::list<T>;

/// Ordered map.
template <class K, class V>
using TMap = std::map<K, V>;

}  // namespace zet

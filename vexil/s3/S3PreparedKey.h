#pragma once

#include "sigil/HMACKey.h"

#include <memory>
#include <string>

namespace vexil {

/// The key of the last signature, which is usually the key of the next one.
struct CS3PreparedKey {
    std::string name;  ///< everything that the key depends on; secret
    sigil::CHMACKey key;
};

/// A key that several clients may use at the same time: it never changes.
using CS3PreparedKeyPointer = std::shared_ptr<const CS3PreparedKey>;

/// Returns the key if it has this name. Otherwise it replaces it with the result of `makeKey`.
template <class MakeKey>
const sigil::CHMACKey& findPreparedKey(CS3PreparedKeyPointer& last, const std::string& name,
                                       const MakeKey& makeKey) {
    if (!last || last->name != name) {
        last = std::make_shared<const CS3PreparedKey>(CS3PreparedKey{name, makeKey()});
    }
    return last->key;
}

}  // namespace vexil
